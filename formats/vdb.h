#pragma once

#include "core/engine/keep_going.h"
#include "core/values/export.h"
#include "core/values/fault.h"
#include "formats/piece_writer.h"

#include <string>

namespace zrk {

struct Part;
struct Volume;
struct VolumeSource;

/// Whether this build reads and writes VDB files, that is, was made with OpenVDB. Without it the functions
/// below refuse everything.
ZRK_API bool canWriteVdb();

/// Writes a volume as VDB: a grid of numbers for scalars, of vectors of three numbers for vectors. A colour
/// with opacity is a grid of its first three components and one of the fourth, named with "_alpha" at the
/// end. All nodes are active and hold the values as they are; outside of them a reader finds 0. Node (0, 0,
/// 0) has index (0, 0, 0), and the grid's transform gives its position. A density is a fog volume; of other
/// values the class is left open. Memory: as much again as the values.
///
/// The format puts a random identifier into each file; all else is the same for the same volume.
///
/// @param keepGoing  may be empty.
Result<void> writeVdb(const Volume& volume, const ByteSink& sink, const KeepGoing& keepGoing);

/// Writes a part as VDB: the signed distance to its triangles in model units, negative inside, as a level set
/// of floats that reaches three voxels to each side. Voxels are those of `Part::voxels`, whose side is above
/// 0. The inside is where the triangles' winding number exceeds a half.
///
/// Memory: some 300 bytes a triangle for the search, 2 KB for each 8^3 voxels near the surface. Distances
/// are found on all threads that the part allows.
///
/// @param keepGoing  may be empty; asked all the time but while the triangles' hierarchy is built, which
///                   takes a second for some three million.
Result<void> writeVdb(const Part& part, const ByteSink& sink, const KeepGoing& keepGoing);

/// Opens a volume as openVolume() tells.
Result<VolumeSource> readVdb(const std::string& path);

} // namespace zrk
