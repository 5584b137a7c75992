#pragma once

#include "core/surface/surface.h"
#include "core/values/export.h"
#include "core/values/fault.h"
#include "core/values/tensor.h"

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zrk {

class AtomicFile;
class ProgressMonitor;

/// What a length of 1 in a model means. Nothing is converted by it.
enum class LengthUnit { Meter, Centimeter, Millimeter, Micron, Inch, Foot };

/// A unit as documents name it, and in a word.
struct NamedUnit {
    std::string_view name;
    std::string_view word;
    LengthUnit unit;
};

/// All units, the greatest of metres first, then those of inches.
ZRK_API std::span<const NamedUnit> lengthUnits();
/// The unit of a name as documents have it: m, cm, mm, um, inch or ft. Refuses any other.
/// @param place  where the name stands, for the message.
ZRK_API Result<LengthUnit> lengthUnit(const std::string& place, const std::string& name);
ZRK_API std::string_view nameOf(LengthUnit unit);

/// Red, green, blue and opacity, sRGB, 255 being full and opaque.
using VertexColor = std::array<std::uint8_t, 4>;

/// Round rods of one radius with spheres at their ends, model units.
struct PartBeams {
    std::vector<Tensor<3, double>> nodes;
    std::vector<std::array<std::uint32_t, 2>> beams; ///< their two nodes
    double radius = 0;
};

/// The cubes that a level set holds distances for.
struct PartVoxels {
    Tensor<3, double> origin{}; ///< the middle of voxel (0, 0, 0), model units
    double side = 0;            ///< model units
};

/// The triangles and vertices of a mesh that lies elsewhere.
struct MeshView {
    std::span<const Tensor<3, double>> vertices;
    std::span<const std::array<std::uint32_t, 3>> triangles;

    MeshView(const SurfaceMesh& mesh) : vertices(mesh.vertices), triangles(mesh.triangles) {}
    MeshView(std::span<const Tensor<3, double>> vertices,
             std::span<const std::array<std::uint32_t, 3>> triangles)
        : vertices(vertices), triangles(triangles)
    {}
};

/// A mesh to be written and what a file may say beside it. Views what it is made of.
struct Part {
    MeshView mesh;
    std::span<const VertexColor> colors = {}; ///< one a vertex, or none
    std::optional<LengthUnit> unit = {};
    std::string title = {};           ///< UTF-8
    const PartBeams* beams = nullptr; ///< the same solid as beams; null where it isn't made of such
    PartVoxels voxels = {};           ///< for VDB alone, which needs them
    /// That pack a 3MF file and find the distances of a VDB file; 0: as many as there are processors. The
    /// bytes don't depend on it.
    std::size_t threads = 0;
};

enum class PartFormat { Stl, Obj, Ply, ThreeMf, Vdb };

/// The format that a file name's extension stands for, without regard to case. Refuses any other; the
/// message lists those that this build can write.
ZRK_API Result<PartFormat> partFormat(const std::string& path);

/// Writes a mesh (see stl.h, obj_mesh.h, ply.h, threemf.h, vdb.h) and puts the file in its place: the same
/// bytes for the same part, but for the identifier in a VDB file.
///
/// @param monitor  may be null; asked at least every few tens of milliseconds.
///
/// After a fault a file that was there stays as it was: FailedWork when the format can't hold the part or the
/// file can't be written, Interrupted when the monitor stopped the work. Memory: a fixed buffer, in 3MF 2 MB
/// for each thread and the colours that differ; for VDB see vdb.h.
ZRK_API Result<void> writePart(AtomicFile file, PartFormat format, const Part& part,
                               ProgressMonitor* monitor = nullptr);

/// A mesh as a file gives it.
struct FileMesh : SurfaceMesh {
    std::optional<LengthUnit> unit; ///< where the format has one
    /// What was left out, or may be otherwise than its author thinks. The places are the file's.
    std::vector<Fault> warnings;
};

/// True for a file that readMesh() takes by its name: .3mf, .stl, .ply or .obj.
ZRK_API bool isMeshName(const std::string& path);

/// Reads the triangles of a mesh file, whichever format its content shows (see mesh_format.h). Faces of more
/// corners are split (see polygons.h). Vertices of an STL file that have the same coordinates become one.
/// Indices lie within the vertices, whose coordinates are finite; anything else is refused, and so is a file
/// beyond the limits (see limits.h).
ZRK_API Result<FileMesh> readMesh(const std::string& path);

/// A warning where a mesh has a unit and that of what it comes into is another one; nothing where either
/// isn't known.
/// @param unit  a name as documents have it, or any other text.
std::optional<Fault> unitFault(const FileMesh& mesh, const std::string& place, const std::string& unit);

/// The arrays of a mesh one number after the other: three coordinates a vertex, three vertices a triangle.
struct FlatMesh {
    std::vector<double> vertices;
    std::vector<std::int32_t> indices;
};
FlatMesh flattened(const SurfaceMesh& mesh);

} // namespace zrk
