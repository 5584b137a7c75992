#pragma once

#include "core/picture/camera.h"

#include <cmath>

namespace zrk::picture {

/// A box of pixels and depths: `first` to `last` are the pixels whose middles it holds.
struct PixelBox {
    std::int32_t x;
    std::int32_t y;
    std::int32_t edge;
    Interval<double> depths;
};

/// Boxes of positions that hold what boxes of pixels see.
class TileBoxes {
public:
    TileBoxes(const Camera& camera, const PositionBox& region) : _camera(camera), _region(region)
    {
        constexpr double kRounding = 1e-14;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            _slack[axis] =
                kRounding * (std::abs(camera.origin[axis]) + std::abs(region[axis].lower) +
                             std::abs(region[axis].upper) + camera.pixel * (camera.width + camera.height));
        }
    }

    /// Writes the part of the region in which the box's pixels look, rounding included. False if they look
    /// past the region there.
    bool positionsOf(const PixelBox& box, PositionBox& out) const
    {
        out = hullOf(box);
        for (std::size_t axis = 0; axis < 3; ++axis) {
            Interval<double>& along = out[axis];
            along.lower = along.lower > _region[axis].lower ? along.lower : _region[axis].lower;
            along.upper = along.upper < _region[axis].upper ? along.upper : _region[axis].upper;
            if (!(along.lower <= along.upper)) {
                return false;
            }
        }
        return true;
    }

    /// All positions that the box's pixels look at, rounding included, also outside of the region.
    PositionBox hullOf(const PixelBox& box) const
    {
        PositionBox hull;
        const double edge = box.edge - 1;
        const double a = _camera.across(box.x + 0.5 * edge);
        const double b = _camera.upwards(box.y + 0.5 * edge);
        const double reach = 0.5 * edge * _camera.pixel;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const double middle = a * _camera.right[axis] + b * _camera.up[axis];
            const double around = reach * (std::abs(_camera.right[axis]) + std::abs(_camera.up[axis]));
            const Interval<double> along = _camera.isPerspective()
                                               ? stretched(middle + _camera.forward[axis], around, box.depths)
                                               : moved(middle, around, _camera.forward[axis], box.depths);
            hull[axis].lower = along.lower + _camera.origin[axis] - _slack[axis];
            hull[axis].upper = along.upper + _camera.origin[axis] + _slack[axis];
        }
        return hull;
    }

private:
    Camera _camera;
    PositionBox _region;
    Vector3 _slack{};

    static Interval<double> moved(double middle, double around, double forward,
                                  const Interval<double>& depths)
    {
        const double first = forward * depths.lower;
        const double last = forward * depths.upper;
        return {middle - around + (first < last ? first : last),
                middle + around + (first < last ? last : first)};
    }
    /// Times the depths, which aren't negative.
    static Interval<double> stretched(double middle, double around, const Interval<double>& depths)
    {
        const double lower = middle - around;
        const double upper = middle + around;
        return {lower * (lower < 0 ? depths.upper : depths.lower),
                upper * (upper < 0 ? depths.lower : depths.upper)};
    }
};

} // namespace zrk::picture
