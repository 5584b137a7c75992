#pragma once

#include "core/values/export.h"
#include "core/values/tensor.h"

#include <any>
#include <functional>
#include <memory>
#include <string>
#include <type_traits>
#include <unordered_map>

namespace zrk {

class FieldPropertyBase;

enum class PropertyErrorCode : int { None = 0, WrongType = 1 };

/// How a property of one value type is read and written without knowing the type.
struct FieldPropertyAccessors {
    std::function<std::any(const FieldPropertyBase*)> get;
    std::function<PropertyErrorCode(FieldPropertyBase*, const std::any&)> set;
};

/// A named value of a field generator.
class ZRK_API FieldPropertyBase {
public:
    const std::string name;

    virtual ~FieldPropertyBase() = default;
    /// Takes another property's value; one of another type changes nothing. With `deep`
    /// the value comes through the other's `get()`.
    virtual void assign(const FieldPropertyBase* other, bool deep) = 0;
    virtual void visit(void*) {}

    std::any value() const { return _accessors->get(this); }
    PropertyErrorCode setValue(const std::any& value) { return _accessors->set(this, value); }

protected:
    FieldPropertyBase(const FieldPropertyAccessors& accessors, std::string propertyName)
        : name(std::move(propertyName)), _accessors(&accessors)
    {}

private:
    const FieldPropertyAccessors* _accessors;
};

/// The properties of one generator by name. They are members of the generator and not owned.
class ZRK_API FieldProperties {
public:
    virtual ~FieldProperties() = default;
    FieldProperties() = default;
    FieldProperties(const FieldProperties&) = delete;
    FieldProperties& operator=(const FieldProperties&) = delete;

    virtual void forEachProperty(void* argument)
    {
        for (auto& [name, property] : _byName) {
            property->visit(argument);
        }
    }
    void add(FieldPropertyBase* property) { _byName[property->name] = property; }
    /// Null when there is no property of that name.
    FieldPropertyBase* find(const std::string& name) const
    {
        const auto found = _byName.find(name);
        return found == _byName.end() ? nullptr : found->second;
    }
    const std::unordered_map<std::string, FieldPropertyBase*>& all() const { return _byName; }

private:
    std::unordered_map<std::string, FieldPropertyBase*> _byName;
};

template <class T>
class FieldProperty;

/// The accessors of value type T; one record for each type that is in use.
template <class T>
const FieldPropertyAccessors& fieldPropertyAccessors()
{
    static const FieldPropertyAccessors accessors{
        [](const FieldPropertyBase* property) {
            return std::any(static_cast<const FieldProperty<T>*>(property)->get());
        },
        [](FieldPropertyBase* property, const std::any& value) {
            const T* typed = std::any_cast<T>(&value);
            if (!typed) {
                return PropertyErrorCode::WrongType;
            }
            static_cast<FieldProperty<T>*>(property)->set(*typed);
            return PropertyErrorCode::None;
        }};
    return accessors;
}

template <class T>
class FieldProperty : public FieldPropertyBase {
public:
    FieldProperty(FieldProperties& owner, const std::string& propertyName, T value)
        : FieldPropertyBase(fieldPropertyAccessors<T>(), propertyName), _value(std::move(value))
    {
        owner.add(this);
    }

    virtual T get() const { return _value; }
    virtual void onChanged(const T& /*old*/, const T& /*now*/) {}

    /// Stores a value that differs from the present one and tells of the change.
    void set(const T& value)
    {
        if (value == _value) {
            return;
        }
        const T old = _value;
        _value = value;
        onChanged(old, _value);
    }

    void assign(const FieldPropertyBase* other, bool deep) override
    {
        if (const auto* same = dynamic_cast<const FieldProperty<T>*>(other)) {
            _value = deep ? same->get() : same->_value;
        }
    }

private:
    T _value;
};

} // namespace zrk
