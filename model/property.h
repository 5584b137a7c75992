#pragma once

#include "core/values/export.h"
#include "model/object.h"
#include "model/signal.h"
#include "model/value_serializer.h"

#include <functional>
#include <memory>
#include <string>
#include <type_traits>
#include <typeindex>
#include <utility>

namespace zrkmodel {

/// The name of a property's value type in listings: "double", "int", "bool", "string",
/// "vector3", "matrix4", "enum", "geometry", "image2d", "image3d", "curve", "falloff".
/// A new value type specialises it beside its ZRKValueSerializer.
template <class T>
struct ZRKValueName;

// clang-format off
template <> struct ZRKValueName<double> { static constexpr const char* text = "double"; };
template <> struct ZRKValueName<int> { static constexpr const char* text = "int"; };
template <> struct ZRKValueName<bool> { static constexpr const char* text = "bool"; };
template <> struct ZRKValueName<std::string> { static constexpr const char* text = "string"; };
template <> struct ZRKValueName<zrk::Tensor<3, double>> { static constexpr const char* text = "vector3"; };
template <> struct ZRKValueName<zrk::Tensor<zrk::kMatrix4, double>> { static constexpr const char* text = "matrix4"; };
template <class T> requires std::is_enum_v<T>
struct ZRKValueName<T> { static constexpr const char* text = "enum"; };
// clang-format on

/// A named value of an object. The name is the property's identity: key in documents and
/// label in panels. Values are read by any thread without a lock, so that nobody may assign meanwhile.
class ZRK_API ZRKPropertyBase {
public:
    /// Enters the property at the end of the owner's list. The owner may be null.
    ZRKPropertyBase(std::string name, ZRKObject* owner, const std::type_index& type);
    ZRKPropertyBase(const ZRKPropertyBase&) = delete;
    ZRKPropertyBase& operator=(const ZRKPropertyBase&) = delete;
    virtual ~ZRKPropertyBase();

    /// Assigns the value of another property of the same type, by the rules of
    /// ZRKProperty::set; does nothing for null, another type or this property itself.
    virtual void assignFrom(ZRKPropertyBase* other, bool emit) = 0;
    /// The value type's name, a ZRKValueName.
    virtual const char* valueType() const = 0;
    /// Writes the stored form of the value.
    virtual void write(ZRKSerialization& s, const ZRKSerializationPos& pos) const = 0;
    /// Reads it, straight into the value: no filter runs and nothing is notified.
    /// False leaves the value as it was (but see the tensor's reader).
    virtual bool read(const ZRKDeserialization& d, const ZRKSerializationPos& pos) = 0;

    const std::string& name() const { return _name; }
    /// Null without an owner, or for an owner not held by a shared pointer.
    std::shared_ptr<ZRKObject> owner() const;
    const std::type_index& type() const { return _type; }

    /// write and read under the property's name.
    void serialize(ZRKSerialization& s) const { write(s, _name); }
    bool deserialize(const ZRKDeserialization& d) { return read(d, _name); }
    /// The stored form of the value; in a fresh object this is the default.
    ZRKJson valueJson() const;

protected:
    bool isOwnerSilent() const { return _owner && _owner->isSilent(); }
    void notifyOwner() const;

private:
    std::string _name;
    ZRKObject* _owner;
    std::type_index _type;
};

/// What a property holds besides its name.
template <class T>
class ZRKPropertyBinder {
public:
    virtual ~ZRKPropertyBinder() = default;

protected:
    using Assign = std::function<void(const T&)>;

    void writeValue(ZRKSerialization& s, const ZRKSerializationPos& pos) const
    {
        ZRKValueSerializer<T>::write(s, _value, pos);
    }
    bool readValue(const ZRKDeserialization& d, const ZRKSerializationPos& pos, const Assign&)
    {
        return ZRKValueSerializer<T>::read(d, _value, pos);
    }
    // Only a property of a resource has a stored reference beside its value.
    void forgetReference() {}
    void takeReference(const ZRKPropertyBinder&, const Assign&) {}

    nod::signal<void(const T&)> _changed;
    std::function<T(const T&)> _filter;
    T _value;
};

/// A property with a value of type T. Assigning another property copies its value, through the filter,
/// and tells no one; name, owner, filter and listeners stay.
///
///     ZRKProperty<double> radius{"radius", 1.0, this};
template <class T, class Binder = ZRKPropertyBinder<T>>
class ZRKProperty final : public ZRKPropertyBase, public Binder {
public:
    ZRKProperty(std::string name, T value, ZRKObject* owner)
        : ZRKPropertyBase(std::move(name), owner, typeid(T))
    {
        this->_value = std::move(value);
    }
    ZRKProperty& operator=(const ZRKProperty& other)
    {
        if (this != &other) {
            take(other);
        }
        return *this;
    }

    const T& value() const { return this->_value; }

    /// Filters, stores and, unless `emit` is false or the owner is silent, notifies: first
    /// the owner's _onPropertyChanged, then this property's listeners with the stored value.
    void set(T value, bool emit = true)
    {
        store(std::move(value));
        this->forgetReference();
        if (emit) {
            notify();
        }
    }

    void assignFrom(ZRKPropertyBase* other, bool emit) override
    {
        const auto* twin = dynamic_cast<const ZRKProperty*>(other);
        if (!twin || twin == this) {
            return;
        }
        take(*twin);
        if (emit) {
            notify();
        }
    }

    /// A function that every assigned value goes through; stored documents don't.
    void setFilter(std::function<T(const T&)> filter) { this->_filter = std::move(filter); }
    /// The listener is called with each value that set or assignFrom announces, on the thread that assigns.
    nod::connection addListener(std::function<void(const T&)> listener)
    {
        return this->_changed.connect(std::move(listener));
    }

    const char* valueType() const override { return ZRKValueName<T>::text; }
    void write(ZRKSerialization& s, const ZRKSerializationPos& pos) const override
    {
        this->writeValue(s, pos);
    }
    bool read(const ZRKDeserialization& d, const ZRKSerializationPos& pos) override
    {
        return this->readValue(d, pos, lateAssignment());
    }

private:
    typename Binder::Assign lateAssignment()
    {
        return [this](const T& value) {
            store(value);
            notify();
        };
    }

    void take(const ZRKProperty& other)
    {
        store(other._value);
        this->takeReference(other, lateAssignment());
    }

    void store(T value) { this->_value = this->_filter ? this->_filter(value) : std::move(value); }

    void notify() const
    {
        if (!isOwnerSilent()) {
            notifyOwner();
            this->_changed(this->_value);
        }
    }
};

} // namespace zrkmodel
