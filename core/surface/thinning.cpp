#include "core/surface/thinning.h"

#include "core/engine/worker_team.h"
#include "core/surface/block_thinning.h"
#include "core/surface/mesh_edits.h"
#include "core/surface/thinned_shape.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace zrk::surface {

namespace {

/// Cells along an edge of the first blocks.
constexpr std::int32_t kBlockCells = 64;
/// A block of a later round with more triangles is left out, to bound the memory.
constexpr std::size_t kMostTriangles = 1u << 18;
/// Cells along an edge of the blocks that slivers at seams are looked for in.
constexpr std::int32_t kSliverCells = 16;
/// Sides between a vertex that changed since it was tried and the furthest one that is looked at for it.
constexpr int kRingsOfFresh = 2;
constexpr double kShortEdge = 0.1; ///< of a cell
constexpr double kBlockMargin = 1; ///< cells

/// The blocks of one round.
class Blocks {
public:
    /// @param shift  cells that the first blocks begin before the grid.
    Blocks(const SurfaceGrid& grid, std::int32_t cells, std::int32_t shift)
    {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            _counts[axis] = static_cast<std::size_t>((grid.cellCount(axis) + shift + cells - 1) / cells);
            _first[axis] = grid.coordinate(axis, -shift);
            _blocksOfLength[axis] = 1 / (grid.spacing[axis] * cells);
        }
    }

    std::size_t count() const { return _counts[0] * _counts[1] * _counts[2]; }
    std::size_t number(const Index3& at) const
    {
        return (static_cast<std::size_t>(at[2]) * _counts[1] + static_cast<std::size_t>(at[1])) * _counts[0] +
               static_cast<std::size_t>(at[0]);
    }
    Index3 of(const Point& p) const
    {
        Index3 at;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const double place = (p[axis] - _first[axis]) * _blocksOfLength[axis];
            at[axis] =
                std::clamp(static_cast<std::int32_t>(place), 0, static_cast<std::int32_t>(_counts[axis]) - 1);
        }
        return at;
    }

private:
    std::array<std::size_t, 3> _counts{};
    Point _first{};          ///< the lower corner of the first block
    Point _blocksOfLength{}; ///< blocks for each model unit
};

/// The triangles of each block, with those of its neighbours whose boxes reach into it.
class BlockLists {
public:
    /// @param isWanted  by block; empty: all are. The other lists stay empty.
    /// @param isNear    by vertex; triangles with all corners near are near. Empty: all are.
    BlockLists(const SurfaceMesh& mesh, const Blocks& blocks, std::span<const std::uint8_t> isWanted,
               std::span<const std::uint8_t> isNear)
        : _blockOf(mesh.vertices.size()), _first(2 * blocks.count() + 2, 0)
    {
        for (std::size_t v = 0; v < mesh.vertices.size(); ++v) {
            _blockOf[v] = static_cast<std::uint32_t>(blocks.number(blocks.of(mesh.vertices[v])));
        }
        struct Place {
            std::uint32_t list;
            std::uint32_t triangle;
        };
        std::vector<Place> places;
        places.reserve(isWanted.empty() ? mesh.triangles.size() : 0);
        forEachPlace(mesh, blocks, [&](std::size_t block, std::uint32_t triangle) {
            if (isWanted.empty() || isWanted[block] != 0) {
                const Triangle& t = mesh.triangles[triangle];
                const bool areNear = isNear.empty() || (isNear[t[0]] && isNear[t[1]] && isNear[t[2]]);
                const std::size_t isFar = areNear ? 0 : 1;
                places.push_back({static_cast<std::uint32_t>(2 * block + isFar), triangle});
                ++_first[2 * block + isFar + 2];
            }
        });
        // A place ahead, so that they end where the next one's begin.
        for (std::size_t list = 0; list < 2 * blocks.count(); ++list) {
            _first[list + 1] += _first[list];
        }
        _triangles.resize(places.size());
        for (const Place& place : places) {
            _triangles[_first[place.list + 1]++] = place.triangle;
        }
    }

