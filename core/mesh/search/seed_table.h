#pragma once

#include "core/mesh/search/triangle_blocks.h"

#include <array>
#include <cstdint>
#include <span>
#include <vector>

namespace zrk {

/// A triangle near each cell of a grid over a mesh. A search for the triangle nearest to a position begins
/// with it when nothing better is known. Immutable.
class SeedTable {
public:
    /// @param order  the triangles in the order of the leaves.
    SeedTable(const TriangleBlocks& triangles, std::span<const std::int32_t> order);

    /// @param local  in the frame of the search; outside of the grid the nearest cell counts.
    std::int32_t near(const Tensor<3, float>& local) const { return _triangles[cellOf(local)]; }
    /// Longest edge of a cell.
    float cellSize() const { return _cellSize; }
    std::size_t bytes() const { return _triangles.capacity() * sizeof(_triangles[0]); }

private:
    std::int32_t _count; ///< of cells along an axis
    Tensor<3, float> _lower;
    Tensor<3, float> _cellsPerLength;
    float _cellSize = 0.0f;
    std::vector<std::int32_t> _triangles;

    std::size_t cellOf(const Tensor<3, float>& local) const
    {
        std::int32_t index = 0;
        for (const std::size_t i : {2, 1, 0}) {
            const float cell = (local[i] - _lower[i]) * _cellsPerLength[i];
            const auto last = static_cast<float>(_count - 1);
            index =
                index * _count + static_cast<std::int32_t>(cell > 0.0f ? (cell < last ? cell : last) : 0.0f);
        }
        return static_cast<std::size_t>(index);
    }
};

} // namespace zrk
