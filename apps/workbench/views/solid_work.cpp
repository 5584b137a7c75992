#include "apps/workbench/views/solid_work.h"

#include "core/engine/progress.h"
#include "core/picture/picture.h"
#include "core/picture/solid_extent.h"
#include "core/picture/tracer.h"
#include "core/values/stop.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <numbers>

namespace zrkworkbench {

using zrk::Vector3;

namespace {

constexpr double kFrameMargin = 0.06; ///< share of the picture around the solid
constexpr int kTurnsToFit = 12;       ///< around the z axis

/// Interrupts when the work of its thread is to stop.
class StopMonitor final : public zrk::ProgressMonitor {
public:
    void progress(double) override {}
    bool interruptRequested() override { return zrk::isStopAsked(); }
};

/// A frame around what is seen of a solid, none where nothing is.
std::optional<SolidFrame> frameOf(const SolidRequest& request, const zrk::PositionBox& region,
                                  std::size_t workers)
{
    StopMonitor monitor;
    zrk::picture::PictureWork work(workers, &monitor);
    zrk::picture::Tracer tracer({request.field, request.solid.iso, request.solid.side}, region, work);
    const zrk::picture::SolidExtent extent = zrk::picture::findExtent(tracer, request.eye.from);
    zrk::stopIfAsked();
    if (extent.isEmpty()) {
        return std::nullopt;
    }
    SolidFrame frame{extent.centre(), 0};
    const Vector3& from = request.eye.from;
    for (int turn = 0; turn < kTurnsToFit; ++turn) {
        const double angle = 2 * std::numbers::pi * turn / kTurnsToFit;
        const Vector3 turned{from[0] * std::cos(angle) - from[1] * std::sin(angle),
                             from[0] * std::sin(angle) + from[1] * std::cos(angle), from[2]};
        zrk::Camera camera = zrk::cameraFrom(turned, request.pixels.width(), request.pixels.height());
        zrk::fitTo(camera, extent.points, kFrameMargin);
        const int shorter = std::min(request.pixels.width(), request.pixels.height());
        frame.span = std::max(frame.span, camera.pixel * shorter);
    }
    return frame;
}

QImage imageOf(const zrk::ShadedPicture& picture)
{
    const int width = picture.dims[0];
    return QImage(picture.data.data(), width, picture.dims[1], 4 * width, QImage::Format_RGBA8888)
        .convertToFormat(QImage::Format_RGB32);
}

} // namespace

zrk::Camera cameraOf(const SolidEye& eye, const SolidFrame& frame, const zrk::PositionBox& region,
                     QSize pixels)
{
    zrk::Camera camera = zrk::cameraFrom(eye.from, pixels.width(), pixels.height());
    double size = 0;
    for (const auto& extent : region) {
        size += extent.upper - extent.lower;
    }
    camera.origin = frame.centre + camera.right * eye.shift.x() + camera.up * eye.shift.y() -
                    camera.forward * (2 * size + frame.span);
    camera.pixel = frame.span / std::min(pixels.width(), pixels.height()) / eye.zoom;
    return camera;
}

void workOnSolid(const SolidRequest& request, std::size_t workers,
                 const std::function<void(SolidPreview)>& show)
{
    using Clock = std::chrono::steady_clock;
    const auto begin = Clock::now();
    const zrk::PositionBox whole =
        zrk::valueOrThrow(zrkmodel::regionOf(request.solid.bounds, "give the document modelBounds"));
    const std::optional<SolidFrame> frame = request.frame ? request.frame : frameOf(request, whole, workers);
    zrk::PictureSettings settings;
    settings.region = whole;
    settings.iso = request.solid.iso;
    settings.solid = request.solid.side;
    settings.width = request.pixels.width();
    settings.height = request.pixels.height();
    settings.firstSize = request.firstSize;
    settings.threads = workers;
    if (request.cut && request.cut->value > whole[request.cut->axis].lower &&
        request.cut->value < whole[request.cut->axis].upper) {
        zrkmodel::cutTowardsViewer(settings.region, request.cut->axis, request.cut->value, request.eye.from);
    }
    if (frame) {
        settings.camera = cameraOf(request.eye, *frame, whole, request.pixels);
    }
    auto last = begin;
    const auto hand = [&](const zrk::ShadedPicture& picture, const zrk::PictureStep& step) {
        SolidPreview preview;
        preview.picture = imageOf(picture);
        preview.frame = frame;
        preview.size = std::max(picture.dims[0], picture.dims[1]);
        const auto now = Clock::now();
        preview.milliseconds = std::chrono::duration<double, std::milli>(now - begin).count();
        preview.ofThis = std::chrono::duration<double, std::milli>(now - last).count();
        preview.workers = workers;
        preview.isFinal = step.isFinal;
        last = now;
        show(std::move(preview));
    };
    StopMonitor monitor;
    const zrk::PictureOutcome outcome =
        frame ? zrk::drawPictures(request.field, settings, hand, &monitor) : zrk::PictureOutcome::NoSolid;
    zrk::stopIfAsked();
    if (outcome == zrk::PictureOutcome::NoSolid) {
        throw zrk::FaultError(
            zrkmodel::nothingSolid("view", request.solid, settings.region,
                                   "look at the slice, which shows the values, or change the "
                                   "bounds"));
    }
}

} // namespace zrkworkbench
