#pragma once

#include "model/object.h"
#include "model/serialization.h"
#include "model/uuid.h"

#include <any>
#include <memory>
#include <string>

namespace zrkmodel {

class ZRKResourceLibrary;
struct ZRKTypeInfo;

/// Data of the caller's own that travels through from_json unread.
using ZRKAnyData = std::any;

/// Something with an identity and a stored form.
class ZRKSerializable {
public:
    virtual ~ZRKSerializable() = default;

    /// Writes the values as members of the current object, nothing else.
    virtual void serialize(ZRKSerialization& s) const = 0;
    /// Reads the values from the current object; see onDeserialize.
    virtual void deserialize(const ZRKDeserialization& d) = 0;
    /// The same, and the object keeps the uuid it has.
    virtual void deserializeAndPreserveUUID(const ZRKDeserialization& d) = 0;

    /// Identity of this very object; nil unless it was given one.
    virtual const ZRKuuid& uuid() const = 0;
    virtual const ZRKTypeInfo& typeInfo() const = 0;
    /// Enters the type in the host's registry; called on a prototype while a library loads.
    virtual void onTypeRegistration(ZRKTypeInfo& info) const = 0;

    /// JSON text of an object with the members "type" and "typeUuid" (the type's identity),
    /// "uuid" (the object's, where it has one) and "values".
    virtual std::string to_json(const std::shared_ptr<ZRKResourceLibrary>& library) const = 0;
    /// Reads such a text; the type isn't compared. Takes the stored uuid over unless
    /// `preserveUuid`. Malformed text throws nlohmann's parse_error and changes nothing.
    virtual void from_json(const std::string& text, bool preserveUuid,
                           const std::shared_ptr<ZRKResourceLibrary>& library, const ZRKAnyData& data) = 0;
};

/// An object with a stored form. Derived classes say what is in it with onSerialize and
/// onDeserialize; the base writes and reads every property under its name, in order.
class ZRKSerializableObject : public ZRKObject, public ZRKSerializable {
public:
    ZRKSerializableObject() = default;
    /// A copy is another object: its uuid is nil.
    ZRKSerializableObject(const ZRKSerializableObject& other) : ZRKObject(other), ZRKSerializable(other) {}
    ZRKSerializableObject& operator=(const ZRKSerializableObject&) { return *this; }

    virtual void onSerialize(ZRKSerialization& s) const;
    /// A missing key, or a value of the wrong kind, leaves the property as it is. A string
    /// property given another kind throws nlohmann's type_error 302. Tells no one.
    virtual void onDeserialize(const ZRKDeserialization& d);

    void serialize(ZRKSerialization& s) const override;
    void deserialize(const ZRKDeserialization& d) override;
    void deserializeAndPreserveUUID(const ZRKDeserialization& d) override;

    const ZRKuuid& uuid() const override { return _uuid; }
    void setUuid(ZRKuuid uuid) { _uuid = std::move(uuid); }
    /// The base has no type: an info with empty texts.
    const ZRKTypeInfo& typeInfo() const override;
    void onTypeRegistration(ZRKTypeInfo&) const override {}

    std::string to_json(const std::shared_ptr<ZRKResourceLibrary>& library) const override;
    void from_json(const std::string& text, bool preserveUuid,
                   const std::shared_ptr<ZRKResourceLibrary>& library, const ZRKAnyData& data) override;

private:
    ZRKuuid _uuid;
};

} // namespace zrkmodel
