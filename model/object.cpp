#include "model/object.h"

#include "model/property.h"
#include "model/property_pack.h"

namespace zrkmodel {

ZRKObject::~ZRKObject() = default;

std::shared_ptr<ZRKObject> ZRKObject::clone() const
{
    std::shared_ptr<ZRKObject> twin = onClone();
    if (twin) {
        _copyTo(twin.get());
    }
    return twin;
}

std::shared_ptr<ZRKObject> ZRKObject::onClone() const { return nullptr; }

void ZRKObject::_copyTo(ZRKObject* target) const
{
    for (ZRKPropertyBase* property : target->_properties) {
        if (ZRKPropertyBase* twin = findProperty(property->name())) {
            property->assignFrom(twin, false);
        }
    }
}

void ZRKObject::getProperties(ZRKDynamicPropertyPack& pack)
{
    for (ZRKPropertyBase* property : _properties) {
        pack.add(*property);
    }
}

bool ZRKObject::setSilent(bool silent) { return std::exchange(_silent, silent); }

void ZRKObject::_onPropertyChanged(const ZRKEvent& event) { emitChange(event); }

ZRKPropertyBase* ZRKObject::findProperty(std::string_view name) const
{
    for (ZRKPropertyBase* property : _properties) {
        if (property->name() == name) {
            return property;
        }
    }
    return nullptr;
}

nod::connection ZRKObject::addListener(const std::function<void(const ZRKEvent&)>& listener)
{
    return _changed.connect(listener);
}

void ZRKObject::emitChange(const ZRKEvent& event) const { _changed(event); }

void ZRKObject::emitPropertyChange(const std::string& name) const { emitChange({name, this}); }

} // namespace zrkmodel
