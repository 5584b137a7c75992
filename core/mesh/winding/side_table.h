#pragma once

#include "core/mesh/search/closest_point.h"
#include "core/values/box.h"
#include "core/values/vector3.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace zrk {

/// A ball that no triangle of a closed mesh reaches into: all of it is on one side.
struct SideBall {
    Vector3 center{};
    double radius = 0; ///< 0: no ball
    bool isInside = false;

    /// @param margin  what distances may be off by.
    bool holds(const Vector3& point, double margin) const
    {
        const double reach = radius - margin;
        return reach > 0 && squaredDistance(point, center) < reach * reach;
    }
    /// Whether it has points in common with another ball, whose side then is its own.
    bool meets(const SideBall& other, double margin) const
    {
        const double reach = radius + other.radius - margin;
        return radius > margin && other.radius > margin &&
               squaredDistance(center, other.center) < reach * reach;
    }
};

/// The sides of the cells of a grid over the box of a closed mesh, where a cell lies on one side, or the part
/// around its centre does. Each cell's is found when it is first asked for. Safe to ask from many threads at
/// once.
class SideTable {
public:
    /// @param box  not empty, of finite extent.
    explicit SideTable(const Box<double>& box) : _lower(box.min), _size(box.size())
    {
        for (std::size_t i = 0; i < 3; ++i) {
            _perCell[i] = _size[i] > 0 ? kCells / _size[i] : 0;
        }
    }

    /// Whether a ball is inside, where the cell of its centre tells. Outside of the box no point is.
    ///
    /// @param own             its radius is larger than `margin`; which side it is on takes no part.
    /// @param margin          what distances may be off by.
    /// @param signedDistance  double(center): negative inside; called at most once a cell and thread.
    template <class SignedDistance>
    std::optional<bool> isInside(const SideBall& own, double margin, SignedDistance signedDistance) const
    {
        const Vector3& point = own.center;
        Vector3 center;
        std::size_t index = 0;
        for (std::size_t i = 3; i-- > 0;) {
            const double place = (point[i] - _lower[i]) * _perCell[i];
            if (!(place >= 0 && place <= kCells)) {
                return false;
            }
            const double cell = std::min(std::floor(place), kCells - 1);
            center[i] = _lower[i] + (cell + 0.5) / kCells * _size[i];
            index = index * static_cast<std::size_t>(kCells) + static_cast<std::size_t>(cell);
        }
        // A cell's number never changes once it is there, so its order among other memory doesn't matter.
        float known = _cells[index].load(std::memory_order_relaxed);
        if (known == 0) {
            known = towardsZero(signedDistance(center));
            _cells[index].store(known, std::memory_order_relaxed);
        }
        const SideBall ball{center, std::abs(known), known < 0};
        return ball.meets(own, margin) ? std::optional(ball.isInside) : std::nullopt;
    }

private:
    static constexpr double kCells = 16;

    Vector3 _lower;
    Vector3 _size;
    Vector3 _perCell{};
    mutable std::array<std::atomic<float>, 16 * 16 * 16>
        _cells{}; ///< signed distance of the centre; 0: unknown

    /// A little nearer, so that rounding to float doesn't widen the ball; never 0.
    static float towardsZero(double distance)
    {
        const auto smaller = static_cast<float>(distance * 0.999999);
        return smaller == 0 ? 1e-37f : smaller;
    }
};

} // namespace zrk
