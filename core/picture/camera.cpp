#include "core/picture/camera.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

namespace zrk {

namespace {

Interval<double> extentAlong(std::span<const Vector3> points, const Vector3& axis)
{
    Interval<double> extent = dot(points[0], axis);
    for (const Vector3& point : points) {
        extent = hull(extent, dot(point, axis));
    }
    return extent;
}

double middleOf(const Interval<double>& extent) { return 0.5 * (extent.lower + extent.upper); }
double widthOf(const Interval<double>& extent) { return extent.upper - extent.lower; }

void fitOrthographic(Camera& camera, std::span<const Vector3> points, double margin)
{
    const double room = 1 - 2 * margin;
    const Interval<double> across = extentAlong(points, camera.right);
    const Interval<double> upwards = extentAlong(points, camera.up);
    camera.pixel =
        std::max(widthOf(across) / (room * camera.width), widthOf(upwards) / (room * camera.height));
    if (!(camera.pixel > 0)) {
        camera.pixel = 1.0 / camera.width; // a single point has no size
    }
    camera.origin = camera.right * middleOf(across) + camera.up * middleOf(upwards) +
                    camera.forward * extentAlong(points, camera.forward).lower;
}

/// The eye's place along one axis of the picture, and how far it stands back: the least distance at which all
/// points lie between the two planes of slope +-slope through the eye.
struct EyePlace {
    double across;
    double distance;
};

EyePlace placeBetween(std::span<const Vector3> points, const Vector3& centre, const Vector3& axis,
                      const Vector3& forward, double slope)
{
    // A point at (u, w) is seen when |u - across| <= slope * (w + distance).
    double upper = -std::numeric_limits<double>::infinity();
    double lower = upper;
    for (const Vector3& point : points) {
        const double u = dot(point - centre, axis);
        const double w = dot(point - centre, forward);
        upper = std::max(upper, u - slope * w);
        lower = std::max(lower, -u - slope * w);
    }
    return {0.5 * (upper - lower), 0.5 * (upper + lower) / slope};
}

void fitPerspective(Camera& camera, std::span<const Vector3> points, double margin, double viewDegrees)
{
    const double tangent = std::tan(viewDegrees * std::numbers::pi / 360);
    const double shorter = std::min(camera.width, camera.height);
    camera.pixel = 2 * tangent / shorter;
    const double room = (1 - 2 * margin) * tangent / shorter;
    const Vector3 centre = camera.right * middleOf(extentAlong(points, camera.right)) +
                           camera.up * middleOf(extentAlong(points, camera.up)) +
                           camera.forward * middleOf(extentAlong(points, camera.forward));
    const EyePlace x = placeBetween(points, centre, camera.right, camera.forward, room * camera.width);
    const EyePlace y = placeBetween(points, centre, camera.up, camera.forward, room * camera.height);
    camera.origin = centre + camera.right * x.across + camera.up * y.across -
                    camera.forward * std::max(x.distance, y.distance);
}

} // namespace

Camera cameraFrom(const Vector3& from, std::int32_t width, std::int32_t height)
{
    constexpr double kEndOn = 1e-6;
    Camera camera;
    camera.width = width;
    camera.height = height;
    camera.forward = normalized(from * -1.0);
    const bool isEndOn = std::hypot(camera.forward[0], camera.forward[1]) < kEndOn;
    camera.right = normalized(cross(camera.forward, isEndOn ? Vector3{0, 1, 0} : Vector3{0, 0, 1}));
    camera.up = cross(camera.right, camera.forward);
    return camera;
}

void fitTo(Camera& camera, std::span<const Vector3> points, double margin, double viewDegrees)
{
    if (camera.isPerspective()) {
        fitPerspective(camera, points, margin, viewDegrees);
    } else {
        fitOrthographic(camera, points, margin);
    }
}

std::array<Vector3, 8> cornersOf(const PositionBox& box)
{
    std::array<Vector3, 8> corners;
    for (unsigned corner = 0; corner < 8; ++corner) {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            corners[corner][axis] = (corner >> axis & 1u) != 0 ? box[axis].upper : box[axis].lower;
        }
    }
    return corners;
}

} // namespace zrk
