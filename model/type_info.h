#pragma once

#include "core/values/export.h"

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <typeindex>
#include <vector>

namespace zrkmodel {

class ZRKDeserialization;
class ZRKSerializable;

/// Identity of a type in documents. The texts are kept letter by letter; neither is unique
/// for itself, both together are.
struct ZRK_API ZRKTypeInfo {
    std::string uuid;
    std::string name;
    /// A new object of the type. The argument isn't read; values arrive through deserialize.
    std::function<std::shared_ptr<ZRKSerializable>(const ZRKDeserialization&)> factory;

    /// Enters a copy in the type table. Duplicates are entered like any other.
    static void registerType(const ZRKTypeInfo& info);

    /// The one info of a class, whichever libraries and threads ask: what `make` returned for the first one.
    static ZRKTypeInfo& ofClass(std::type_index objectClass, ZRKTypeInfo (*make)());

    /// @{ All registered types that match, in order of registration. Names are compared
    /// exactly, uuids without regard to case. The pointers stay valid.
    static std::vector<const ZRKTypeInfo*> findByName(std::string_view name);
    static std::vector<const ZRKTypeInfo*> findByUuid(std::string_view uuid);
    /// @}
    /// The first type that has both; null if there is none.
    static const ZRKTypeInfo* find(std::string_view uuid, std::string_view name);
};

} // namespace zrkmodel