    std::span<const std::uint32_t> nearOf(std::size_t block) const { return list(2 * block); }
    std::span<const std::uint32_t> farOf(std::size_t block) const { return list(2 * block + 1); }
    /// The block that a vertex lies in.
    std::size_t blockOf(std::uint32_t vertex) const { return _blockOf[vertex]; }

private:
    std::vector<std::uint32_t> _blockOf; ///< by vertex
    std::vector<std::size_t> _first;     ///< of near ones and others by block, in `_triangles`; two more
    std::vector<std::uint32_t> _triangles;

    std::span<const std::uint32_t> list(std::size_t number) const
    {
        return {_triangles.data() + _first[number], _first[number + 1] - _first[number]};
    }
    template <class Found>
    void forEachPlace(const SurfaceMesh& mesh, const Blocks& blocks, const Found& found) const
    {
        for (std::uint32_t t = 0; t < mesh.triangles.size(); ++t) {
            const Triangle& triangle = mesh.triangles[t];
            const std::size_t block = _blockOf[triangle[0]];
            if (_blockOf[triangle[1]] == block && _blockOf[triangle[2]] == block) {
                found(block, t);
                continue;
            }
            Index3 lower = blocks.of(mesh.vertices[triangle[0]]);
            Index3 upper = lower;
            for (std::size_t k = 1; k < 3; ++k) {
                const Index3 at = blocks.of(mesh.vertices[triangle[k]]);
                for (std::size_t axis = 0; axis < 3; ++axis) {
                    lower[axis] = std::min(lower[axis], at[axis]);
                    upper[axis] = std::max(upper[axis], at[axis]);
                }
            }
            for (std::int32_t z = lower[2]; z <= upper[2]; ++z) {
                for (std::int32_t y = lower[1]; y <= upper[1]; ++y) {
                    for (std::int32_t x = lower[0]; x <= upper[0]; ++x) {
                        found(blocks.number({x, y, z}), t);
                    }
                }
            }
        }
    }
};

/// Whether a vertex is fresh or so few sides away from one that is; empty if all are. Beyond, nothing is left
/// to be tried.
std::vector<std::uint8_t> verticesNearFreshOnes(const ThinnedMesh& thinned)
{
    std::vector<std::uint8_t> isNear = thinned.isFresh;
    if (std::find(isNear.begin(), isNear.end(), 0) == isNear.end()) {
        return {};
    }
    std::vector<std::uint8_t> before;
    for (int ring = 0; ring < kRingsOfFresh; ++ring) {
        before = isNear;
        for (const Triangle& t : thinned.mesh.triangles) {
            const std::uint8_t any = before[t[0]] | before[t[1]] | before[t[2]];
            for (const std::uint32_t v : t) {
                isNear[v] |= any;
            }
        }
    }
    return isNear;
}

void dropTriangles(ThinnedMesh& thinned)
{
    auto& triangles = thinned.mesh.triangles;
    std::size_t kept = 0;
    for (std::size_t t = 0; t < triangles.size(); ++t) {
        if (triangles[t][0] != triangles[t][1]) {
            triangles[kept] = triangles[t];
            thinned.error[kept++] = thinned.error[t];
        }
    }
    triangles.resize(kept);
    thinned.error.resize(kept);
}

/// Thins the blocks of rounds one after the other, each round on all threads.
class Rounds {
public:
    Rounds(ThinnedMesh& thinned, const ThinningLimits& limits, std::size_t threads,
           const std::function<bool(double)>& keepGoing)
        : _thinned(thinned), _keepGoing(keepGoing)
    {
        for (std::size_t worker = 0; worker < threads; ++worker) {
            _thinners.push_back(std::make_unique<BlockThinner>(thinned, limits));
        }
    }

