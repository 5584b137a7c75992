#include "model/serializable.h"

#include "model/property.h"
#include "model/type_info.h"

namespace zrkmodel {

void ZRKSerializableObject::onSerialize(ZRKSerialization& s) const
{
    for (const ZRKPropertyBase* property : properties()) {
        property->serialize(s);
    }
}

void ZRKSerializableObject::onDeserialize(const ZRKDeserialization& d)
{
    for (ZRKPropertyBase* property : properties()) {
        property->deserialize(d);
    }
}

void ZRKSerializableObject::serialize(ZRKSerialization& s) const { onSerialize(s); }

void ZRKSerializableObject::deserialize(const ZRKDeserialization& d)
{
    const ZRKDeserialization::Scope scope(d);
    onDeserialize(d);
}

void ZRKSerializableObject::deserializeAndPreserveUUID(const ZRKDeserialization& d)
{
    const ZRKuuid kept = _uuid;
    deserialize(d);
    _uuid = kept;
}

const ZRKTypeInfo& ZRKSerializableObject::typeInfo() const
{
    static const ZRKTypeInfo none;
    return none;
}

std::string ZRKSerializableObject::to_json(const std::shared_ptr<ZRKResourceLibrary>&) const
{
    ZRKSerialization s;
    s.write(typeInfo().name, "type");
    s.write(typeInfo().uuid, "typeUuid");
    if (!_uuid.isNil()) {
        s.write(_uuid.text(), "uuid");
    }
    s.beginObject("values");
    serialize(s);
    s.end();
    return s.root().dump();
}

void ZRKSerializableObject::from_json(const std::string& text, bool preserveUuid,
                                      const std::shared_ptr<ZRKResourceLibrary>& library, const ZRKAnyData&)
{
    const ZRKJson root = ZRKJson::parse(text);
    const ZRKDeserialization d(root, library);
    if (d.beginObject("values")) {
        deserialize(d);
        d.end();
    }
    const ZRKJson* uuid = d.at("uuid");
    if (!preserveUuid && uuid && uuid->is_string()) {
        _uuid = ZRKuuid(uuid->get<std::string>());
    }
}

} // namespace zrkmodel
