#pragma once

#include "core/values/scalar_math.h"
#include "core/values/tensor.h"

namespace zrk {

/// Signed distance to a torus around the z direction through its centre, negative inside the tube. Lengths
/// are in model units.
///
/// The ring, a circle of radius `ringRadius` in the plane z = center.z, is the middle of the
/// tube. Negative radii are legal. NaN in any coordinate gives NaN.
///
/// Source: Hart, "Sphere tracing: a geometric method for the antialiased ray tracing of implicit surfaces",
/// The Visual Computer 12(10), 1996, doi:10.1007/s003710050084, appendix A.
struct TorusDistance {
    Tensor<3, double> center;
    double ringRadius;
    double tubeRadius;

    template <class V>
    V operator()(const Tensor<3, V>& p) const
    {
        const V x = p[0] - center[0];
        const V y = p[1] - center[1];
        const V z = p[2] - center[2];
        const V fromRing = sqrt(x * x + y * y) - ringRadius;
        return sqrt(z * z + fromRing * fromRing) - tubeRadius;
    }
};

} // namespace zrk
