#pragma once

#include "core/values/fault.h"
#include "model/file_import.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <vector>

namespace zrkmodel {

/// A mesh on its way into a component.
struct MeshToImport {
    std::vector<double> vertices;      ///< three a vertex, where the component is to have them
    std::vector<std::int32_t> indices; ///< three a triangle
    /// Why the file was not read, or not to its end; what was read so far counts nevertheless.
    std::optional<zrk::Fault> fault;
    /// Set where a triangle names a vertex that isn't there. An import refuses such a mesh.
    std::optional<zrk::Fault> indexFault;
    ZRKImportWarnings warnings;

    std::size_t triangleCount() const { return indices.size() / 3; }
};

/// The members of "import" that imports of meshes heed.
inline constexpr const char* kMeshImportOptions[] = {"polygons", "fit"};

/// Reads a mesh file of any format (see formats/part.h) and fits it to the box from (0, 0, 0) to (5, 5, 5) as
/// the options want it.
///
/// A Wavefront OBJ file whose polygons are to be kept is read as `zrk::readWavefrontObj` does it, with the
/// complaint on the standard output; so is a file that shows no format by content or name. All others are
/// read as `zrk::readMesh` does it. Under a ZRKSharedBuilding the first process reads for all, and the others
/// have no warnings.
MeshToImport readMeshToImport(const std::filesystem::path& path, const ZRKImportOptions& options);

} // namespace zrkmodel
