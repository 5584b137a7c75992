#pragma once

#include "core/values/scalar_math.h"
#include "core/values/tensor.h"

namespace zrk {

/// Signed distance to a sphere, negative inside. Lengths are in model units.
///
/// A negative radius is legal and moves every value up. NaN in any coordinate gives NaN.
struct SphereDistance {
    Tensor<3, double> center;
    double radius;

    template <class V>
    V operator()(const Tensor<3, V>& p) const
    {
        const V x = p[0] - center[0];
        const V y = p[1] - center[1];
        const V z = p[2] - center[2];
        return sqrt(x * x + y * y + z * z) - radius;
    }
};

} // namespace zrk
