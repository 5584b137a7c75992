#pragma once

#include "core/mesh/search/bvh.h"
#include "core/mesh/winding/winding_moments.h"
#include "core/values/vector3.h"

#include <cstdint>

namespace zrk {

/// Generalized winding number of a triangle mesh at a point: about 1 inside a closed mesh whose triangles
/// run counter-clockwise as seen from outside, about 0 outside, fractional near holes.
///
/// A node that is farther than `beta` times its radius is replaced by its expansion.
///
/// @param tree     over the mesh's triangles.
/// @param moments  of this tree.
/// @param point    NaN gives NaN.
/// @param order    of the expansion: 0 takes its first term alone, 1 two. So does 2, as `moment2` is zero.
/// @param beta     accuracy, dimensionless; larger is slower and more exact.
///
/// Safe to call from many threads at once.
///
/// Source: Barill, Dickson, Schmidt, Levin, Jacobson, "Fast winding numbers for soups and clouds", ACM
/// Transactions on Graphics 37(4):43, 2018, doi:10.1145/3197517.3201337. Here: up to the first order.
double windingNumber(const BVH<double, 3, 3>& tree, const MeshMoments& moments, const Vector3& point,
                     std::int32_t order = 1, double beta = 2.0);

} // namespace zrk
