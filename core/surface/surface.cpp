#include "core/surface/surface.h"

#include "core/engine/progress.h"
#include "core/engine/worker_team.h"
#include "core/surface/leaf_polygons.h"
#include "core/surface/leaf_pruning.h"
#include "core/surface/mesh_edits.h"
#include "core/surface/thinning.h"
#include "core/values/fault.h"

#include <algorithm>
#include <atomic>
#include <limits>
#include <memory>
#include <span>
#include <string>

namespace zrk {

namespace surface {
namespace {

/// Leaves that are built together, for long runs of samples.
constexpr std::size_t kLeavesATask = 16;
/// Leaves after which a run of layers ends.
constexpr std::size_t kLeavesARun = 512;

using Leaves = std::vector<std::unique_ptr<LeafPolygons>>;

/// The leaves of a few layers along z, found by their place.
class LeafLookup {
public:
    explicit LeafLookup(const SurfaceGrid& grid)
        : _columns(static_cast<std::size_t>(grid.leafCount(0))),
          _rows(static_cast<std::size_t>(grid.leafCount(1)))
    {}

    void rebuild(const Leaves& below, const Leaves& leaves, std::int32_t firstLayer, std::int32_t lastLayer)
    {
        _firstLayer = firstLayer;
        _at.assign(static_cast<std::size_t>(lastLayer - firstLayer + 1) * _columns * _rows, nullptr);
        for (const Leaves* list : {&below, &leaves}) {
            for (const auto& leaf : *list) {
                if (leaf->leaf.at()[2] >= firstLayer) {
                    _at[place(leaf->leaf.at())] = leaf.get();
                }
            }
        }
    }

    LeafNeighbours neighbours(const LeafPolygons& leaf) const
    {
        LeafNeighbours all{};
        for (std::uint32_t below = 0; below < 8; ++below) {
            Index3 at = leaf.leaf.at();
            bool exists = true;
            for (std::size_t axis = 0; axis < 3; ++axis) {
                at[axis] -= static_cast<std::int32_t>(below >> axis & 1);
                exists = exists && at[axis] >= (axis == 2 ? _firstLayer : 0);
            }
            all[below] = exists ? _at[place(at)] : nullptr;
        }
        return all;
    }

private:
    std::size_t _columns;
    std::size_t _rows;
    std::int32_t _firstLayer = 0;
    std::vector<const LeafPolygons*> _at;

    std::size_t place(const Index3& at) const
    {
        return (static_cast<std::size_t>(at[2] - _firstLayer) * _rows + static_cast<std::size_t>(at[1])) *
                   _columns +
               static_cast<std::size_t>(at[0]);
    }
};

class Extraction {
public:
    Extraction(const PreparedField& field, const SurfaceSettings& settings, ProgressMonitor* monitor)
        : _grid(settings.lower, settings.upper, settings.cells),
          _field(field, settings.iso, settings.solid == SolidSide::Above, settings.lower, settings.upper),
          _isSharp(settings.keepsCreases),
          _isOpen(settings.isOpen),
          _flatness(settings.flatness),
          _threads(workerCount(settings.threads)),
          _monitor(monitor),
          _lookup(_grid)
    {}

