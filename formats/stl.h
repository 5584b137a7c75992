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

/// Writes binary STL, little endian: coordinates as 32-bit floats, each triangle with its normal. Holds
/// neither colours nor a unit but in the header, for people. Refuses more than 2^32 - 1 triangles and
/// coordinates beyond the range of float.
Result<void> writeStl(const Part& part, const ByteSink& sink, ProgressMonitor* monitor);

/// Reads STL, binary or text, whichever the bytes are: a file as long as its count of triangles asks for is
/// binary, also where it begins with "solid". Corners with the same coordinates become one vertex; normals
/// and names aren't read. Refuses a file that is too short, coordinates that aren't finite, and more
/// triangles than the limit. Memory: what the triangles take, some 100 bytes each.
///
/// @param place  where the bytes come from, for messages.
Result<FileMesh> readStl(std::span<const std::uint8_t> bytes, const std::string& place);

/// The same from a file.
Result<FileMesh> readStlFile(const std::filesystem::path& path);

} // namespace zrk
