#pragma once

#include "core/values/tensor.h"

#include <cmath>

namespace zrk {

using Vector3 = Tensor<3, double>;

inline double squaredDistance(const Vector3& a, const Vector3& b)
{
    const Vector3 between = a - b;
    return dot(between, between);
}

inline bool hasNaN(const Vector3& v) { return std::isnan(v[0]) || std::isnan(v[1]) || std::isnan(v[2]); }

/// A box along the axes by its lower and upper corner, in the units of what it holds.
struct Box3 {
    Vector3 lower;
    Vector3 upper;

    /// Grows the box so that it holds p. A NaN coordinate changes nothing.
    void include(const Vector3& p)
    {
        for (std::size_t i = 0; i < 3; ++i) {
            lower[i] = p[i] < lower[i] ? p[i] : lower[i];
            upper[i] = p[i] > upper[i] ? p[i] : upper[i];
        }
    }
    void include(const Box3& other)
    {
        include(other.lower);
        include(other.upper);
    }
};

} // namespace zrk
