#pragma once

#include "host/document_geometry.h"
#include "model/json.h"

#include <filesystem>
#include <memory>
#include <string>

namespace zrkmodel {

/// A geometry from its resource entry, of any shape but a group.
///
/// @param place   of the entry, for messages: file and index.
/// @param folder  that the paths in it are relative to.
///
/// Throws HostError with status kBadInput for a shape that is unknown, for malformed or degenerate geometry:
/// no box without all corners in order, no circle without an axis; and for a mesh that isn't read whole.
std::shared_ptr<DocumentGeometry> readGeometry(const ZRKJson& entry, const std::string& place,
                                               const std::filesystem::path& folder);

/// True for an entry of the shape "group", whose members are other entries.
bool isGroup(const ZRKJson& entry);

} // namespace zrkmodel
