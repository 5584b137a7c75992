#pragma once

#include "core/values/export.h"
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
class ZRK_API ZRKSerializable {
public:
    virtual ~ZRKSerializable() = default;

    /// Writes the values as members of the current object, nothing else.
    virtual void serialize(ZRKSerialization& s) const = 0;
    /// Reads the values from the current object; see onDeserialize. What that throws passes through: the
    /// deserialization is then at the same place as before, values that were read up to there are kept, and
    /// those after it are as they were.
    virtual void deserialize(const ZRKDeserialization& d) = 0;
    /// The same, and the object keeps the uuid that it has.
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
    /// `preserveUuid`. Malformed text throws nlohmann's parse_error and changes nothing. A string of another
    /// kind throws as in deserialize, and the object then keeps its uuid.
    /// @param library  finds the resources that the values refer to; without one they stay pending.
    /// @param data     isn't read.
    virtual void from_json(const std::string& text, bool preserveUuid,
                           const std::shared_ptr<ZRKResourceLibrary>& library, const ZRKAnyData& data) = 0;
};

/// An object with a stored form. Derived classes say what is in it with onSerialize and
/// onDeserialize; the base writes and reads every property under its name, in order.
class ZRK_API ZRKSerializableObject : public ZRKObject, public ZRKSerializable {
public:
    ZRKSerializableObject() = default;
    /// A copy is another object: its uuid is nil.
    ZRKSerializableObject(const ZRKSerializableObject& other) : ZRKObject(other), ZRKSerializable(other) {}
    ZRKSerializableObject& operator=(const ZRKSerializableObject&) { return *this; }

    virtual void onSerialize(ZRKSerialization& s) const;
    /// A missing key, or a value of the wrong kind, leaves the property as it is; to a string property alone
    /// a value of another kind is an error, nlohmann's type_error 302: "type must be string, but is number".
    /// Tells no one.
    virtual void onDeserialize(const ZRKDeserialization& d);

    void serialize(ZRKSerialization& s) const override;
    void deserialize(const ZRKDeserialization& d) override;
    void deserializeAndPreserveUUID(const ZRKDeserialization& d) override;

    const ZRKuuid& uuid() const override { return _uuid; }
    /// Any uuid is taken, one that another object has too.
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
