#pragma once

#include "core/values/vector3.h"

namespace zrk {

/// Distance to a point, never negative.
struct PointDistance {
    Vector3 position;

    double operator()(const Vector3& p) const { return length(p - position); }
};

/// Signed distance to a box along the axes, negative inside, exact everywhere. NaN for a position with a NaN.
struct CornerBoxDistance {
    Vector3 lower;
    Vector3 upper; ///< nowhere below `lower`

    double operator()(const Vector3& p) const;
};

} // namespace zrk
