#include "core/mesh/beams/beam_lattice.h"

#include "core/mesh/beams/beam_field.h"
#include "core/values/stop.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace zrk {

LatticeGrid LatticeGrid::between(const Tensor<3, double>& lower, const Tensor<3, double>& upper,
                                 std::int32_t nodes)
{
    LatticeGrid grid{lower, {}, nodes};
    for (std::size_t axis = 0; axis < 3; ++axis) {
        grid.spacing[axis] = (upper[axis] - lower[axis]) / (nodes - 1);
    }
    return grid;
}

std::shared_ptr<BeamCacheData> BeamCacheData::ofGrid(const LatticeGrid& grid)
{
    auto data = std::make_shared<BeamCacheData>();
    data->radius = 0.35 * std::max({grid.spacing[0], grid.spacing[1], grid.spacing[2]});
    data->makeNodes(grid);
    data->makeGridEdges(grid.cells);
    if (data->makeBVH()) {
        data->makeField(&grid);
    }
    return data;
}

std::shared_ptr<BeamCacheData> BeamCacheData::ofEdges(std::vector<double> vertices,
                                                      std::vector<std::int32_t> triangles)
{
    auto data = std::make_shared<BeamCacheData>();
    data->vertexCount = static_cast<std::int32_t>(vertices.size() / 3);
    data->vertices = std::move(vertices);
    data->triangleCount = static_cast<std::int32_t>(triangles.size() / 3);
    data->triangles = std::move(triangles);
    if (data->makeEdgeTable() && data->makeBVH()) {
        data->makeField(nullptr);
    }
    return data;
}

Capsule<double> BeamCacheData::beam(std::int32_t index) const
{
    const std::int32_t* ends = edges.data() + std::ptrdiff_t{2} * index;
    return capsuleBetween(pointAt(vertices.data() + std::ptrdiff_t{3} * ends[0]),
                          pointAt(vertices.data() + std::ptrdiff_t{3} * ends[1]), radius);
}

void BeamCacheData::makeNodes(const LatticeGrid& grid)
{
    for (std::int32_t k = 0; k <= grid.cells; ++k) {
        for (std::int32_t j = 0; j <= grid.cells; ++j) {
            for (std::int32_t i = 0; i <= grid.cells; ++i) {
                vertices.insert(vertices.end(), {grid.coordinate<double>(0, i), grid.coordinate<double>(1, j),
                                                 grid.coordinate<double>(2, k)});
            }
        }
    }
}

void BeamCacheData::makeGridEdges(std::int32_t cells)
{
    const std::int32_t strides[3] = {1, cells + 1, (cells + 1) * (cells + 1)};
    for (std::int32_t k = 0; k <= cells; ++k) {
        for (std::int32_t j = 0; j <= cells; ++j) {
            for (std::int32_t i = 0; i <= cells; ++i) {
                const std::int32_t node = i + j * strides[1] + k * strides[2];
                const std::int32_t place[3] = {i, j, k};
                for (std::size_t axis = 0; axis < 3; ++axis) {
                    if (place[axis] != cells) {
                        edges.insert(edges.end(), {node, node + strides[axis]});
                    }
                }
            }
        }
    }
}

/// False when there is no edge.
bool BeamCacheData::makeEdgeTable()
{
    using Edge = std::pair<std::int32_t, std::int32_t>;
    std::vector<Edge> pairs;
    pairs.reserve(triangles.size());
    StopLookout lookout;
    for (std::size_t t = 0; t + 2 < triangles.size(); t += 3) {
        lookout.step();
        for (std::size_t k = 0; k < 3; ++k) {
            pairs.push_back(std::minmax(triangles[t + k], triangles[t + (k + 1) % 3]));
        }
    }
    std::sort(pairs.begin(), pairs.end(), [&lookout](const Edge& a, const Edge& b) {
        lookout.step();
        return a < b;
    });
    pairs.erase(std::unique(pairs.begin(), pairs.end()), pairs.end());
    edges.reserve(2 * pairs.size());
    for (const Edge& edge : pairs) {
        lookout.step();
        edges.insert(edges.end(), {edge.first, edge.second});
    }
    radius = 0.001;
    return !edges.empty();
}

/// The hierarchy over boxes that enclose the beams, round ends included. False without beams, and for more
/// than can be counted.
bool BeamCacheData::makeBVH()
{
    if (edges.empty() || vertices.empty() || edges.size() > std::numeric_limits<std::int32_t>::max()) {
        return false;
    }
    // The hierarchy keeps this; what it points to stays where it is when the data are moved.
    const auto bounds = [points = vertices.data(), edge = edges.data(),
                         reach = std::abs(radius)](std::int32_t index, double* lower, double* upper) {
        const std::int32_t* ends = edge + std::ptrdiff_t{2} * index;
        for (std::ptrdiff_t axis = 0; axis < 3; ++axis) {
            const double a = points[3 * std::ptrdiff_t{ends[0]} + axis];
            const double b = points[3 * std::ptrdiff_t{ends[1]} + axis];
            lower[axis] = std::min(a, b) - reach;
            upper[axis] = std::max(a, b) + reach;
        }
    };
    bvh = std::make_shared<BVH<double, 2, 3>>(vertices.data(), static_cast<std::int32_t>(vertices.size()),
                                              edges.data(), static_cast<std::int32_t>(edges.size()), bounds);
    bvh->buildHierarchy();
    return true;
}

void BeamCacheData::makeField(const LatticeGrid* grid)
{
    std::vector<Capsule<double>> beams;
    beams.reserve(edges.size() / 2);
    StopLookout lookout;
    for (std::int32_t i = 0; i < beamCount(); ++i) {
        lookout.step();
        beams.push_back(beam(i));
    }
    field = std::make_shared<BeamField>(beams, grid);
}

} // namespace zrk
