#pragma once

#include "core/values/tensor.h"

namespace zrk::surface {

/// The sign of the volume of the tetrahedron a, b, c, d: 1 where d lies on the side from which a, b, c run
/// clockwise, -1 on the other side, 0 where the four lie in one plane. Exact for finite coordinates whose
/// products stay within the range of doubles.
///
/// Source: Shewchuk, "Adaptive precision floating-point arithmetic and fast robust geometric predicates",
/// Discrete & Computational Geometry 18(3), 1997; here with one filter before the exact sum.
int orientation(const Tensor<3, double>& a, const Tensor<3, double>& b, const Tensor<3, double>& c,
                const Tensor<3, double>& d);

/// The sign of the area of the triangle a, b, c, seen along `axis` from its upper end: 1 counterclockwise.
/// Exact, too.
int orientationAlong(std::size_t axis, const Tensor<3, double>& a, const Tensor<3, double>& b,
                     const Tensor<3, double>& c);

} // namespace zrk::surface
