#pragma once

#include "core/values/fault.h"
#include "formats/part.h"
#include "formats/piece_writer.h"

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>

namespace zrk {

/// Writes a 3MF package with one object, in the part's unit or, without one, in millimetres, the format's
/// default. Coordinates read back to the same doubles. The title and the name of this program are metadata;
/// no date is written, so that the same part gives the same bytes.
///
/// Colours follow the materials extension: a group of the colours that differ, three of them for each
/// triangle. Beams stand in the same mesh as the triangles by the beam lattice extension: a reader that
/// doesn't know it takes the triangles, one that does joins two copies of the same solid. Neither extension
/// is marked as required.
///
/// Refuses more than 2^31 - 1 vertices, and a package beyond 4 GiB.
///
/// Source: 3MF Consortium, "3D Manufacturing Format" 1.2.3, "Materials and Properties
/// Extension" 1.2.1, "Beam Lattice Extension" 1.1; ECMA-376 part 2 for the package.
Result<void> writeThreeMf(const Part& part, const ByteSink& sink, ProgressMonitor* monitor);

/// Reads the meshes of all build items of a 3MF package as one mesh, in the package's unit, with the
/// transforms of items and components applied. A transform that mirrors turns the triangles around, so that
/// what was outside stays so. Components in other parts of the package are read (production extension).
/// Colours, materials, beams and slices aren't read; objects of the types "support", "solidsupport" and
/// "other" are left out with a warning.
///
/// Refuses a package that requires an extension which changes its shape, damaged archives and XML, corners
/// that name no vertex, coordinates that aren't finite, components that lead in a circle, and what is beyond
/// the limits (see limits.h).
///
/// @param place  where the bytes come from, for messages.
///
/// Source: 3MF Consortium, "3D Manufacturing Format" 1.2.3, "Production Extension" 1.1.2.
Result<FileMesh> readThreeMf(std::span<const std::uint8_t> bytes, const std::string& place);

/// The same from a file.
Result<FileMesh> readThreeMfFile(const std::filesystem::path& path);

} // namespace zrk
