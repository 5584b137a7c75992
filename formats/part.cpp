#include "formats/part.h"

#include "core/engine/keep_going.h"
#include "core/values/stop.h"
#include "formats/atomic_file.h"
#include "formats/file_name.h"
#include "formats/mesh_format.h"
#include "formats/obj_mesh.h"
#include "formats/piece_writer.h"
#include "formats/ply.h"
#include "formats/stl.h"
#include "formats/threemf.h"
#include "formats/vdb.h"

#include <algorithm>
#include <cassert>
#include <iterator>
#include <vector>

namespace zrk {

namespace {

constexpr NamedUnit kUnits[] = {{"m", "metre", LengthUnit::Meter},
                                {"cm", "centimetre", LengthUnit::Centimeter},
                                {"mm", "millimetre", LengthUnit::Millimeter},
                                {"um", "micrometre", LengthUnit::Micron},
                                {"inch", "inch", LengthUnit::Inch},
                                {"ft", "foot", LengthUnit::Foot}};

Result<void> writeIn(PartFormat format, const Part& part, const ByteSink& sink, ProgressMonitor* monitor)
{
    switch (format) {
    case PartFormat::Obj:
        return writeObj(part, sink, monitor);
    case PartFormat::Ply:
        return writePly(part, sink, monitor);
    case PartFormat::ThreeMf:
        return writeThreeMf(part, sink, monitor);
    case PartFormat::Vdb:
        return writeVdb(part, sink, followedBy(monitor));
    case PartFormat::Stl:
        break;
    }
    return writeStl(part, sink, monitor);
}

} // namespace

std::span<const NamedUnit> lengthUnits() { return kUnits; }

Result<LengthUnit> lengthUnit(const std::string& place, const std::string& name)
{
    const auto* known = std::find_if(std::begin(kUnits), std::end(kUnits),
                                     [&](const NamedUnit& u) { return u.name == name; });
    if (known == std::end(kUnits)) {
        return refused({place, "the unit " + quotation(name), "m, cm, mm, um, inch or ft",
                        "name the unit that a length of 1 stands for, e.g. mm"});
    }
    return known->unit;
}

std::string_view nameOf(LengthUnit unit)
{
    return std::find_if(std::begin(kUnits), std::end(kUnits),
                        [&](const NamedUnit& u) { return u.unit == unit; })
        ->name;
}

Result<PartFormat> partFormat(const std::string& path)
{
    static const std::vector<NamedFormat<PartFormat>> kFormats = {{".3mf", PartFormat::ThreeMf},
                                                                  {".stl", PartFormat::Stl},
                                                                  {".ply", PartFormat::Ply},
                                                                  {".obj", PartFormat::Obj},
                                                                  {".vdb", PartFormat::Vdb}};
    return formatOfName(path, kFormats, ".3mf or .stl for printing, .ply or .obj for modelling");
}

Result<void> writePart(AtomicFile file, PartFormat format, const Part& part, ProgressMonitor* monitor)
{
    assert(part.colors.empty() || part.colors.size() == part.mesh.vertices.size());
    assert(format != PartFormat::Vdb || part.voxels.side > 0);
    const auto sink = [&file](const void* bytes, std::size_t size) { return file.write(bytes, size); };
    return writeIn(format, part, sink, monitor).and_then([&] { return file.commit(); });
}

bool isMeshName(const std::string& path)
{
    const std::string extension = extensionOf(path);
    return extension == ".stl" || extension == ".ply" || extension == ".obj" || extension == ".3mf";
}

Result<FileMesh> readMesh(const std::string& path)
{
    return meshFormatOf(path).and_then([&](std::optional<MeshFormat> format) -> Result<FileMesh> {
        if (!format) {
            const std::string extension = extensionOf(path);
            return refused({path, extension.empty() ? "no extension" : "the extension " + extension,
                            ".3mf, .stl, .ply or .obj", "convert the mesh to one of these formats"});
        }
        switch (*format) {
        case MeshFormat::Stl:
            return readStlFile(path);
        case MeshFormat::Ply:
            return readPlyFile(path);
        case MeshFormat::ThreeMf:
            return readThreeMfFile(path);
        case MeshFormat::Obj:
            break;
        }
        return readObjMesh(path);
    });
}

std::optional<Fault> unitFault(const FileMesh& mesh, const std::string& place, const std::string& unit)
{
    const auto wanted = lengthUnit(place, unit);
    if (!mesh.unit || !wanted || *mesh.unit == *wanted) {
        return std::nullopt;
    }
    return Fault{place, "a mesh in " + std::string(nameOf(*mesh.unit)), unit + ", the unit of the document",
                 "export the mesh in " + unit + ", or change the document's unit; nothing is rescaled"};
}

FlatMesh flattened(const SurfaceMesh& mesh)
{
    FlatMesh flat;
    flat.vertices.reserve(3 * mesh.vertices.size());
    flat.indices.reserve(3 * mesh.triangles.size());
    StopLookout lookout;
    for (const Tensor<3, double>& p : mesh.vertices) {
        lookout.step();
        flat.vertices.insert(flat.vertices.end(), {p[0], p[1], p[2]});
    }
    for (const auto& triangle : mesh.triangles) {
        lookout.step();
        for (const std::uint32_t vertex : triangle) {
            flat.indices.push_back(static_cast<std::int32_t>(vertex));
        }
    }
    return flat;
}

} // namespace zrk