    std::optional<SurfaceMesh> run()
    {
        _places = leavesWithSurface(_field, _grid, [this](double) { return keepsGoing(0); });
        if (!buildLeaves() && !_stopped) {
            // The field's bounds were wrong: the surface goes on in a leaf that they had excluded.
            _mesh = {};
            _places = allLeaves(_grid);
            buildLeaves();
        }
        if (_stopped) {
            return std::nullopt;
        }
        if (_isOpen) {
            separateFansAtBounds(_mesh, _grid);
            dropUnusedVertices(_mesh);
        }
        if (_flatness > 0) {
            thinMesh(_mesh, _grid, _flatness, _threads, [this](double) { return keepsGoing(1.0); });
            if (_stopped) {
                return std::nullopt;
            }
        }
        if (_monitor) {
            _monitor->progress(1.0);
        }
        _mesh.undefinedSamples = _field.undefinedCount();
        return std::move(_mesh);
    }

private:
    SurfaceGrid _grid;
    SurfaceField _field;
    bool _isSharp;
    bool _isOpen;
    double _flatness;
    std::size_t _threads;
    ProgressMonitor* _monitor;
    LeafLookup _lookup;
    std::vector<Index3> _places; ///< of all leaves that are built
    SurfaceMesh _mesh;
    std::atomic<bool> _stopped{false};
    double _done = 0;  ///< share of all leaves before this run of layers
    double _share = 0; ///< share of this run
    double _reported = 0;

    /// Asks the monitor; on the calling thread only.
    bool keepsGoing(double fraction)
    {
        if (_monitor && !_stopped) {
            // A run of layers is gone through several times, of which the first takes the longest.
            _reported = std::max(_reported, fraction);
            _monitor->progress(_reported);
            if (_monitor->interruptRequested()) {
                _monitor->interruptAcknowledged();
                _stopped = true;
            }
        }
        return !_stopped;
    }

    /// Calls body(k) for each k below `count` on all threads; the calling one reports.
    template <class MakeBody>
    void forEach(std::size_t count, const MakeBody& makeBody)
    {
        std::atomic<std::size_t> next{0};
        runTeam(std::clamp<std::size_t>(count, 1, _threads), [&](std::size_t worker, std::size_t) {
            auto body = makeBody();
            for (std::size_t k = next++; k < count && !_stopped; k = next++) {
                body(k);
                if (worker == 0) {
                    keepsGoing(_done + _share * static_cast<double>(k) / static_cast<double>(count));
                }
            }
        });
    }

    /// Builds all leaves of the list and the mesh of them. False if it was stopped, or if a leaf is missing
    /// that the surface passes into.
    bool buildLeaves()
    {
        Leaves below;
        for (std::size_t first = 0; first < _places.size() && !_stopped;) {
            // Whole layers only, so that a later run needs the last layer of this one and nothing before.
            std::size_t end = std::min(first + kLeavesARun, _places.size());
            while (end < _places.size() && _places[end][2] == _places[end - 1][2]) {
                ++end;
            }
            Leaves leaves;
            for (std::size_t i = first; i < end; ++i) {
                leaves.push_back(std::make_unique<LeafPolygons>(_places[i]));
            }
            _done = static_cast<double>(first) / static_cast<double>(_places.size());
            _share = static_cast<double>(end - first) / static_cast<double>(_places.size());
            if (!process(below, leaves)) {
                return false;
            }
            below = lastLayer(std::move(leaves));
            first = end;
        }
        return !_stopped;
    }

    /// Whether the leaves that the surface passes into from one are on the list.
    bool hasNeighbours(const SurfaceLeaf& leaf) const
    {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            for (std::size_t side = 0; side < 2; ++side) {
                Index3 at = leaf.at();
                at[axis] += side == 0 ? -1 : 1;
                if (leaf.leavesThrough(axis, side) && !holdsLeaf(_places, at)) {
                    return false;
                }
            }
        }
        return true;
    }

