#pragma once

#include "core/engine/keep_going.h"
#include "core/values/export.h"
#include "core/values/fault.h"
#include "formats/piece_writer.h"
#include "formats/volume.h"

#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace zrk {

struct Part;
struct VolumeSource;

/// Whether this build reads and writes VDB files, that is, was made with OpenVDB. Without it the functions
/// below refuse everything.
ZRK_API bool canWriteVdb();

/// A volume on its way into a VDB file, whose values come in their order.
class VdbVolume {
public:
    virtual ~VdbVolume() = default;
    /// The rows of values that follow those before: x fastest, the components of a node side by side.
    virtual void add(std::span<const double> rows) = 0;
    /// As the last call, with all values there.
    virtual Result<void> write(const ByteSink& sink, const KeepGoing& keepGoing) = 0;
};

/// Begins a volume: a grid of numbers for scalars, of vectors of three numbers for vectors. A colour with
/// opacity is a grid of its first three components and one of the fourth, named with "_alpha" at the end. All
/// nodes are active and hold the values as they are; outside of them a reader finds 0. Node (0, 0, 0) has
/// index (0, 0, 0), and the grid's transform gives its position. A density is a fog volume; of other values
/// the class is left open. Memory: that of the values, until the volume goes.
///
/// The format puts a random identifier into each file; all else is the same for the same volume.
Result<std::unique_ptr<VdbVolume>> beginVdb(const Volume& volume);

/// Edge of the boxes of voxels that a level set consists of.
inline constexpr std::int32_t kVdbLeafEdge = 8;

/// A level set on its way into a VDB file: values near a surface, and beside them only on which side a voxel
/// lies. Voxels are numbered along x, y and z, and may be below 0.
class ZRK_API VdbLevelSet {
public:
    virtual ~VdbLevelSet() = default;
    /// The 8^3 values of the box of voxels from `first` on, x fastest: those within the band are kept, of the
    /// others the side. `first` is a multiple of 8 along each axis.
    virtual void add(const std::array<std::int32_t, 3>& first, std::span<const double> values) = 0;
    /// The voxels of a cube are inside and beyond the band. Its edge is 8 times a power of two, `first` a
    /// multiple of it. Voxels that nothing is said of are outside.
    virtual void fillInside(const std::array<std::int32_t, 3>& first, std::int32_t edge) = 0;
    virtual std::uint64_t activeVoxels() const = 0;
    /// As the last call.
    virtual Result<void> write(const ByteSink& sink, const KeepGoing& keepGoing) = 0;
};

/// What a level set is beside its values.
struct VdbLevelSetHead {
    std::array<double, 3> origin{}; ///< the middle of voxel (0, 0, 0), model units
    double voxel = 1;               ///< model units
    double band = 3;                ///< half of its width, model units
    NumberType type = NumberType::Float64;
    std::string name;
    std::string unit;
};

/// Begins a level set. Memory: 4 or 2 KiB for each box that is added with a value within the band.
ZRK_API Result<std::unique_ptr<VdbLevelSet>> beginLevelSet(const VdbLevelSetHead& head);

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
