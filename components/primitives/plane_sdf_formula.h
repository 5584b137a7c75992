#pragma once

#include "core/values/scalar_math.h"
#include "core/values/tensor.h"

namespace zrk {

/// Signed distance to a plane in model units, positive on the side that its unit normal points to.
///
/// A zero normal gives 0 at every finite position. NaN in any coordinate gives NaN.
struct PlaneDistance {
    Tensor<3, double> origin;
    Tensor<3, double> unitNormal;

    /// Takes a normal of any length. A zero normal stays zero.
    static PlaneDistance through(const Tensor<3, double>& origin, Tensor<3, double> normal)
    {
        normalize(normal);
        return {origin, normal};
    }

    template <class V>
    V operator()(const Tensor<3, V>& p) const
    {
        const V x = (p[0] - origin[0]) * unitNormal[0];
        const V y = (p[1] - origin[1]) * unitNormal[1];
        const V z = (p[2] - origin[2]) * unitNormal[2];
        return (y + x) + z; // this order fixes the bits
    }
};

} // namespace zrk
