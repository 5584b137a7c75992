#include "formats/part.h"

#include "formats/atomic_file.h"
#include "formats/obj_mesh.h"
#include "formats/piece_writer.h"
#include "formats/ply.h"
#include "formats/stl.h"
#include "formats/threemf.h"

#include <algorithm>
#include <cassert>
#include <cctype>
#include <filesystem>
#include <iterator>

namespace zrk {

namespace {

struct NamedUnit {
    std::string_view name;
    LengthUnit unit;
};

constexpr NamedUnit kUnits[] = {{"m", LengthUnit::Meter},       {"cm", LengthUnit::Centimeter},
                                {"mm", LengthUnit::Millimeter}, {"um", LengthUnit::Micron},
                                {"inch", LengthUnit::Inch},     {"ft", LengthUnit::Foot}};

std::string extensionOf(const std::string& path)
{
    std::string extension = std::filesystem::path(path).extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return extension;
}

Result<void> writeIn(PartFormat format, const Part& part, const ByteSink& sink, ProgressMonitor* monitor)
{
    switch (format) {
    case PartFormat::Obj:
        return writeObj(part, sink, monitor);
    case PartFormat::Ply:
        return writePly(part, sink, monitor);
    case PartFormat::ThreeMf:
        return writeThreeMf(part, sink, monitor);
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
    constexpr std::pair<const char*, PartFormat> kFormats[] = {{".stl", PartFormat::Stl},
                                                               {".obj", PartFormat::Obj},
                                                               {".ply", PartFormat::Ply},
                                                               {".3mf", PartFormat::ThreeMf}};
    const std::string extension = extensionOf(path);
    for (const auto& [name, format] : kFormats) {
        if (extension == name) {
            return format;
        }
    }
    return refused({path.empty() ? "output" : path,
                    extension.empty() ? "no extension" : "the extension " + extension,
                    ".3mf, .stl, .ply or .obj",
                    "name the file for the format: .3mf or .stl for printing, .ply or .obj for modelling"});
}

Result<void> writePart(AtomicFile file, PartFormat format, const Part& part, ProgressMonitor* monitor)
{
    assert(part.colors.empty() || part.colors.size() == part.mesh.vertices.size());
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
