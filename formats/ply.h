#pragma once

#include "core/surface/surface.h"
#include "core/values/fault.h"
#include "formats/part.h"
#include "formats/piece_writer.h"

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>

namespace zrk {

/// Writes PLY 1.0, binary and little endian: coordinates as doubles, bit by bit those of the mesh; colours as
/// red, green, blue and alpha of a byte each; the unit as a comment. Refuses more than 2^31 - 1 vertices.
Result<void> writePly(const Part& part, const ByteSink& sink, ProgressMonitor* monitor);

/// Reads x, y and z of the element "vertex" and the corners ("vertex_indices" or "vertex_index") of the
/// element "face" from PLY 1.0, text or binary of either byte order. Everything else is skipped. Faces are
/// split (see polygons.h). Refuses a file that is too short for what its header announces, before memory is
/// taken, coordinates that aren't finite, and faces with vertices that aren't there.
///
/// @param place  where the bytes come from, for messages.
///
/// Source: Turk, "The PLY polygon file format", 1994.
Result<FileMesh> readPly(std::span<const std::uint8_t> bytes, const std::string& place);

/// The same from a file.
Result<FileMesh> readPlyFile(const std::filesystem::path& path);

} // namespace zrk
