#include "apps/workbench/export/export_task.h"

#include "apps/workbench/views/preview_service.h"
#include "core/engine/progress.h"
#include "formats/part.h"
#include "formats/png.h"
#include "host/field_grid.h"
#include "host/slice_legend.h"
#include "host/surface_inputs.h"
#include "host/volume_file.h"

#include <fmt/core.h>

#include <cmath>
#include <cstdint>
#include <utility>

namespace zrkworkbench {

namespace {

/// An output as it was when its export was asked for.
struct Snapshot {
    std::string file;
    zrkmodel::OutputField output; ///< without its field
    zrk::PreparedField field;
    zrk::BBox<double> bounds;
    zrkmodel::DocumentView view;
    std::string unit;
    std::string document;

    std::string place() const
    {
        return fmt::format("{}, output {} of node {}", document, output.address.output, output.address.node);
    }
    zrkmodel::Solid solid(std::optional<double> iso) const
    {
        return zrk::valueOrThrow(
            zrkmodel::solidOf(output, bounds, iso, false, place(),
                              "choose a scalar output; the slice shows vectors and colours"));
    }
};

using Run = std::function<std::string(const zrkmodel::StageRunner&)>;

void checkRoom(const Snapshot& snapshot)
{
    for (std::size_t axis = 0; axis < 3; ++axis) {
        if (!std::isnormal(snapshot.bounds.size[axis])) {
            throw zrk::FaultError({snapshot.document + ", \"context\", \"modelBounds\"",
                                   fmt::format("no extent along {}", "xyz"[axis]),
                                   "two opposite corners, so far apart that a grid has room",
                                   "write \"modelBounds\": [[x0, y0, z0], [x1, y1, z1]]"});
        }
    }
}

void checkPicture(const std::string& file)
{
    if (!file.ends_with(".png")) {
        throw zrk::FaultError({file, zrk::quotation(file), "a file name ending in .png",
                               "pictures are written as PNG; volumes have other names"});
    }
}

Run runOf(const Snapshot& snapshot, const VolumeExport& options, const zrkmodel::GraphDocument&)
{
    zrk::valueOrThrow(zrk::volumeFormat(snapshot.file));
    return [snapshot, options](const zrkmodel::StageRunner& runStage) {
        const auto dims = zrkmodel::gridDims(snapshot.bounds, options.resolution);
        const zrk::Region<3, 3, double, 1> region(snapshot.bounds.min, snapshot.bounds.max, dims[0], dims[1],
                                                  dims[2]);
        std::optional<zrkmodel::FieldValues> values;
        runStage("sampling", [&](zrk::ProgressMonitor& monitor) {
            values = zrk::valueOrThrow(zrkmodel::sampleField(snapshot.field, region, &monitor));
        });
        runStage("writing", [&](zrk::ProgressMonitor& monitor) {
            zrk::Volume volume =
                zrkmodel::volumeOf(snapshot.output, snapshot.bounds, dims, options.type, snapshot.unit);
            volume.values = *values;
            zrk::valueOrThrow(zrk::writeVolume(snapshot.file, volume, zrk::followedBy(&monitor)));
        });
        return fmt::format("{} x {} x {} nodes, values from {:.4g} to {:.4g}", dims[0], dims[1], dims[2],
                           values->summary.least, values->summary.greatest);
    };
}

Run runOf(const Snapshot& snapshot, const SurfaceExport& options, const zrkmodel::GraphDocument& document)
{
    const zrk::PartFormat format = zrk::valueOrThrow(zrk::partFormat(snapshot.file));
    zrk::valueOrThrow(zrkmodel::checkSurfaceFormat(snapshot.file, format, false, options.isOpen));
    const zrkmodel::Solid solid = snapshot.solid(options.iso);
    zrkmodel::SurfaceTask task;
    task.field = snapshot.field;
    task.settings.lower = solid.bounds.min;
    task.settings.upper = solid.bounds.max;
    task.settings.cells = zrkmodel::surfaceCells(solid.bounds, options.resolution, 0);
    task.settings.iso = solid.iso;
    task.settings.solid = solid.side;
    task.settings.keepsCreases = options.isSharp;
    task.settings.isOpen = options.isOpen;
    task.settings.flatness = options.flatness;
    task.place = snapshot.place();
    task.beams = zrkmodel::partBeams(document, snapshot.output.address, task.settings);
    if (!snapshot.unit.empty()) {
        task.unit = zrk::valueOrThrow(zrk::lengthUnit("unit", snapshot.unit));
    }
    task.title = zrkmodel::titleOf(snapshot.document);
    task.remedy = "look for it in the slice, and widen the bounds of the document";
    return [file = snapshot.file, task = std::move(task)](const zrkmodel::StageRunner& runStage) {
        const zrk::SurfaceMesh mesh = zrk::valueOrThrow(zrkmodel::writeSurface(file, task, runStage));
        return fmt::format("{} triangles, {} vertices", mesh.triangles.size(), mesh.vertices.size());
    };
}

Run runOf(const Snapshot& snapshot, const SliceExport& options, const zrkmodel::GraphDocument&)
{
    checkPicture(snapshot.file);
    return [snapshot, options](const zrkmodel::StageRunner& runStage) {
        SliceRequest wanted;
        wanted.bounds = snapshot.bounds;
        wanted.axis = options.axis;
        wanted.at = options.at;
        const QRectF whole = windowOf(snapshot.bounds, options.axis);
        const zrkmodel::SlicePlane plane =
            planeOf(wanted, options.window.isEmpty() ? whole : options.window, options.size);
        zrkmodel::SliceStyle style = styleOf(snapshot.output, snapshot.view);
        if (style.contour && options.iso) {
            style.contour = options.iso;
        }
        if (!options.hasLine) {
            style.contour.reset();
        }
        if (options.range) {
            style.range = options.range;
        }
        std::optional<zrkmodel::FieldValues> values;
        runStage("sampling", [&](zrk::ProgressMonitor& monitor) {
            values = zrk::valueOrThrow(zrkmodel::sampleField(snapshot.field, plane, &monitor));
        });
        const int components = static_cast<int>(snapshot.output.tag.components);
        const zrkmodel::SlicePicture slice = zrkmodel::drawSlice(
            {plane.width(), plane.height(), components, *values, values->isWeightless}, style);
        runStage("writing", [&](zrk::ProgressMonitor& monitor) {
            const zrk::Picture picture = zrkmodel::finishedSlice(
                slice, style, components, {plane.pixelSize(), snapshot.unit}, options.hasLegend);
            zrk::valueOrThrow(zrk::writePng(snapshot.file, picture, zrk::followedBy(&monitor)));
        });
        return fmt::format("{} x {} pixels, {} = {:g}", plane.width(), plane.height(), "xyz"[plane.axis()],
                           plane.coordinate());
    };
}

Run runOf(const Snapshot& snapshot, const SolidExport& options, const zrkmodel::GraphDocument&)
{
    checkPicture(snapshot.file);
    if (static_cast<std::uint64_t>(options.width) * static_cast<std::uint64_t>(options.height) >
        zrk::kMaxPicturePixels) {
        throw zrk::FaultError({"size", fmt::format("{} x {} pixels", options.width, options.height),
                               fmt::format("at most {} pixels together", zrk::kMaxPicturePixels),
                               "ask for a smaller picture"});
    }
    const zrkmodel::Solid solid = snapshot.solid(options.iso);
    zrk::PictureSettings settings;
    settings.width = options.width;
    settings.height = options.height;
    settings.iso = solid.iso;
    settings.solid = solid.side;
    settings.views = {options.eye.from};
    settings.backdrop = options.backdrop;
    settings.projection =
        options.isPerspective ? zrk::Projection::Perspective : zrk::Projection::Orthographic;
    settings.region = zrk::valueOrThrow(zrkmodel::regionOf(solid.bounds, "give the document modelBounds"));
    if (options.frame && !options.isPerspective) {
        settings.camera =
            cameraOf(options.eye, *options.frame, settings.region, {options.width, options.height});
    }
    if (options.cut && options.cut->value > settings.region[options.cut->axis].lower &&
        options.cut->value < settings.region[options.cut->axis].upper) {
        zrkmodel::cutTowardsViewer(settings.region, options.cut->axis, options.cut->value, options.eye.from);
    }
    return [snapshot, solid, settings](const zrkmodel::StageRunner& runStage) {
        const bool isTransparent = settings.backdrop == zrk::Backdrop::Transparent;
        std::optional<zrk::ShadedPicture> drawn;
        zrk::PictureOutcome outcome = zrk::PictureOutcome::Drawn;
        runStage("rendering", [&](zrk::ProgressMonitor& monitor) {
            outcome = zrk::drawPictures(
                snapshot.field, settings,
                [&](const zrk::ShadedPicture& picture, const zrk::PictureStep&) { drawn = picture; },
                &monitor);
        });
        if (outcome == zrk::PictureOutcome::Interrupted) {
            throw zrk::FaultError(zrk::interruptedAt(snapshot.file));
        }
        if (outcome == zrk::PictureOutcome::NoSolid || !drawn) {
            throw zrk::FaultError(
                zrkmodel::nothingSolid(snapshot.place(), solid, settings.region,
                                       "change the bounds or the solid; the slice shows the values"));
        }
        runStage("writing", [&](zrk::ProgressMonitor& monitor) {
            zrk::valueOrThrow(
                zrkmodel::writeShaded(snapshot.file, *drawn, isTransparent, zrk::followedBy(&monitor)));
        });
        return fmt::format("{} x {} pixels, surface at {:g}", settings.width, settings.height, solid.iso);
    };
}

} // namespace

zrk::Result<ExportTask> exportTask(const std::string& file, const zrkmodel::GraphDocument& document,
                                   zrkmodel::PinAddress output, const ExportOptions& options)
{
    return zrk::attempt(file, [&] {
        Snapshot snapshot;
        snapshot.file = file;
        snapshot.output = zrk::valueOrThrow(document.outputField(output));
        snapshot.field = PreviewService::prepare(snapshot.output).forRun();
        snapshot.output.field = {};
        snapshot.bounds = document.samplingBounds();
        snapshot.view = document.view();
        snapshot.unit = document.unit();
        snapshot.document = document.name();
        checkRoom(snapshot);
        return ExportTask{
            file, std::visit([&](const auto& chosen) { return runOf(snapshot, chosen, document); }, options)};
    });
}

} // namespace zrkworkbench
