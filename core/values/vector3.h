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

} // namespace zrk
