#pragma once

#include "apps/workbench/window/problems.h"
#include "core/values/fault.h"
#include "host/editing/edit_session.h"
#include "model/registry.h"

#include <QString>

#include <cstdint>
#include <optional>

namespace zrkworkbench {

/// The type of a node; null for an unknown node, and for a type that isn't registered.
const zrkmodel::ZRKGraphObjectRegistration* typeOf(const zrkmodel::EditSession& session, std::uint16_t node);

/// What a node is called: its label, else the title of its type, else "node 7".
QString nameOf(const zrkmodel::EditSession& session, std::uint16_t node);

/// The name of a node and of one of its outputs, "Sphere · sdf".
QString nameOf(const zrkmodel::EditSession& session, zrkmodel::PinAddress output);

/// The node that the place of a fault names, by its number or its place in "nodes".
std::optional<std::uint16_t> nodeIn(const zrkmodel::GraphDocument& document, const zrk::Fault& fault);

/// A problem that a fault of a document tells, by the name of the node that it is about.
Problem problemOf(const zrkmodel::EditSession& session, const zrk::Fault& fault, Problem::Kind kind);

} // namespace zrkworkbench
