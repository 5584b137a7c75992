#pragma once

#include "core/engine/bounds_runner.h"
#include "core/values/export.h"
#include "core/values/vector3.h"

#include <array>
#include <cstdint>
#include <span>

namespace zrk {

enum class Projection { Orthographic, Perspective };

/// Where the pixels of a picture look. Pixel (0, 0) is the upper left one. A position is given by its pixel
/// and its depth, the distance from the camera's plane along `forward`.
///
/// Orthographic: origin + depth * forward + a * right + b * up. Perspective: origin + depth * (forward + a *
/// right + b * up). Here a and b are the middle of the pixel against the middle of the picture, times
/// `pixel`.
struct Camera {
    Vector3 origin{}; ///< in perspective the eye
    Vector3 right{1, 0, 0};
    Vector3 up{0, 0, 1};
    Vector3 forward{0, 1, 0}; ///< the three have unit length and stand at right angles
    double pixel = 1;         ///< edge of a pixel in model units; in perspective at depth 1
    Projection projection = Projection::Orthographic;
    std::int32_t width = 1;
    std::int32_t height = 1;
    double shiftX = 0; ///< in pixels, of all the places looked at
    double shiftY = 0;

    bool isPerspective() const { return projection == Projection::Perspective; }
    double across(double x) const { return (x + 0.5 + shiftX - 0.5 * width) * pixel; }
    double upwards(double y) const { return (0.5 * height - 0.5 - shiftY - y) * pixel; }
    /// Edge of a pixel at a depth, in model units.
    double pixelAt(double depth) const { return isPerspective() ? pixel * depth : pixel; }

    Vector3 position(double x, double y, double depth) const
    {
        const double scale = isPerspective() ? depth : 1.0;
        return origin + forward * depth + right * (across(x) * scale) + up * (upwards(y) * scale);
    }
    double depthOf(const Vector3& position) const { return dot(position - origin, forward); }
    /// Place in the picture, in pixels; the middle of pixel (0, 0) has the place (0, 0).
    Tensor<2, double> placeOf(const Vector3& position) const
    {
        const Vector3 from = position - origin;
        const double scale = pixelAt(dot(from, forward));
        return {dot(from, right) / scale + 0.5 * width - 0.5 - shiftX,
                0.5 * height - 0.5 - shiftY - dot(from, up) / scale};
    }
};

/// A camera at the origin that looks against `from`, the direction in which the viewer is seen from the
/// solid. z is up in the picture; where it would be seen end on, y is. Precondition: `from` is finite and not
/// zero.
ZRK_API Camera cameraFrom(const Vector3& from, std::int32_t width, std::int32_t height);

/// Moves a camera so that the points fill its picture as far as they can without being cut, but for a margin.
/// @param points       at least one.
/// @param margin       share of the picture left free on each side.
/// @param viewDegrees  in perspective, the angle of view along the shorter side.
ZRK_API void fitTo(Camera& camera, std::span<const Vector3> points, double margin, double viewDegrees = 30);

/// The eight corners of a box.
std::array<Vector3, 8> cornersOf(const PositionBox& box);

} // namespace zrk
