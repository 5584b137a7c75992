#include "model/property.h"

#include <algorithm>

namespace zrkmodel {

ZRKPropertyBase::ZRKPropertyBase(std::string name, ZRKObject* owner, const std::type_index& type)
    : _name(std::move(name)), _owner(owner), _type(type)
{
    if (_owner) {
        _owner->_properties.push_back(this);
    }
}

ZRKPropertyBase::~ZRKPropertyBase()
{
    if (_owner) {
        std::erase(_owner->_properties, this);
    }
}

std::shared_ptr<ZRKObject> ZRKPropertyBase::owner() const
{
    return _owner ? _owner->weak_from_this().lock() : nullptr;
}

ZRKJson ZRKPropertyBase::valueJson() const
{
    ZRKSerialization s;
    s.beginArray("value");
    write(s, {});
    s.end();
    return s.root()["value"][0];
}

void ZRKPropertyBase::notifyOwner() const
{
    if (_owner) {
        _owner->_onPropertyChanged({_name, _owner});
    }
}

} // namespace zrkmodel
