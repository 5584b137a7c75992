#include "core/mesh/search/seed_table.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace zrk {

namespace {

/// Leaves that the table takes a triangle of.
constexpr std::size_t kMaxSamples = 65536;
constexpr int kMaxCells = 24;

/// The best triangle of each cell so far, by the distance of its corner from the cell's centre.
class Seeds {
public:
    Seeds(std::int32_t count, const Tensor<3, float>& lower, const Tensor<3, float>& size)
        : _count(static_cast<std::size_t>(count)), _seeds(_count * _count * _count)
    {
        for (std::size_t i = 0; i < 3; ++i) {
            for (std::size_t place = 0; place < _count; ++place) {
                _centers[i][place] = lower[i] + (static_cast<float>(place) + 0.5f) * size[i];
            }
        }
    }

    void offer(std::size_t cell, std::int32_t triangle, const Tensor<3, float>& corner)
    {
        const std::size_t z = cell / (_count * _count);
        const std::size_t y = cell / _count % _count;
        take(_seeds[cell], {corner, 0.0f, triangle}, cell % _count, y, z);
    }

    /// Hands seeds on from cell to cell, forth and back.
    void spread()
    {
        const std::size_t last = _count - 1;
        const std::size_t steps[3] = {1, _count, _count * _count};
        for (const bool forth : {true, false}) {
            for (std::size_t k = 0; k < _seeds.size(); k += _count) {
                const std::size_t row = forth ? k : _seeds.size() - _count - k;
                const std::size_t y = row / _count % _count;
                const std::size_t z = row / (_count * _count);
                for (std::size_t i = 0; i < _count; ++i) {
                    const std::size_t x = forth ? i : last - i;
                    const std::size_t places[3] = {x, y, z};
                    Seed& seed = _seeds[row + x];
                    for (std::size_t axis = 0; axis < 3; ++axis) {
                        if (places[axis] != (forth ? 0 : last)) {
                            take(seed, *(forth ? &seed - steps[axis] : &seed + steps[axis]), x, y, z);
                        }
                    }
                }
            }
        }
    }

    std::int32_t triangle(std::size_t cell) const { return _seeds[cell].triangle; }

private:
    struct Seed {
        Tensor<3, float> corner{};
        float squaredDistance = std::numeric_limits<float>::infinity(); ///< from the cell's centre
        std::int32_t triangle = -1;
    };

    std::size_t _count;
    float _centers[3][kMaxCells];
    std::vector<Seed> _seeds;

    /// Takes a seed for the cell at (x, y, z) if it is nearer than the one there.
    void take(Seed& seed, const Seed& other, std::size_t x, std::size_t y, std::size_t z) const
    {
        const float dx = other.corner[0] - _centers[0][x];
        const float dy = other.corner[1] - _centers[1][y];
        const float dz = other.corner[2] - _centers[2][z];
        const float square = dx * dx + dy * dy + dz * dz;
        if (other.triangle != -1 && square < seed.squaredDistance) {
            seed = {other.corner, square, other.triangle};
        }
    }
};

} // namespace

SeedTable::SeedTable(const TriangleBlocks& triangles, std::span<const std::int32_t> order)
    : _count(std::clamp(static_cast<std::int32_t>(std::cbrt(order.size() / 4.0)), 1, kMaxCells)),
      _triangles(static_cast<std::size_t>(_count * _count * _count))
{
    const Box<float> box = triangles.tree.boxOf(0);
    Tensor<3, float> size;
    for (std::size_t i = 0; i < 3; ++i) {
        size[i] = (box.max[i] - box.min[i]) / static_cast<float>(_count);
        _cellsPerLength[i] = 1.0f / size[i];
        _cellSize = std::max(_cellSize, size[i]);
    }

    _lower = box.min;
    Seeds seeds(_count, _lower, size);
    const std::size_t stride = triangles.blocks.size() / kMaxSamples + 1;
    for (std::size_t leaf = 0; leaf < triangles.blocks.size(); leaf += stride) {
        const TriangleBlock& block = triangles.blocks[leaf];
        const Tensor<3, float> corner{block.corner[0][0], block.corner[1][0], block.corner[2][0]};
        const auto first = static_cast<std::size_t>(triangles.tree.leaves()[leaf].first);
        seeds.offer(cellOf(corner), order[first], corner);
    }
    seeds.spread();
    for (std::size_t cell = 0; cell < _triangles.size(); ++cell) {
        _triangles[cell] = seeds.triangle(cell);
    }
}

} // namespace zrk
