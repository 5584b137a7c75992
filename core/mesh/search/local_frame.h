#pragma once

#include "core/values/box.h"
#include "core/values/vector3.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

namespace zrk {

/// Float coordinates for a search in a box. The box's centre is the origin, and its longest half edge becomes
/// a number between a half and one.
class LocalFrame {
public:
    /// What positions and vertices within the unit box may be off by, and what a distance may be that is
    /// computed from them in a few dozen operations, with much to spare.
    static constexpr float kMargin = 2e-6f;
    /// How far from the origin positions may be, in half edges.
    static constexpr float kReach = 32.0f;

    LocalFrame() = default;
    explicit LocalFrame(const Box<double>& box)
    {
        double longest = 0.0;
        double farthest = 0.0; // coordinate of the centre
        for (std::size_t i = 0; i < 3; ++i) {
            _center[i] = 0.5 * (box.min[i] + box.max[i]);
            longest = std::max(longest, 0.5 * (box.max[i] - box.min[i]));
            farthest = std::fmax(farthest, std::abs(_center[i]));
        }
        // Outside of this range, and for boxes that are empty or not finite, there is no frame.
        const bool isFinite = std::isfinite(_center[0] + _center[1] + _center[2]);
        if (longest > 1e-100 && longest < 1e100 && farthest < 1e100 && isFinite) {
            _scale = std::ldexp(1.0, -(std::ilogb(longest) + 1));
        }
    }

    bool isValid() const { return _scale > 0.0; }
    /// Lengths in the frame over lengths outside: a power of two.
    double scale() const { return _scale; }

    /// A position in the frame.
    Tensor<3, float> toLocal(const Vector3& point) const
    {
        return {static_cast<float>(toLocal(0, point[0])), static_cast<float>(toLocal(1, point[1])),
                static_cast<float>(toLocal(2, point[2]))};
    }
    /// One coordinate in the frame, still in double.
    double toLocal(std::size_t axis, double coordinate) const
    {
        return (coordinate - _center[axis]) * _scale;
    }
    /// Whether a position in the frame, NaN included, is too far for a search in float.
    static bool isOutOfReach(const Tensor<3, float>& local)
    {
        return !(std::abs(local[0]) <= kReach && std::abs(local[1]) <= kReach &&
                 std::abs(local[2]) <= kReach);
    }
    /// What a distance from the position may be off by.
    static float marginAt(const Tensor<3, float>& local)
    {
        return kMargin * std::max({1.0f, std::abs(local[0]), std::abs(local[1]), std::abs(local[2])});
    }

private:
    Vector3 _center{};
    double _scale = 0.0;
};

} // namespace zrk
