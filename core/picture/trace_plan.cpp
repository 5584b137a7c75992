#include "core/picture/trace_plan.h"

#include <algorithm>
#include <cmath>

namespace zrk::picture {

namespace {

/// Perspective sees nothing closer than this share of the farthest depth.
constexpr double kNearest = 1e-4;

} // namespace

TracePlan::TracePlan(const InsideField& f, const PositionBox& r, const Camera& c, Detail d,
                     const PixelMask* mask)
    : field(f), region(r), camera(c), boxes(c, r), detail(d), pixels(mask)
{
    constexpr std::int32_t kCoarse = 384; // below it, tiles of 64 would be too few to share among threads
    double from = HUGE_VAL;
    double to = -HUGE_VAL;
    for (const Vector3& corner : cornersOf(r)) {
        from = std::min(from, c.depthOf(corner));
        to = std::max(to, c.depthOf(corner));
    }
    if (c.isPerspective()) {
        from = std::max(from, kNearest * to);
    }
    nearest = from;
    step = 2 * c.pixelAt(0.5 * (from + to));
    tileEdge = std::max(c.width, c.height) < kCoarse ? 16 : 64;
    const double depth = step * (tileEdge / 2);
    slabs = to > from ? static_cast<std::int32_t>(std::min(1e6, std::ceil((to - from) / depth))) : 0;
}

} // namespace zrk::picture
