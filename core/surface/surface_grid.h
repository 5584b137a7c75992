#pragma once

#include "core/values/tensor.h"

#include <array>
#include <cstdint>

namespace zrk::surface {

using Point = Tensor<3, double>;
using Index3 = std::array<std::int32_t, 3>;

/// Cells along an edge of a leaf, the box of cells that is sampled and kept together.
inline constexpr std::int32_t kLeafCells = 8;
inline constexpr std::int32_t kLeafNodes = kLeafCells + 1;
inline constexpr std::int32_t kNodesOfLeaf = kLeafNodes * kLeafNodes * kLeafNodes;
inline constexpr std::int32_t kCellsOfLeaf = kLeafCells * kLeafCells * kLeafCells;

/// A leaf, and what the field's bounds tell of the eight boxes of half its width: bit i of a part's number is
/// set where it is the upper one along axis i.
struct LeafPlace {
    Index3 at;
    std::uint8_t sampled = 0xff; ///< bit p: part p may hold a piece of the surface
    std::uint8_t inside = 0;     ///< bit p: part p holds none and lies inside
};

/// The grid that a surface is found on: over bounds that lie in the middle of cells, so that the first and
/// the last node along each axis stand half a cell outside.
///
/// Nodes are numbered from 0 to cells[axis] + 1 along an axis, and cell c lies between nodes c and c + 1. A
/// coordinate depends on the node's number alone, so every leaf that shares a node has the same bits.
struct SurfaceGrid {
    Point lower;   ///< of the bounds, model units
    Point upper;   ///< above `lower` on every axis
    Index3 cells;  ///< spacings between the bounds; at least 1
    Point spacing; ///< model units

    SurfaceGrid(const Point& lower, const Point& upper, const Index3& cells)
        : lower(lower), upper(upper), cells(cells)
    {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            spacing[axis] = (upper[axis] - lower[axis]) / cells[axis];
        }
    }

    double coordinate(std::size_t axis, std::int32_t node) const
    {
        return lower[axis] + spacing[axis] * (static_cast<double>(node) - 0.5);
    }
    /// Whether an edge along `axis`, by the number of its lower node, runs across the bounds.
    bool crossesBounds(std::size_t axis, std::int32_t node) const { return node == 0 || node == cells[axis]; }
    std::int32_t cellCount(std::size_t axis) const { return cells[axis] + 1; }
    std::int32_t leafCount(std::size_t axis) const { return (cellCount(axis) + kLeafCells - 1) / kLeafCells; }
};

} // namespace zrk::surface
