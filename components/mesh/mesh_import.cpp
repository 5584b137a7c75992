#include "components/mesh/mesh_import.h"

#include "core/values/bbox.h"
#include "core/values/stop.h"
#include "formats/mesh_format.h"
#include "formats/obj.h"
#include "formats/part.h"
#include "model/shared_building.h"

#include <cmath>
#include <string>
#include <utility>

namespace zrkmodel {

namespace {

/// Larger coordinates would overflow where lengths are squared.
constexpr double kLargestCoordinate = 1e100;
const zrk::BBox<double> kBoxOfImports({0, 0, 0}, {5, 5, 5});

std::string counted(std::int64_t count, const char* what)
{
    return std::to_string(count) + (count == 1 ? " face of " : " faces of ") + what;
}

/// Warns of faces that aren't triangles, as they don't arrive as their author means them.
void warnOfPolygons(const zrk::WavefrontObj& obj, const std::string& file, ZRKImportWarnings& warnings)
{
    if (obj.firstPolygonLine == 0) {
        return;
    }
    std::string found = obj.polygonCount > 0 ? counted(obj.polygonCount, "four or more corners") : "";
    if (obj.shortFaceCount > 0) {
        found += (found.empty() ? "" : " and ") + counted(obj.shortFaceCount, "one or two corners");
    }
    warnings.push_back(
        {file + ", line " + std::to_string(obj.firstPolygonLine), std::move(found),
         "triangles, as the corners of all faces are taken three at a time",
         "write \"import\": {\"path\": \"...\", \"polygons\": \"split\"} to have polygons split"});
}

void readAsObj(const std::filesystem::path& path, MeshToImport& mesh)
{
    zrk::WavefrontObj obj = zrk::readWavefrontObj(path);
    warnOfPolygons(obj, path.string(), mesh.warnings);
    mesh.vertices = std::move(obj.vertices);
    mesh.indices = std::move(obj.indices);
    mesh.fault = std::move(obj.fault);
    mesh.indexFault = std::move(obj.indexFault);
}

void readAsMesh(const std::filesystem::path& path, const std::string& unit, MeshToImport& mesh)
{
    zrk::Result<zrk::FileMesh> read = zrk::readMesh(path.string());
    if (!read) {
        mesh.fault = std::move(read.error());
        return;
    }
    zrk::FlatMesh flat = zrk::flattened(*read);
    mesh.vertices = std::move(flat.vertices);
    mesh.indices = std::move(flat.indices);
    mesh.warnings = std::move(read->warnings);
    if (std::optional<zrk::Fault> fault = zrk::unitFault(*read, path.string(), unit)) {
        mesh.warnings.push_back(std::move(*fault));
    }
}

/// Warns of an axis without extent, on which stretching gives NaN.
void stretch(const std::string& file, MeshToImport& mesh)
{
    zrk::fitVerticesToBox(static_cast<int>(mesh.vertices.size() / 3), mesh.vertices, kBoxOfImports);
    for (std::size_t axis = 0; axis < 3 && axis < mesh.vertices.size(); ++axis) {
        if (std::isnan(mesh.vertices[axis]) && mesh.triangleCount() > 0) {
            mesh.warnings.push_back(
                {file, std::string("a mesh without extent along ") + "xyz"[axis],
                 "one that can be stretched into a box",
                 "write \"import\": {\"path\": \"...\", \"fit\": \"uniform\"} or \"none\"; as it "
                 "stands, it is nowhere"});
        }
    }
}

void fit(const std::string& file, ZRKMeshFit fit, MeshToImport& mesh)
{
    if (fit == ZRKMeshFit::Stretch) {
        return stretch(file, mesh);
    }
    zrk::StopLookout lookout;
    for (const double coordinate : mesh.vertices) {
        lookout.step();
        if (std::abs(coordinate) > kLargestCoordinate) {
            mesh.fault = {file, "a coordinate beyond 1e100", "numbers of at most 1e100",
                          "export the mesh in another unit"};
            mesh.vertices.clear();
            mesh.indices.clear();
            return;
        }
    }
    if (fit == ZRKMeshFit::Uniform) {
        zrk::fitVerticesUniformly(mesh.vertices, kBoxOfImports);
    }
}

MeshToImport meshAt(const std::filesystem::path& path, const ZRKImportOptions& options)
{
    MeshToImport mesh;
    const zrk::Result<std::optional<zrk::MeshFormat>> format = zrk::meshFormatOf(path);
    if (!format) {
        mesh.fault = format.error();
        return mesh;
    }
    const bool isObj = !*format || **format == zrk::MeshFormat::Obj;
    if (isObj && options.polygons == ZRKPolygons::Keep) {
        readAsObj(path, mesh);
    } else {
        readAsMesh(path, options.unit, mesh);
    }
    // A mesh that is refused stays as it is.
    if (!mesh.indexFault) {
        fit(path.string(), options.fit, mesh);
    }
    return mesh;
}

} // namespace

MeshToImport readMeshToImport(const std::filesystem::path& path, const ZRKImportOptions& options)
{
    const ZRKSharedBuilding* shared = ZRKSharedBuilding::current();
    MeshToImport mesh;
    if (!shared || shared->isFirst()) {
        mesh = meshAt(path, options);
    }
    if (shared) {
        // What is wrong with the file the first process tells.
        bool isGood = !mesh.fault && !mesh.indexFault;
        shared->handOn(isGood);
        if (!isGood) {
            return shared->isFirst() ? mesh : meshAt(path, options);
        }
        shared->handOn(mesh.vertices);
        shared->handOn(mesh.indices);
    }
    return mesh;
}

} // namespace zrkmodel
