#pragma once

#include "core/engine/box_run.h"
#include "core/values/vector3.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>

namespace zrk {

/// A box of positions as a ball around its centre: no position in the box is farther away than `reach`. For
/// kernels whose value changes by at most as much as the position moves, which bounds it by its value at the
/// centre.
struct CentredBox {
    Vector3 center;
    double reach;

    /// What a distance in the box may be off by that is computed in a few dozen operations on the positions
    /// and on coordinates up to `size`.
    double roundingOf(double size) const
    {
        constexpr double kOperations = 64 * std::numeric_limits<double>::epsilon();
        return kOperations * (size + reach + std::abs(center[0]) + std::abs(center[1]) + std::abs(center[2]));
    }

    /// Bounds of such a function.
    ///
    /// @param atCenter  its value at the centre. NaN gives the entire interval.
    /// @param error     what a computed value may be off by.
    Interval<double> around(double atCenter, double error) const
    {
        constexpr double kRounding = 4 * std::numeric_limits<double>::epsilon();
        const double slack = reach + error + kRounding * (std::abs(atCenter) + reach);
        return {atCenter - slack, atCenter + slack};
    }
};

/// A box of those that are being bounded. Nothing for one that is unbounded, or so far away or large that
/// squares of its coordinates could overflow.
inline std::optional<CentredBox> centredBox(const BoxBounds& positions, std::size_t box)
{
    constexpr double kFarthest = 1e100;
    CentredBox ball;
    double squared = 0;
    for (std::size_t c = 0; c < 3; ++c) {
        const Interval<double> side = positions.row(c).at(box);
        if (!(side.lower > -kFarthest && side.upper < kFarthest)) {
            return std::nullopt;
        }
        ball.center[c] = 0.5 * side.lower + 0.5 * side.upper;
        const double half = std::max(side.upper - ball.center[c], ball.center[c] - side.lower);
        squared += half * half;
    }
    // Larger than 0 also where the squares underflow.
    ball.reach = std::sqrt(squared) * (1 + 8 * std::numeric_limits<double>::epsilon()) + 1e-150;
    return ball;
}

} // namespace zrk
