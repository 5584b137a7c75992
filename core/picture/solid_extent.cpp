#include "core/picture/solid_extent.h"

namespace zrk::picture {

namespace {

void look(Tracer& tracer, const Vector3& from, std::int32_t size, SolidExtent& extent)
{
    constexpr double kMargin = 0.01;
    Camera camera = cameraFrom(from, size, size);
    fitTo(camera, cornersOf(tracer.region()), kMargin);
    DepthPicture picture(size, size);
    if (!tracer.trace(camera, Normals::LeftOut, picture)) {
        return;
    }
    for (std::int32_t y = 0; y < size; ++y) {
        for (std::int32_t x = 0; x < size; ++x) {
            const std::size_t place = picture.at(x, y);
            if (picture.kinds[place] != PixelKind::Nothing) {
                extent.points.push_back(camera.position(x, y, picture.depths[place]));
            }
        }
    }
}

} // namespace

double SolidExtent::diagonal() const
{
    return length(
        Vector3{box[0].upper - box[0].lower, box[1].upper - box[1].lower, box[2].upper - box[2].lower});
}

SolidExtent findExtent(Tracer& tracer, const Vector3& from)
{
    constexpr std::int32_t kLook = 96;
    constexpr std::int32_t kFromBelow = 192; // the ground lies where the lowest point is
    constexpr std::int32_t kCloseLook = 384;
    constexpr Vector3 kAxes[3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
    SolidExtent extent;
    look(tracer, from, kLook, extent);
    look(tracer, from * -1.0, kLook, extent);
    look(tracer, {0, 0, -1}, kFromBelow, extent);
    for (std::size_t axis = 0; axis < 3 && extent.isEmpty(); ++axis) {
        look(tracer, kAxes[axis], kCloseLook, extent);
        look(tracer, kAxes[axis] * -1.0, kCloseLook, extent);
    }
    if (!tracer.work().keepsGoing()) {
        return {};
    }
    for (std::size_t axis = 0; axis < 3 && !extent.isEmpty(); ++axis) {
        extent.box[axis] = extent.points[0][axis];
        for (const Vector3& point : extent.points) {
            extent.box[axis] = hull(extent.box[axis], point[axis]);
        }
    }
    return extent;
}

} // namespace zrk::picture