    bool process(const Leaves& below, Leaves& leaves)
    {
        forEach((leaves.size() + kLeavesATask - 1) / kLeavesATask, [&] {
            return [&, builder = LeafBuilder(_field, _grid, _isSharp, _isOpen)](std::size_t task) mutable {
                std::vector<SurfaceLeaf*> group;
                for (std::size_t i = task * kLeavesATask;
                     i < std::min((task + 1) * kLeavesATask, leaves.size()); ++i) {
                    group.push_back(&leaves[i]->leaf);
                }
                builder.build(group);
            };
        });
        if (_stopped || !std::all_of(leaves.begin(), leaves.end(),
                                     [this](const auto& leaf) { return hasNeighbours(leaf->leaf); })) {
            return false;
        }
        const std::int32_t firstLayer = leaves.front()->leaf.at()[2] - 1;
        _lookup.rebuild(below, leaves, firstLayer, leaves.back()->leaf.at()[2]);
        forEach(leaves.size(), [&] {
            return [&](std::size_t i) { leaves[i]->findFaceVertices(_grid, _lookup.neighbours(*leaves[i])); };
        });
        forEach(leaves.size(), [&] {
            return [&](std::size_t i) {
                leaves[i]->findTriangles(_grid, _lookup.neighbours(*leaves[i]), _isOpen);
            };
        });
        if (!_stopped) {
            number(leaves);
            forEach(leaves.size(), [&] { return [&](std::size_t i) { write(*leaves[i]); }; });
        }
        return !_stopped;
    }

    /// Numbers of vertices and triangles in the whole mesh: by leaf, within it by kind.
    void number(Leaves& leaves)
    {
        std::uint64_t vertices = _mesh.vertices.size();
        std::uint64_t triangles = _mesh.triangles.size();
        for (auto& leaf : leaves) {
            const std::size_t counts[3] = {leaf->leaf.vertices().size(), leaf->faceVertices.size(),
                                           leaf->edgeVertices.size()};
            for (std::size_t kind = 0; kind < 3; ++kind) {
                leaf->firstNumber[kind] = vertices;
                vertices += counts[kind];
            }
            leaf->firstTriangle = triangles;
            triangles += leaf->triangles.size();
        }
        if (vertices > std::numeric_limits<std::uint32_t>::max()) {
            throw FaultError({"surface", std::to_string(vertices) + " vertices", "at most 4294967295",
                              "ask for fewer cells or smaller bounds", FaultKind::FailedWork});
        }
        makeRoom(_mesh.vertices, vertices);
        makeRoom(_mesh.triangles, triangles);
    }

    /// Resizes a list, with room for what the layers to come will bring if they are like those until now:
    /// copies would double the memory.
    template <class List>
    void makeRoom(List& list, std::size_t size) const
    {
        if (list.capacity() < size) {
            const double expected = static_cast<double>(size) * std::min(1.1 / (_done + _share), 3.0);
            list.reserve(static_cast<std::size_t>(expected));
        }
        list.resize(size);
    }

    void write(const LeafPolygons& leaf)
    {
        Point* vertex = _mesh.vertices.data() + leaf.firstNumber[0];
        for (const CellVertex& v : leaf.leaf.vertices()) {
            *vertex++ = v.position;
        }
        vertex = std::copy(leaf.faceVertices.begin(), leaf.faceVertices.end(), vertex);
        std::copy(leaf.edgeVertices.begin(), leaf.edgeVertices.end(), vertex);
        const LeafNeighbours neighbours = _lookup.neighbours(leaf);
        auto* triangle = _mesh.triangles.data() + leaf.firstTriangle;
        for (const auto& corners : leaf.triangles) {
            for (std::size_t i = 0; i < 3; ++i) {
                (*triangle)[i] = static_cast<std::uint32_t>(
                    neighbours[corners[i].below]->firstNumber[corners[i].kind] + corners[i].number);
            }
            ++triangle;
        }
    }

    static Leaves lastLayer(Leaves leaves)
    {
        const std::int32_t layer = leaves.back()->leaf.at()[2];
        Leaves last;
        for (auto& leaf : leaves) {
            if (leaf->leaf.at()[2] == layer) {
                last.push_back(std::move(leaf));
            }
        }
        return last;
    }
};

} // namespace
} // namespace surface

std::optional<SurfaceMesh> extractSurface(const PreparedField& field, const SurfaceSettings& settings,
                                          ProgressMonitor* monitor)
{
    return surface::Extraction(field, settings, monitor).run();
}

} // namespace zrk
