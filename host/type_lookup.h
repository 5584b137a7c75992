#pragma once

#include "core/values/export.h"
#include "core/values/fault.h"
#include "model/registry.h"

#include <deque>
#include <string>

namespace zrkmodel {

/// All types that a document may name, in order of registration: the components and whatever else the program
/// has registered.
ZRK_API const std::deque<ZRKGraphObjectRegistration>& knownTypes();

/// The type that a document or a user means.
///
/// @param place  where the name stands, for the message.
/// @param name   a class name, which never is ambiguous among the components, or a type name.
/// @param uuid   type UUID, without regard to case; empty where none is given. With it, both
///               together identify the type.
///
/// The pointer is never null. A name is refused that is unknown (the message lists the nearest known ones),
/// ambiguous (it lists the candidates with their class names) or doesn't belong to the UUID.
ZRK_API zrk::Result<const ZRKGraphObjectRegistration*>
findType(const std::string& place, const std::string& name, const std::string& uuid);

/// What `findType` and `zrk types` know a type by alone: the type name, or the class where several types
/// share that name or it has blanks.
ZRK_API std::string uniqueName(const ZRKTypeInfo& type);

} // namespace zrkmodel
