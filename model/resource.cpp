#include "model/resource.h"

#include "core/values/fault.h"

namespace zrkmodel {

void ZRKResourceEntry::resolve(std::shared_ptr<ZRKSerializableObject> object)
{
    _object = std::move(object);
    _resolved();
}

const ZRKuuid& ZRKResourceHandle::uuid() const
{
    static const ZRKuuid nil;
    return _entry ? _entry->uuid() : nil;
}

nod::connection ZRKResourceHandle::addListener(std::function<void()> listener) const
{
    return _entry ? _entry->addListener(std::move(listener)) : nod::connection();
}

void ZRKResourceHandle::_reset(const std::shared_ptr<ZRKSerializableObject>& object)
{
    _entry.reset();
    if (object) {
        _entry = std::make_shared<ZRKResourceEntry>(object->uuid());
        _entry->resolve(object);
    }
}

void ZRKValueSerializer<ZRKResourceHandle>::write(ZRKSerialization& s, const ZRKResourceHandle& value,
                                                  const ZRKSerializationPos& pos)
{
    s.write(value.uuid().text(), pos);
}

bool ZRKValueSerializer<ZRKResourceHandle>::read(const ZRKDeserialization& d, ZRKResourceHandle& value,
                                                 const ZRKSerializationPos& pos)
{
    const ZRKJson* stored = d.at(pos);
    if (!stored) {
        return false;
    }
    if (!stored->is_string() && !stored->is_null()) {
        d.refuse(pos, "uuid of a resource");
        return false;
    }
    const ZRKuuid uuid(stored->is_string() ? stored->get<std::string>() : std::string());
    value = ZRKResourceHandle();
    if (uuid.isNil()) {
        return true;
    }
    if (d.library()) {
        value = d.library()->find(uuid);
    }
    if (value.isNil()) {
        d.refuse(pos, zrk::quotation(uuid.text()), "uuid of a resource of this document",
                 "it is kept and stands for no resource");
        value = ZRKResourceHandle(std::make_shared<ZRKResourceEntry>(uuid));
    }
    return true;
}

} // namespace zrkmodel
