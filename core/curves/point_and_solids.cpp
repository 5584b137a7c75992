#include "core/curves/point_and_solids.h"

#include <algorithm>
#include <limits>

namespace zrk {

double CornerBoxDistance::operator()(const Vector3& p) const
{
    if (hasNaN(p)) {
        return std::numeric_limits<double>::quiet_NaN();
    }
    double deepest = -std::numeric_limits<double>::infinity();
    double squared = 0;
    for (std::size_t i = 0; i < 3; ++i) {
        const double outside = std::max(lower[i] - p[i], p[i] - upper[i]);
        deepest = std::max(deepest, outside);
        squared += outside > 0 ? outside * outside : 0;
    }
    return deepest > 0 ? std::sqrt(squared) : deepest;
}

} // namespace zrk
