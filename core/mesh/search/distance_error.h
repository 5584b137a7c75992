#pragma once

#include "core/mesh/search/bvh.h"
#include "core/values/export.h"

namespace zrk {

/// How much larger than the true distance to a mesh the least of `closestPointOnTriangle` may be, at
/// positions no farther away than a few times the mesh's size; infinite where a coordinate isn't finite.
///
/// What the function answers is the distance of some point of the triangle, so it is never too small, but
/// for rounding, and too large by no more than the triangle's longest edge. In well shaped triangles the
/// point is the nearest one but for rounding; in slivers rounding moves it, in triangles of almost zero area
/// anywhere.
///
/// Takes O(triangles).
ZRK_API double distanceError(const BVH<double, 3, 3>& tree);

} // namespace zrk
