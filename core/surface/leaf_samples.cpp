#include "core/surface/surface_leaf.h"

#include <algorithm>

namespace zrk::surface {

namespace {

// Rows mostly have one of these lengths, which the compiler unrolls.

void copyRow(const double* from, std::int32_t count, double* to)
{
    if (count == kLeafCells) {
        std::copy_n(from, kLeafCells, to);
    } else {
        std::copy_n(from, count, to);
    }
}

void fillRow(double value, std::int32_t count, double* to)
{
    if (count == kLeafCells) {
        std::fill_n(to, kLeafCells, value);
    } else {
        std::fill_n(to, count, value);
    }
}

/// Nodes of a row along x, from the first up to before the end, that lie in parts of a leaf that are sampled.
/// The first ones, up to before `own`, are samples of the leaf below along x; all of them of that along y.
struct SampledRow {
    std::int32_t first, own, end;
};

/// Calls found(j, k, row) for each row of a leaf of which something is sampled.
/// @param below  along x and y: leaves that it shares samples with; may be null.
template <class Found>
void forEachSampledRow(const LeafPlace& place, const std::array<const SurfaceLeaf*, 2>& below,
                       const Found& found)
{
    // The parts of a leaf at lower x that hold a row.
    static constexpr auto kLowerParts = [] {
        std::array<std::uint8_t, std::size_t{kLeafNodes} * kLeafNodes> all{};
        for (unsigned part = 0; part < 8; part += 2) {
            for (std::int32_t k = 0; k < kLeafNodes; ++k) {
                for (std::int32_t j = 0; j < kLeafNodes; ++j) {
                    std::uint8_t& parts = all[static_cast<std::size_t>(k * kLeafNodes + j)];
                    parts = static_cast<std::uint8_t>(parts | (isInPart(part, 0, j, k) ? 1u : 0u) << part);
                }
            }
        }
        return all;
    }();
    // The halves of a row that a leaf has sampled: bit 0 the lower, bit 1 the upper one.
    const auto halves = [](unsigned sampled, std::uint8_t parts) {
        return ((sampled & parts) != 0 ? 1u : 0u) | ((sampled >> 1 & parts) != 0 ? 2u : 0u);
    };
    const unsigned sampled = place.sampled;
    const unsigned alongX = below[0] ? below[0]->place().sampled : 0;
    const unsigned alongY = below[1] ? below[1]->place().sampled : 0;
    const std::uint8_t* parts = kLowerParts.data();
    for (std::int32_t k = 0; k < kLeafNodes; ++k) {
        for (std::int32_t j = 0; j < kLeafNodes; ++j, ++parts) {
            const unsigned has = halves(sampled, *parts);
            if (has == 0) {
                continue;
            }
            SampledRow row;
            row.first = (has & 1) != 0 ? 0 : kMiddleNode;
            row.end = (has & 2) != 0 ? kLeafNodes : kMiddleNode + 1;
            row.own = (has & 1) != 0 && (halves(alongX, *parts) & 2) != 0 ? 1 : row.first;
            if (j == 0 && (has & ~halves(alongY, parts[kLeafCells])) == 0) {
                row.own = row.end;
            }
            found(j, k, row);
        }
    }
}

} // namespace

/// Finds the leaves of a group that share faces with each other.
void LeafBuilder::findShared(std::span<SurfaceLeaf* const> leaves)
{
    for (std::size_t l = 0; l < leaves.size(); ++l) {
        for (std::size_t axis = 0; axis < 2; ++axis) {
            Index3 at = leaves[l]->at();
            --at[axis];
            const auto found = std::find_if(leaves.begin(), leaves.begin() + static_cast<std::ptrdiff_t>(l),
                                            [&](const SurfaceLeaf* leaf) { return leaf->at() == at; });
            const bool isShared = *found != leaves[l] && SurfaceLeaf::areTogether(at, leaves[l]->at());
            _below[l][axis] = isShared ? *found : nullptr;
            _valuesBelow[l][axis] = static_cast<std::size_t>(found - leaves.begin()) * kNodesOfLeaf;
        }
    }
}

/// Samples the parts of leaves that may hold a piece of the surface. In others any number stands for a side.
void LeafBuilder::sampleNodes(std::span<SurfaceLeaf* const> leaves)
{
    _samples.reset(leaves.size() * kNodesOfLeaf);
    _nodeValues.resize(leaves.size() * kNodesOfLeaf);
    for (std::size_t l = 0; l < leaves.size(); ++l) {
        _samples.use(leaves[l]->_field);
        addSamples(*leaves[l], _below[l]);
    }
    evaluate(_samples);
    const double* value = _samples.values.data();
    for (std::size_t l = 0; l < leaves.size(); ++l) {
        double* const values = _nodeValues.data() + l * kNodesOfLeaf;
        const double* const alongX = _nodeValues.data() + _valuesBelow[l][0];
        const double* const alongY = _nodeValues.data() + _valuesBelow[l][1];
        fillSides(leaves[l]->_place, values);
        forEachSampledRow(leaves[l]->_place, _below[l],
                          [&](std::int32_t j, std::int32_t k, const SampledRow& row) {
                              double* const to = values + nodePlace(0, j, k);
                              if (row.own == row.end) {
                                  std::copy(alongY + nodePlace(row.first, kLeafCells, k),
                                            alongY + nodePlace(row.end, kLeafCells, k), to + row.first);
                                  return;
                              }
                              if (row.own > row.first) {
                                  to[0] = alongX[nodePlace(kLeafCells, j, k)];
                              }
                              copyRow(value, row.end - row.own, to + row.own);
                              value += row.end - row.own;
                          });
    }
}

/// What stands for the sides of parts that aren't sampled.
void LeafBuilder::fillSides(const LeafPlace& place, double* values)
{
    if (place.sampled == 0xff) {
        return;
    }
    std::fill_n(values, kNodesOfLeaf, 1.0);
    for (std::size_t part = 0; part < 8; ++part) {
        if ((place.inside >> part & 1) == 0) {
            continue;
        }
        for (std::int32_t k = 0; k <= kMiddleNode; ++k) {
            for (std::int32_t j = 0; j <= kMiddleNode; ++j) {
                const auto at = [part](std::size_t axis, std::int32_t along) {
                    return (part >> axis & 1) != 0 ? along + kMiddleNode : along;
                };
                std::fill_n(values + nodePlace(at(0, 0), at(1, j), at(2, k)), kMiddleNode + 1, -1.0);
            }
        }
    }
}

/// @param below  along x and y: leaves whose samples are taken where they lie in a face with it; may be null.
void LeafBuilder::addSamples(const SurfaceLeaf& leaf, const std::array<const SurfaceLeaf*, 2>& below)
{
    double coordinates[3][kLeafNodes];
    for (std::size_t axis = 0; axis < 3; ++axis) {
        for (std::int32_t i = 0; i < kLeafNodes; ++i) {
            coordinates[axis][i] = _grid.coordinate(axis, leaf.global(axis, i));
        }
    }
    std::size_t count = _samples.count;
    double* const x = _samples.x.data();
    double* const y = _samples.y.data();
    double* const z = _samples.z.data();
    forEachSampledRow(leaf._place, below, [&](std::int32_t j, std::int32_t k, const SampledRow& row) {
        const std::int32_t own = row.end - row.own;
        copyRow(coordinates[0] + row.own, own, x + count);
        fillRow(coordinates[1][j], own, y + count);
        fillRow(coordinates[2][k], own, z + count);
        count += static_cast<std::size_t>(own);
    });
    _samples.count = count;
}

} // namespace zrk::surface
