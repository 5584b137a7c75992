#pragma once

#include "core/picture/solid_extent.h"

#include <cstddef>
#include <vector>

namespace zrk::picture {

/// Turns of a set of taps: neighbouring pixels take different ones, and their mean is smoother than each.
inline constexpr std::size_t kTurns = 4;

/// Evenly spread places in the unit disc, the same set in several turns.
///
/// Source: Vogel, "A better way to construct the sunflower head", Mathematical Biosciences 44, 1979.
template <std::size_t N>
struct DiscTaps {
    float x[kTurns][N];
    float y[kTurns][N];
    float radius[N];

    DiscTaps();
};

/// What a far light sees of the solid, and how much of that light reaches a place.
///
/// Source: Fernando, "Percentage-closer soft shadows", SIGGRAPH sketches 2005. Here: the solid itself is
/// traced from the light.
class LightMap {
public:
    /// Traces the solid from the light. False if it was interrupted.
    /// @param towardsLight  unit vector.
    bool build(Tracer& tracer, const SolidExtent& extent, const Vector3& towardsLight, std::int32_t size);

    /// Share of the light that reaches a place with this normal, 0 to 1.
    float lightAt(const Vector3& position, const Float3& normal, std::size_t turn) const;

private:
    Camera _camera;
    std::vector<float> _depths;
    double _nearest = 0;

    float depthAt(float x, float y) const;
};

} // namespace zrk::picture
