#pragma once

#include "core/values/bbox.h"
#include "core/values/raster.h"

#include <cstdint>

namespace zrk {

/// A grid over a box that has, on a cube, `resolution` nodes an edge; on another box about as many nodes in
/// all, with equal steps along its axes. At least 2 nodes an axis; edges of length 0 count in no mean.
/// Where a count doesn't fit into 31 bits it is the largest that does.
GridBox<double> gridOverBox(const BBox<double>& box, std::int32_t resolution);

/// A Gaussian about the middle of the box, not normalized: exp(-4 d^2 / radius^2) at a node at distance d.
double gaussianWeight(const GridBox<double>& grid, double radius, std::int32_t i, std::int32_t j,
                      std::int32_t k);

/// The same at all nodes, with sum 1; all zeros where every weight is too small for a double.
///
/// @param radius  where the weight falls to exp(-4), in the units of the box. At 0 the middle node of a
///                grid that has one is NaN, and so is the rest.
Raster<1, 3, double> gaussianKernel(const GridBox<double>& grid, double radius);

} // namespace zrk
