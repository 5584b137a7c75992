#include "host/surface_file.h"

#include "host/field_remarks.h"

#include "core/engine/progress.h"
#include "formats/atomic_file.h"
#include "host/surface_inputs.h"

#include <fmt/core.h>

#include <filesystem>
#include <utility>
#include <vector>

namespace zrkmodel {

namespace {

zrk::SurfaceMesh extracted(const SurfaceTask& task, const StageRunner& runStage)
{
    std::optional<zrk::SurfaceMesh> mesh;
    runStage("surface", [&](zrk::ProgressMonitor& monitor) {
        mesh = zrk::extractSurface(task.field, task.settings, &monitor);
    });
    if (!mesh) {
        throw zrk::FaultError(zrk::interruptedAt("surface"));
    }
    const zrk::SurfaceSettings& s = task.settings;
    if (mesh->triangles.empty()) {
        throw zrk::FaultError(
            {task.place,
             fmt::format("no surface at {} within {:g}, {:g}, {:g} and {:g}, {:g}, {:g}{}", s.iso, s.lower[0],
                         s.lower[1], s.lower[2], s.upper[0], s.upper[1], s.upper[2],
                         mesh->undefinedSamples > 0 ? ", where the field has no value" : ""),
             fmt::format("values {} {} somewhere in the bounds",
                         s.solid == zrk::SolidSide::Above ? "above" : "below", s.iso),
             "give other --bounds, another --iso or a higher --resolution; `zrk slice` shows the field",
             zrk::FaultKind::FailedWork});
    }
    return std::move(*mesh);
}

} // namespace

zrk::Result<void> checkSurfaceFormat(const std::string& file, zrk::PartFormat format, bool hasColors,
                                     bool isOpen)
{
    const bool isVdb = format == zrk::PartFormat::Vdb;
    if (hasColors && (isVdb || format == zrk::PartFormat::Stl)) {
        return zrk::refused({file, fmt::format("the format {}, which has no colours", isVdb ? "VDB" : "STL"),
                             ".3mf, .ply or .obj with --color", "write another format"});
    }
    if (isVdb && isOpen) {
        return zrk::refused({file, "a level set of an open surface, which has no inside", "a closed one",
                             "leave --open out, or write another format"});
    }
    return {};
}

zrk::Result<zrk::SurfaceMesh> writeSurface(const std::string& file, const SurfaceTask& task,
                                           const StageRunner& runStage,
                                           const std::function<void(const zrk::Fault&)>& warn)
{
    return zrk::attempt(file, [&] {
        const zrk::PartFormat format = zrk::valueOrThrow(zrk::partFormat(file));
        zrk::valueOrThrow(checkSurfaceFormat(file, format, task.colors.has_value(), task.settings.isOpen));
        // Before the work, which may be long.
        zrk::AtomicFile target = zrk::valueOrThrow(zrk::AtomicFile::create(file));
        runStage("estimating", [&](zrk::ProgressMonitor& monitor) {
            checkSurfaceSize(task.field, task.settings, format, monitor);
        });
        zrk::SurfaceMesh mesh = extracted(task, runStage);
        if (mesh.undefinedSamples > 0 && warn) {
            warn(undefinedAt(task.place, mesh.undefinedSamples));
        }
        std::vector<zrk::VertexColor> colors;
        if (task.colors) {
            runStage("colours", [&](zrk::ProgressMonitor& monitor) {
                colors = vertexColors(*task.colors, mesh, monitor);
            });
        }
        const zrk::Part part{.mesh = mesh,
                             .colors = colors,
                             .unit = task.unit,
                             .title = task.title,
                             .beams = task.beams ? &*task.beams : nullptr,
                             .voxels = surfaceVoxels(task.settings)};
        runStage("writing", [&](zrk::ProgressMonitor& monitor) {
            zrk::valueOrThrow(zrk::writePart(std::move(target), format, part, &monitor));
        });
        return mesh;
    });
}

std::string titleOf(const std::string& document)
{
    const std::string name = std::filesystem::path(document).filename().string();
    return name.substr(0, name.find(".zrk.json"));
}

} // namespace zrkmodel
