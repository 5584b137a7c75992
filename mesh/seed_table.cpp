#include "mesh/seed_table.h"

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
    struct Seed {
        std::int32_t triangle = -1;
        float corner[3];
    };

    Seeds(std::int32_t count, const float* lower, const float* size)
        : _count(count), _lower(lower), _size(size), _seeds(static_cast<std::size_t>(count * count * count))
    {}

    void offer(std::size_t cell, const Seed& seed)
    {
        if (seed.triangle != -1 && squaredDistance(cell, seed) < squaredDistance(cell, _seeds[cell])) {
            _seeds[cell] = seed;
        }
    }

    /// Hands seeds on from cell to cell, forth and back.
    void spread()
    {
        for (int pass = 0; pass < 2; ++pass) {
            const bool forth = pass % 2 == 0;
            for (std::size_t k = 0; k < _seeds.size(); ++k) {
                const std::size_t cell = forth ? k : _seeds.size() - 1 - k;
                std::size_t step = 1;
                for (std::size_t rest = cell, i = 0; i < 3; ++i) {
                    const auto n = static_cast<std::size_t>(_count);
                    const std::size_t place = rest % n;
                    if (forth ? place > 0 : place + 1 < n) {
                        offer(cell, _seeds[forth ? cell - step : cell + step]);
                    }
                    rest /= n;
                    step *= n;
                }
            }
        }
    }

    std::int32_t triangle(std::size_t cell) const { return _seeds[cell].triangle; }

private:
    std::int32_t _count;
    const float* _lower;
    const float* _size;
    std::vector<Seed> _seeds;

    float squaredDistance(std::size_t cell, const Seed& seed) const
    {
        if (seed.triangle == -1) {
            return std::numeric_limits<float>::infinity();
        }
        float sum = 0.0f;
        for (std::size_t rest = cell, i = 0; i < 3; ++i) {
            const float center =
                _lower[i] + (static_cast<float>(rest % static_cast<std::size_t>(_count)) + 0.5f) * _size[i];
            sum += (seed.corner[i] - center) * (seed.corner[i] - center);
            rest /= static_cast<std::size_t>(_count);
        }
        return sum;
    }
};

} // namespace

SeedTable::SeedTable(const TriangleBlocks& triangles, std::span<const std::int32_t> order)
    : _count(std::clamp(static_cast<std::int32_t>(std::cbrt(order.size() / 4.0)), 1, kMaxCells)),
      _triangles(static_cast<std::size_t>(_count * _count * _count))
{
    const FloatBox box = triangles.tree.boxOf(0);
    float size[3];
    for (int i = 0; i < 3; ++i) {
        size[i] = (box.upper[i] - box.lower[i]) / static_cast<float>(_count);
        _lower[i] = box.lower[i];
        _cellsPerLength[i] = 1.0f / size[i];
        _cellSize = std::max(_cellSize, size[i]);
    }

    Seeds seeds(_count, _lower, size);
    const std::size_t stride = triangles.blocks.size() / kMaxSamples + 1;
    for (std::size_t leaf = 0; leaf < triangles.blocks.size(); leaf += stride) {
        const TriangleBlock& block = triangles.blocks[leaf];
        const float corner[3] = {block.corner[0][0], block.corner[1][0], block.corner[2][0]};
        const auto first = static_cast<std::size_t>(triangles.tree.leaves()[leaf].first);
        seeds.offer(cellOf(corner), {order[first], {corner[0], corner[1], corner[2]}});
    }
    seeds.spread();
    for (std::size_t cell = 0; cell < _triangles.size(); ++cell) {
        _triangles[cell] = seeds.triangle(cell);
    }
}

} // namespace zrk