    /// Thins the blocks that are wanted, all if none is told, and have no more than so many triangles. False
    /// if it was stopped.
    bool thin(const Blocks& blocks, std::span<const std::uint8_t> isWanted, std::size_t mostTriangles)
    {
        const BlockLists lists(_thinned.mesh, blocks, isWanted, verticesNearFreshOnes(_thinned));
        std::atomic<std::size_t> next{0};
        const std::size_t workers = std::clamp<std::size_t>(blocks.count(), 1, _thinners.size());
        runTeam(workers, [&](std::size_t worker, std::size_t) {
            for (std::size_t b = next++; b < blocks.count() && !_isStopped; b = next++) {
                if (lists.nearOf(b).size() + lists.farOf(b).size() > mostTriangles) {
                    _hasLeftOut = true;
                } else if (!lists.nearOf(b).empty()) {
                    _thinners[worker]->thin(lists.nearOf(b), lists.farOf(b),
                                            [&](std::uint32_t v) { return lists.blockOf(v) == b; });
                }
                const double share = static_cast<double>(b) / static_cast<double>(blocks.count());
                if (worker == 0 && !_keepGoing(share)) {
                    _isStopped = true;
                }
            }
        });
        dropTriangles(_thinned);
        return !_isStopped;
    }

    /// Whether a block had too many triangles.
    bool hasLeftOut() const { return _hasLeftOut; }

private:
    ThinnedMesh& _thinned;
    const std::function<bool(double)>& _keepGoing;
    std::vector<std::unique_ptr<BlockThinner>> _thinners; ///< of the threads
    std::atomic<bool> _isStopped{false};
    std::atomic<bool> _hasLeftOut{false};
};

/// The vertices of slivers.
std::vector<Point> cornersOfSlivers(const SurfaceMesh& mesh)
{
    std::vector<Point> corners;
    for (const Triangle& t : mesh.triangles) {
        const Point& a = mesh.vertices[t[0]];
        const Point& b = mesh.vertices[t[1]];
        const Point& c = mesh.vertices[t[2]];
        const Point normal = cross(b - a, c - a);
        if (leastSineSquared(dot(normal, normal), dot(b - a, b - a), dot(c - b, c - b), dot(a - c, a - c)) <
            kSineOfSliver * kSineOfSliver) {
            corners.insert(corners.end(), {a, b, c});
        }
    }
    return corners;
}

} // namespace

void thinMesh(SurfaceMesh& mesh, const SurfaceGrid& grid, double flatness, std::size_t threads,
              const std::function<bool(double)>& keepGoing)
{
    ThinnedMesh thinned{mesh, std::vector<float>(mesh.triangles.size(), 0.0f),
                        std::vector<std::uint8_t>(mesh.vertices.size(), 1)};
    const double cell = std::min({grid.spacing[0], grid.spacing[1], grid.spacing[2]});
    Rounds rounds(thinned, {flatness, kShortEdge * cell, kBlockMargin * cell}, threads, keepGoing);
    const std::int32_t most = std::max({grid.cellCount(0), grid.cellCount(1), grid.cellCount(2)});
    bool isGoingOn = true;
    bool isLast = false;
    for (std::int64_t cells = kBlockCells; isGoingOn && !isLast; cells *= 2) {
        const Blocks blocks(grid, static_cast<std::int32_t>(std::min<std::int64_t>(cells, most)), 0);
        isGoingOn = rounds.thin(blocks, {}, cells == kBlockCells ? mesh.triangles.size() : kMostTriangles);
        isLast = cells >= most;
    }
    if (isGoingOn && rounds.hasLeftOut()) {
        // What lies at a seam of those blocks lies well within one of these.
        const std::vector<Point> slivers = cornersOfSlivers(mesh);
        for (std::int32_t part = 1; isGoingOn && part < 4 && !slivers.empty(); ++part) {
            const Blocks blocks(grid, kSliverCells, part * kSliverCells / 4);
            std::vector<std::uint8_t> isWanted(blocks.count(), 0);
            for (const Point& corner : slivers) {
                isWanted[blocks.number(blocks.of(corner))] = 1;
            }
            isGoingOn = rounds.thin(blocks, isWanted, kMostTriangles);
        }
    }
    dropUnusedVertices(mesh);
}

} // namespace zrk::surface
