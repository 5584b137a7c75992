#pragma once

#include "core/engine/keep_going.h"
#include "core/surface/surface.h"
#include "core/surface/surface_field.h"
#include "core/surface/surface_grid.h"

#include <functional>
#include <span>
#include <vector>

namespace zrk::surface {

/// The order of leaves: along z, then y, then x.
inline bool comesBefore(const Index3& a, const Index3& b)
{
    return a[2] != b[2] ? a[2] < b[2] : a[1] != b[1] ? a[1] < b[1] : a[0] < b[0];
}

/// The leaves in layers of a grid that may hold a piece of the surface, by the field's bounds over boxes: in
/// their order. A leaf or a part of one that is left out surely has all nodes on one side.
///
/// @param keepGoing  may be empty; false ends the search with what is found so far.
std::vector<LeafPlace> leavesWithSurface(const SurfaceField& field, const SurfaceGrid& grid,
                                         const SurfaceLayers& layers, std::size_t threads,
                                         const KeepGoing& keepGoing);

/// All leaves in layers of a grid, in that order.
std::vector<LeafPlace> allLeaves(const SurfaceGrid& grid, const SurfaceLayers& layers);
/// Whether a list in that order holds a leaf.
bool holdsLeaf(const std::vector<LeafPlace>& leaves, const Index3& leaf);

/// Hands over the cells that the bounds can't prove to be free of the surface, some at a time: boxes are
/// halved further, down to cells.
/// @param found  is told, too, whether all boxes until now were bounded at all.
void forEachCellWithSurface(const SurfaceField& field, const SurfaceGrid& grid, const KeepGoing& keepGoing,
                            const std::function<void(std::span<const Index3>, bool)>& found);

} // namespace zrk::surface
