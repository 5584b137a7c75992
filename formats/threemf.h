#pragma once

#include "core/values/fault.h"
#include "formats/part.h"
#include "formats/piece_writer.h"

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

} // namespace zrk
