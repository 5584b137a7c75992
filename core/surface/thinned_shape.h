#pragma once

#include "core/surface/surface_grid.h"

#include <algorithm>
#include <cmath>

/// Which shapes triangles may take when they are thinned.
namespace zrk::surface {

/// How far a normal may turn at once, and from what it was when its block was begun.
inline constexpr double kCosineAtOnce = 0.8987940462991670;   // of 26 degrees
inline constexpr double kCosineInABlock = 0.9702957262759965; // of 14 degrees
/// Below, a triangle's normal says little. That of a tiny one doesn't, either.
inline constexpr double kSineOfSliver = 0.02;

/// The square of the sine of the smallest angle, from the squares of twice the area and of the sides.
inline double leastSineSquared(double area, double a, double b, double c)
{
    const double product = std::max({a * b, b * c, c * a});
    return product > 0 ? area / product : 0;
}

/// The sine of the smallest angle, from twice the area.
inline double leastSine(double twiceArea, const Point& a, const Point& b, const Point& c)
{
    return std::sqrt(
        leastSineSquared(twiceArea * twiceArea, dot(b - a, b - a), dot(c - b, c - b), dot(a - c, a - c)));
}

} // namespace zrk::surface
