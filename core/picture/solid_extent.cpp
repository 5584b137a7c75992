#include "core/picture/solid_extent.h"

#include <algorithm>
#include <limits>

namespace zrk::picture {

namespace {

/// Rows and columns of the pixels that show the solid.
struct Seen {
    std::int32_t left = std::numeric_limits<std::int32_t>::max();
    std::int32_t right = -1;
    std::int32_t top = std::numeric_limits<std::int32_t>::max();
    std::int32_t bottom = -1;

    bool isNothing() const { return right < 0; }
    std::int32_t longer() const { return std::max(right - left, bottom - top) + 1; }
};

Seen addPoints(const Camera& camera, const DepthPicture& picture, SolidExtent& extent)
{
    Seen seen;
    for (std::int32_t y = 0; y < picture.height; ++y) {
        for (std::int32_t x = 0; x < picture.width; ++x) {
            const std::size_t place = picture.at(x, y);
            if (isSolid(picture.kinds[place])) {
                extent.points.push_back(camera.position(x, y, picture.depths[place]));
                seen = {std::min(seen.left, x), std::max(seen.right, x), std::min(seen.top, y),
                        std::max(seen.bottom, y)};
            }
        }
    }
    return seen;
}

/// Looks at the whole region, then closer as long as the solid fills a small part of what is seen.
void look(Tracer& tracer, const Vector3& from, std::int32_t size, SolidExtent& extent)
{
    constexpr double kMargin = 0.01;
    constexpr int kLooks = 8;
    constexpr double kFilled = 0.6;
    constexpr std::int32_t kAround = 3; // the outline lies within a pixel of those that show the solid
    Camera camera = cameraFrom(from, size, size);
    fitTo(camera, cornersOf(tracer.region()), kMargin);
    DepthPicture picture(size, size);
    for (int i = 0; i < kLooks && tracer.trace(camera, Detail::Depths, picture); ++i) {
        const Seen seen = addPoints(camera, picture, extent);
        if (seen.isNothing() || seen.longer() + kAround > kFilled * size) {
            return;
        }
        camera.origin = camera.origin + camera.right * camera.across(0.5 * (seen.left + seen.right)) +
                        camera.up * camera.upwards(0.5 * (seen.top + seen.bottom));
        camera.pixel *= static_cast<double>(seen.longer() + kAround) / size;
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
