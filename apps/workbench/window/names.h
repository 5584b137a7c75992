#pragma once

#include "core/values/fault.h"
#include "host/editing/edit_session.h"
#include "model/registry.h"

#include <QString>

#include <cstdint>
#include <optional>
#include <vector>

namespace zrkworkbench {

/// A heading of the library, with the types of one folder of components.
struct Family {
    const char* folder; ///< e.g. "primitives"
    const char* title;
};

/// In the order in which lists show them.
const std::vector<Family>& families();

/// @{ The folder of a type's components, and the heading that lists show it under.
QString familyOf(const zrkmodel::ZRKGraphObjectRegistration& type);
QString familyTitleOf(const zrkmodel::ZRKGraphObjectRegistration& type);
/// @}

/// The type of a node; null for an unknown node, and for a type that isn't registered.
const zrkmodel::ZRKGraphObjectRegistration* typeOf(const zrkmodel::EditSession& session, std::uint16_t node);

/// What a node is called: its label, else the title of its type, else "node 7".
QString nameOf(const zrkmodel::EditSession& session, std::uint16_t node);

/// The name of a node and of one of its outputs, "Sphere · sdf".
QString nameOf(const zrkmodel::EditSession& session, zrkmodel::PinAddress output);

/// What carries a tag, in words: "scalar", "vector", "colour", "any".
QString wordOf(zrkmodel::Tag tag);

/// The node that the place of a fault names, by its number or its place in "nodes".
std::optional<std::uint16_t> nodeIn(const zrkmodel::GraphDocument& document, const zrk::Fault& fault);

} // namespace zrkworkbench
