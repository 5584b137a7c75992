#pragma once

#include "core/values/scalar_math.h"

namespace zrk::optimalTransport {

/// A momentum in space with a density, at the centre of a cell.
template <class V>
struct CellFlow {
    V x;
    V y;
    V density;
};

/// One step of the dual variable: it ascends, and then keeps what lies beyond the proximal point of the cost
/// |momentum|^2 / density (Moreau's decomposition).
///
/// The density of that point is the root of a cubic, approached by exactly three Newton steps from the
/// density before. From near or below -2 / sigma they don't converge. Images with black pixels can get there;
/// the iteration then amplifies rounding.
///
/// Source: Papadakis, Peyre, Oudet, cited at DynamicTransportSolver. Here without their factor 1/2 of the
/// cost, and with a floor and a ceiling of the density.
struct ProximalStep {
    double sigma;
    double minimumDensity; ///< floor of the density

    /// @param dual     is replaced by the dual variable after the step.
    /// @param flow     the interpolated flow.
    /// @param offset   what the fixed faces of the first and the last time add to the density.
    /// @param ceiling  the greatest density; infinity, or `minimumDensity` where a cell is closed.
    template <class V>
    void operator()(CellFlow<V>& dual, const CellFlow<V>& flow, const V& offset, const V& ceiling) const
    {
        const double g = 1.0 / sigma;
        dual.x = dual.x + flow.x * sigma;
        dual.y = dual.y + flow.y * sigma;
        dual.density = dual.density + flow.density * sigma;

        const V mx = dual.x * g;
        const V my = dual.y * g;
        const V r = dual.density * g + offset;
        const V p2 = V(4.0 * g) - r;
        const V p1 = (V(g) - r) * (4.0 * g);
        const V p0 = (mx * mx + my * my + r * (4.0 * g)) * -g;
        V x = r;
        for (int step = 0; step < 3; ++step) {
            x = x - (((x + p2) * x + p1) * x + p0) / ((x * 3.0 + p2 * 2.0) * x + p1);
        }
        x = minimum(maximum(x, V(minimumDensity)), ceiling); // NaN becomes the minimum

        const V s = V(1.0) / (V(1.0) + V(2.0 * g) / x);
        dual.x = dual.x - s * mx * (1.0 / g);
        dual.y = dual.y - s * my * (1.0 / g);
        dual.density = dual.density - (x - offset) * (1.0 / g);
    }
};

} // namespace zrk::optimalTransport
