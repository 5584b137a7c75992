#pragma once

#include "model/registry.h"

#include <deque>
#include <string>
#include <string_view>

namespace zrkmodel {

/// All types that a document may name, in order of registration: the components and whatever else the program
/// has registered.
const std::deque<ZRKGraphObjectRegistration>& knownTypes();

/// The type that a document or a user means.
///
/// @param place  where the name stands, for the message.
/// @param name   a class name, which never is ambiguous among the components, or a type name.
/// @param uuid   type UUID, without regard to case; empty where none is given. With it, both
///               together identify the type.
///
/// Throws HostError with status kBadInput for a name that is unknown (the message lists the
/// nearest known ones), ambiguous (it lists the candidates with their class names) or doesn't belong to the
/// UUID, and for a type that this version doesn't have.
const ZRKGraphObjectRegistration& findType(std::string_view place, const std::string& name,
                                           const std::string& uuid);

} // namespace zrkmodel
