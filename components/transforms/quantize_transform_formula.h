#pragma once

#include "core/values/scalar_math.h"
#include "core/values/tensor.h"

namespace zrk {

/// Moves a position towards the nearest point of a lattice, axis by axis.
///
/// The lattice points of an axis lie at (n - shift) * step for whole numbers n. Halfway between two of them,
/// the one that is farther from -shift * step is taken. A strength of 0 leaves the position, a strength of 1
/// snaps it, others extrapolate. An axis whose step is 0 is left alone; a NaN step gives NaN.
struct QuantizePosition {
    double strength;
    double keep; ///< 1 - strength
    Tensor<3, double> shift;
    Tensor<3, double> step;
    Tensor<3, double> inverseStep;

    /// @param step   cell size of each axis in model units.
    /// @param shift  offset of the lattice in cells; only its fractional part counts, so that -0.25 acts like
    ///               0.75.
    static QuantizePosition toLattice(double strength, const Tensor<3, double>& step,
                                      const Tensor<3, double>& shift)
    {
        QuantizePosition quantize{strength, 1 - strength, {}, step, {}};
        for (std::size_t i = 0; i < 3; ++i) {
            quantize.shift[i] = shift[i] - floor(shift[i]);
            quantize.inverseStep[i] = step[i] == 0.0 ? 0.0 : 1 / step[i];
        }
        return quantize;
    }

    template <class V>
    Tensor<3, V> operator()(const Tensor<3, V>& p) const
    {
        Tensor<3, V> moved = p;
        for (std::size_t i = 0; i < 3; ++i) {
            if (step[i] == 0.0) {
                continue; // untouched whatever the strength
            }
            const V snapped = (round(p[i] * inverseStep[i] + shift[i]) - shift[i]) * step[i];
            moved[i] = snapped * strength + p[i] * keep;
        }
        return moved;
    }
};

} // namespace zrk
