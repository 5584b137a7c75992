#include "formats/part.h"

#include "core/engine/keep_going.h"
#include "formats/atomic_file.h"
#include "formats/file_name.h"
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

struct NamedUnit {
    std::string_view name;
    LengthUnit unit;
};

constexpr NamedUnit kUnits[] = {{"m", LengthUnit::Meter},       {"cm", LengthUnit::Centimeter},
                                {"mm", LengthUnit::Millimeter}, {"um", LengthUnit::Micron},
                                {"inch", LengthUnit::Inch},     {"ft", LengthUnit::Foot}};

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
    return extension == ".stl" || extension == ".ply" || extension == ".obj";
}

Result<SurfaceMesh> readMesh(const std::string& path)
{
    const std::string extension = extensionOf(path);
    if (extension == ".stl") {
        return readStlFile(path);
    }
    if (extension == ".ply") {
        return readPlyFile(path);
    }
    if (extension == ".obj") {
        return readObjMesh(path);
    }
    return refused({path, extension.empty() ? "no extension" : "the extension " + extension,
                    ".stl, .ply or .obj", "convert the mesh to one of these formats"});
}

} // namespace zrk
