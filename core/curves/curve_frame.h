#pragma once

#include "core/values/vector3.h"

#include <cmath>

namespace zrk {

/// The normal after the smallest rotation that takes one unit tangent to another. Between
/// opposite tangents, where there are many, the normal stays.
inline Vector3 carriedNormal(const Vector3& normal, const Vector3& from, const Vector3& to)
{
    // Mirrored at the plane across `from`, which leaves the normal, and at the one across `from + to`.
    const Vector3 between = from + to;
    const double squared = dot(between, between);
    Vector3 carried = normal;
    if (squared > 1e-24) {
        carried = carried - between * (2 * dot(between, normal) / squared);
    }
    carried = carried - to * dot(to, carried);
    normalize(carried);
    return carried;
}

/// The tangent where a curve has none of its own because all its points are one.
inline constexpr Vector3 kAnyTangent{1, 0, 0};

} // namespace zrk
