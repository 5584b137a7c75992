#pragma once

#include "components/coordinates/sphere_uvw_formula.h"
#include "core/values/axis_frame.h"
#include "core/values/scalar_math.h"
#include "core/values/tensor.h"

namespace zrk {

/// Angles around the ring and around the tube of a torus about the z direction, in units of pi from -1 to 1,
/// and the signed distance to it in model units, negative inside. The tube's angle is 0 on its outer side and
/// 0.5 on top.
///
/// These are the simple toroidal coordinates of a tube, not the orthogonal ones of bipolar circles.
struct TorusCoordinates {
    Tensor<3, double> center;
    double ringRadius;
    double tubeRadius;

    template <class V>
    Tensor<3, V> operator()(const Tensor<3, V>& p) const
    {
        const Tensor<3, V> d = relativeTo(center, p);
        const V outwards = sqrt(d[0] * d[0] + d[1] * d[1]) - ringRadius;
        return {atan2(d[1], d[0]) * kInversePi, atan2(d[2], outwards) * kInversePi,
                sqrt(d[2] * d[2] + outwards * outwards) - tubeRadius};
    }
};

} // namespace zrk
