#pragma once

#include "core/values/bbox.h"
#include "core/values/raster.h"

#include <cstdint>

namespace zrk {

/// Returns a grid over a box. On a cube it has `resolution` nodes an edge; on another box it has about as
/// many nodes in all, with equal steps along its axes. Each axis has at least 2 nodes, and at most 2^31 - 1.
/// Edges of length 0 count in no mean.
GridBox<double> gridOverBox(const BBox<double>& box, std::int32_t resolution);

/// Returns the weight of a node at distance d from the middle of the box, not normalized:
/// exp(-4 d^2 / radius^2).
double gaussianWeight(const GridBox<double>& grid, double radius, std::int32_t i, std::int32_t j,
                      std::int32_t k);

/// Returns the weights of all nodes, scaled to the sum 1; zeros where every weight is too small for a double.
///
/// @param radius  where the weight falls to exp(-4), in the units of the box. At 0 the middle node of a
///                grid that has one is NaN, and so is the rest.
Raster<1, 3, double> gaussianKernel(const GridBox<double>& grid, double radius);

} // namespace zrk
