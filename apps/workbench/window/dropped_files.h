#pragma once

#include "core/values/fault.h"
#include "host/editing/edit_session.h"

#include <array>
#include <cstdint>
#include <filesystem>

namespace zrk {
class ProgressMonitor;
}

namespace zrkworkbench {

enum class DroppedKind { Document, Picture, Volume, Mesh, Unknown };

/// What a file, or a folder, is by its name: a folder is a volume of slices.
DroppedKind kindOf(const std::filesystem::path& path);

/// Adds the node that shows a picture, a volume or a mesh, with the resource that it needs, in one step, and
/// selects it. In a document without nodes the bounds become those of what is shown, and the node its output.
///
/// @return the node; a fault, which changes nothing, for what can't be read.
zrk::Result<std::uint16_t> addFile(zrkmodel::EditSession& session, const std::filesystem::path& path,
                                   std::array<double, 2> position, zrkmodel::DocumentWarnings& warnings,
                                   zrk::ProgressMonitor* monitor = nullptr);

} // namespace zrkworkbench
