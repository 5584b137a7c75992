#pragma once

#include "model/object.h"
#include "model/value_serializer.h"

#include <cstddef>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace zrkmodel {

/// An array of stored values. Reading replaces the target by as many default values as the array
/// has entries and reads each over its default: a bad entry stays a default one.
template <class T>
struct ZRKValueSerializer<std::vector<T>> {
    static void write(ZRKSerialization& s, const std::vector<T>& values, const ZRKSerializationPos& pos)
    {
        s.beginArray(pos);
        for (const T& value : values) {
            ZRKValueSerializer<T>::write(s, value, {});
        }
        s.end();
    }
    static bool read(const ZRKDeserialization& d, std::vector<T>& values, const ZRKSerializationPos& pos)
    {
        if (!d.beginArray(pos)) {
            return false;
        }
        values = std::vector<T>(d.currentSize());
        for (std::size_t i = 0; i < values.size(); ++i) {
            ZRKValueSerializer<T>::read(d, values[i], static_cast<int>(i));
        }
        d.end();
        return true;
    }
};

/// Values that an object holds beside its properties, edited one by one in a panel. Each edit is
/// announced once, by a change event of the owner under the list's name, even while the owner is silent.
///
/// Edits belong to one thread, and so does building evaluators from the list meanwhile.
template <class T>
class ZRKValueList {
public:
    /// What is called when the values have changed, before that is announced, and after reading: with the
    /// value that another one has replaced; with null where more than one may have changed.
    using Changed = std::function<void(const T* replaced)>;

    /// @param owner  outlives the list, of which it usually is a member.
    ZRKValueList(std::string name, ZRKObject* owner, Changed changed = nullptr)
        : _name(std::move(name)), _owner(owner), _changed(std::move(changed))
    {}
    ZRKValueList(const ZRKValueList&) = delete;
    /// Takes over the values, and stays with its owner. Announces nothing.
    ZRKValueList& operator=(const ZRKValueList& other)
    {
        _values = other._values;
        adapt(nullptr);
        return *this;
    }

    const std::vector<T>& values() const { return _values; }

    /// Takes over an edit from a view that shows `items`: the item at `index`, the others being left as
    /// they are here; all items, if there are more or less of them than here or `index` is none of theirs.
    void edit(const std::vector<T>& items, int index)
    {
        const bool isOne = items.size() == _values.size() && contains(index);
        if (isOne) {
            const auto i = static_cast<std::size_t>(index);
            const T replaced = std::exchange(_values[i], items[i]);
            adapt(&replaced);
        } else {
            _values = items;
            adapt(nullptr);
        }
        _owner->emitPropertyChange(_name);
    }

    /// Appends a value.
    void add(const T& value)
    {
        std::vector<T> items = _values;
        items.push_back(value);
        edit(items, static_cast<int>(_values.size()));
    }
    /// Without a value at `index` it does nothing.
    void remove(int index)
    {
        if (contains(index)) {
            std::vector<T> items = _values;
            items.erase(items.begin() + index);
            edit(items, -1);
        }
    }
    /// Removes all values.
    void clear() { edit({}, -1); }

    void serialize(ZRKSerialization& s) const
    {
        ZRKValueSerializer<std::vector<T>>::write(s, _values, _name);
    }
    /// Replaces the values; without a stored array by none. Announces nothing.
    void deserialize(const ZRKDeserialization& d)
    {
        std::vector<T> stored;
        ZRKValueSerializer<std::vector<T>>::read(d, stored, _name);
        _values = std::move(stored);
        adapt(nullptr);
    }

private:
    bool contains(int index) const { return index >= 0 && static_cast<std::size_t>(index) < _values.size(); }
    void adapt(const T* replaced) const
    {
        if (_changed) {
            _changed(replaced);
        }
    }

    std::string _name;
    ZRKObject* _owner;
    Changed _changed;
    std::vector<T> _values;
};

} // namespace zrkmodel
