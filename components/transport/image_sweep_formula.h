#pragma once

#include "core/curves/point_interpolator.h"
#include "core/raster/raster_lookup.h"
#include "core/values/tensor.h"

namespace zrk {

/// A stack of slices as a field: the height chooses the place in the stack and the size of the slice there.
///
/// @tparam Lookup  a RasterLookup over a volume of one channel.
template <class Lookup>
struct SweptStack {
    Lookup stack;
    Tensor<3, double> inverseSize;
    KeyPointCurve scaling;       ///< size of the slice over the height
    KeyPointCurve interpolation; ///< place in the stack, 0 to 1, over the height

    template <LooksUp V>
    V operator()(const Tensor<3, V>& p) const
    {
        const V x = p[0] * inverseSize[0];
        const V y = p[1] * inverseSize[1];
        const V height = p[2] * inverseSize[2];
        const V shrink = V(1.0) / scaling(height);
        const V u = (x - 0.5) * shrink + 0.5;
        const V v = (y - 0.5) * shrink + 0.5;
        return stack(Tensor<3, V>{u, v, interpolation(height)})[0];
    }
};

} // namespace zrk
