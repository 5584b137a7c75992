#include "core/surface/surface.h"

#include "core/engine/keep_going.h"
#include "core/engine/progress.h"
#include "core/engine/worker_team.h"
#include "core/surface/leaf_polygons.h"
#include "core/surface/leaf_pruning.h"
#include "core/surface/mesh_edits.h"
#include "core/surface/thinning.h"
#include "core/values/fault.h"
#include "core/values/large_pages.h"

#include <algorithm>
#include <atomic>
#include <iterator>
#include <limits>
#include <memory>
#include <span>
#include <string>

namespace zrk {

namespace surface {
namespace {

/// Leaves after which a run of rows ends, and those that a thread has of it.
constexpr std::size_t kLeavesARun = 128;
constexpr std::size_t kLeavesOfThread = 128;

using Leaves = std::vector<std::unique_ptr<LeafPolygons>>;

/// The neighbours of each of some leaves among them and others, which come before all of them. Both stand in
/// their order.
std::vector<LeafNeighbours> findNeighbours(const Leaves& before, const Leaves& leaves)
{
    std::vector<const LeafPolygons*> all;
    all.reserve(before.size() + leaves.size());
    for (const Leaves* list : {&before, &leaves}) {
        for (const auto& leaf : *list) {
            all.push_back(leaf.get());
        }
    }
    std::vector<LeafNeighbours> neighbours(leaves.size());
    // The leaves at one step from another go on in order as that does.
    for (std::uint32_t below = 0; below < 8; ++below) {
        std::size_t next = 0;
        for (std::size_t i = 0; i < leaves.size(); ++i) {
            Index3 at = leaves[i]->leaf.at();
            for (std::size_t axis = 0; axis < 3; ++axis) {
                at[axis] -= static_cast<std::int32_t>(below >> axis & 1);
            }
            while (comesBefore(all[next]->leaf.at(), at)) {
                ++next;
            }
            neighbours[i][below] = all[next]->leaf.at() == at ? all[next] : nullptr;
        }
    }
    return neighbours;
}

/// Leaves that are built together: those that share faces, and others for long runs of samples.
struct LeafGroups {
    std::vector<SurfaceLeaf*> leaves;
    std::vector<std::size_t> first{0}; ///< of each group, and their count

    explicit LeafGroups(const Leaves& all)
    {
        leaves.reserve(all.size());
        for (const auto& leaf : all) {
            leaves.push_back(&leaf->leaf);
        }
        std::stable_sort(leaves.begin(), leaves.end(), [](const SurfaceLeaf* a, const SurfaceLeaf* b) {
            const auto place = [](const SurfaceLeaf* leaf) {
                const Index3& at = leaf->at();
                return Index3{at[0] / SurfaceLeaf::kTogether, at[1] / SurfaceLeaf::kTogether, at[2]};
            };
            return comesBefore(place(a), place(b));
        });
        std::size_t begin = 0; // of those that are together
        for (std::size_t i = 1; i <= leaves.size(); ++i) {
            if (i < leaves.size() && SurfaceLeaf::areTogether(leaves[i]->at(), leaves[begin]->at())) {
                continue;
            }
            if (i - first.back() > LeafBuilder::kMostLeaves) {
                first.push_back(begin);
            }
            begin = i;
        }
        first.push_back(leaves.size());
    }

    std::size_t count() const { return first.size() - 1; }
    std::span<SurfaceLeaf* const> group(std::size_t g) const
    {
        return {leaves.data() + first[g], first[g + 1] - first[g]};
    }
};

/// Layers of leaves whose boxes are bounded together: their list is short, and a grid of usual size is one.
constexpr std::int64_t kLeavesASlab = 1 << 20;
/// Layers that are built beneath those that are asked for: the vertices of the first beneath are referred to,
/// and their numbers depend on the cells of the second.
constexpr std::int32_t kLayersBeneath = 2;

/// A surface on its way into a sink.
class Extraction {
public:
    Extraction(const PreparedField& field, const SurfaceSettings& settings, SurfaceLayers layers,
               SurfacePruning pruning, const SurfaceSink& sink, ProgressMonitor* monitor)
        : _grid(settings.lower, settings.upper, settings.cells),
          _field(field, settings.iso, settings.solid == SolidSide::Above, settings.lower, settings.upper),
          _isOpen(settings.isOpen),
          _pool(workerCount(settings.threads)),
          _layers(layers),
          _pruning(pruning),
          _sink(sink),
          _monitor(monitor),
          _leafBuilders(_pool.size(), LeafBuilder(_field, _grid, settings.keepsCreases, _isOpen)),
          _polygonBuilders(_pool.size(), PolygonBuilder(_grid))
    {}

    SurfaceEnd run(SurfaceWork& work)
    {
        const std::int64_t area = std::int64_t{_grid.leafCount(0)} * _grid.leafCount(1);
        const auto thickness = static_cast<std::int32_t>(
            std::clamp<std::int64_t>(kLeavesASlab / area, 1, std::max(1, _layers.end - _layers.first)));
        bool isGood = true;
        std::int32_t begin = std::max(0, _layers.first - kLayersBeneath);
        for (std::int32_t z = _layers.first; z < _layers.end && isGood && !_stopped;) {
            const std::int32_t end = std::min(z + thickness, _layers.end);
            isGood = buildSlab({begin, end});
            begin = z = end;
        }
        work.undefinedSamples += _field.undefinedCount();
        work.leaves += static_cast<std::uint64_t>(area * (_layers.end - _layers.first));
        work.sampledLeaves += _sampledLeaves;
        return _stopped ? SurfaceEnd::Stopped : isGood ? SurfaceEnd::Complete : SurfaceEnd::WrongBounds;
    }

private:
    SurfaceGrid _grid;
    SurfaceField _field;
    bool _isOpen;
    ThreadPool _pool; ///< the teams' threads, which would otherwise be started for each
    SurfaceLayers _layers;
    SurfacePruning _pruning;
    const SurfaceSink& _sink;
    ProgressMonitor* _monitor;
    // One a thread: they keep their memory.
    std::vector<LeafBuilder> _leafBuilders;
    std::vector<PolygonBuilder> _polygonBuilders;
    SurfaceLayers _listed{};        ///< the layers of the list
    std::vector<LeafPlace> _places; ///< of leaves that are built, and of those in the layers around them
    Leaves _below;                  ///< that were built and that later ones refer to
    Leaves _spare;                  ///< whose memory is free
    std::size_t _reduced = 0;       ///< the first of them that have kept their upper face alone
    std::int64_t _beneath = 0;      ///< vertices of the layer beneath those that are asked for
    LargeArray<Point> _vertices;
    LargeArray<std::array<std::int64_t, 3>> _triangles;
    std::int64_t _vertexCount = 0;  ///< of what the sink has or will have
    std::optional<double> _waiting; ///< share of all work that the vertices and triangles above end with
    std::uint64_t _sampledLeaves = 0;
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

    /// Calls body(worker, k) for each k below `count` on all threads; the calling one reports.
    /// @param first  what the calling thread does before, while the others begin; may be null.
    template <class Body>
    void forEach(std::size_t count, const Body& body, void (Extraction::*first)() = nullptr)
    {
        std::atomic<std::size_t> next{0};
        runTeam(std::clamp<std::size_t>(count, 1, _pool.size()), [&](std::size_t worker, std::size_t) {
            if (worker == 0 && first) {
                (this->*first)();
            }
            for (std::size_t k = next++; k < count && !_stopped; k = next++) {
                body(worker, k);
                if (worker == 0) {
                    keepsGoing(_done + _share * static_cast<double>(k) / static_cast<double>(count));
                }
            }
        });
    }

    /// Share of the work that is done where the layers below `layer` are.
    double shareBelow(double layer) const
    {
        const double first = std::max(0, _layers.first - kLayersBeneath);
        return (layer - first) / (_layers.end - first);
    }

    /// Builds the leaves of some layers, which follow those that were built before. False if a leaf is
    /// missing that the surface passes into, and when it was stopped.
    bool buildSlab(const SurfaceLayers& slab)
    {
        _listed = {std::max(0, slab.first - 1), std::min(slab.end + 1, _grid.leafCount(2))};
        _places = _pruning == SurfacePruning::None
                      ? allLeaves(_grid, _listed)
                      : leavesWithSurface(_field, _grid, _listed, _pool.size(),
                                          [this](double) { return keepsGoing(_reported); });
        const auto isBelow = [](const LeafPlace& place, std::int32_t layer) { return place.at[2] < layer; };
        const auto placeOfLayer = [&](std::int32_t layer) {
            return static_cast<std::size_t>(std::lower_bound(_places.begin(), _places.end(), layer, isBelow) -
                                            _places.begin());
        };
        const std::size_t begin = placeOfLayer(slab.first);
        const std::size_t last = placeOfLayer(slab.end);
        const std::size_t own = placeOfLayer(_layers.first);
        _sampledLeaves += last - std::max(own, begin);
        // The list may be another one than that which they were built by.
        if (!std::all_of(_below.begin(), _below.end(),
                         [this](const auto& leaf) { return hasNeighbours(leaf->leaf); })) {
            return false;
        }
        const std::size_t usual = std::max(kLeavesARun, kLeavesOfThread * _pool.size());
        for (std::size_t first = begin; first < last && !_stopped;) {
            // Whole rows only, and those that are built together, so that a later run needs the last row of
            // this one, and what faces upwards of the layer before. What lies beneath the layers that are
            // asked for is in runs of its own.
            const std::size_t most = first < own ? own : last;
            std::size_t end = std::min(first + usual, most);
            while (end < most && areRowsTogether(_places[end].at, _places[end - 1].at)) {
                ++end;
            }
            Leaves leaves;
            for (std::size_t i = first; i < end; ++i) {
                leaves.push_back(emptyLeaf(_places[i]));
            }
            const double bottom = shareBelow(slab.first);
            const double share = (shareBelow(slab.end) - bottom) / static_cast<double>(last - begin);
            _done = bottom + share * static_cast<double>(first - begin);
            _share = share * static_cast<double>(end - first);
            if (!process(leaves, first < own)) {
                return false;
            }
            keep(std::move(leaves), end < last ? _places[end].at : Index3{0, 0, slab.end});
            first = end;
            if (first == own) {
                numberBeneath();
            }
        }
        passOn();
        return !_stopped;
    }

    static bool areRowsTogether(const Index3& a, const Index3& b)
    {
        return SurfaceLeaf::areTogether({0, a[1], a[2]}, {0, b[1], b[2]});
    }

    std::unique_ptr<LeafPolygons> emptyLeaf(const LeafPlace& place)
    {
        if (_spare.empty()) {
            return std::make_unique<LeafPolygons>(place);
        }
        std::unique_ptr<LeafPolygons> leaf = std::move(_spare.back());
        _spare.pop_back();
        leaf->begin(place);
        return leaf;
    }

    /// Keeps what was built as far as leaves from `next` on refer to it.
    void keep(Leaves leaves, const Index3& next)
    {
        std::move(leaves.begin(), leaves.end(), std::back_inserter(_below));
        const auto fromRow = [this](std::int32_t y, std::int32_t z) {
            return std::lower_bound(
                _below.begin(), _below.end(), Index3{0, y, z},
                [](const auto& leaf, const Index3& place) { return comesBefore(leaf->leaf.at(), place); });
        };
        // Of the last row all is asked for, of rows before it what faces the layer above.
        const auto lastRow = fromRow(next[1] - 1, next[2]);
        auto reduced = _below.begin() + static_cast<std::ptrdiff_t>(_reduced);
        for (auto leaf = reduced; leaf != lastRow; ++leaf) {
            std::unique_ptr<LeafPolygons> kept = (*leaf)->upperFace();
            _spare.push_back(std::move(*leaf));
            if (kept) {
                *reduced++ = std::move(kept);
            }
        }
        _reduced = static_cast<std::size_t>(_below.erase(reduced, lastRow) - _below.begin());
        const auto first = fromRow(next[1] - 1, next[2] - 1);
        _reduced -= std::min(_reduced, static_cast<std::size_t>(first - _below.begin()));
        _below.erase(_below.begin(), first);
    }

    /// Has the numbers of the layer beneath those that are asked for end at -1.
    void numberBeneath()
    {
        for (const auto& leaf : _below) {
            for (std::int64_t& number : leaf->firstNumber) {
                number -= _beneath;
            }
        }
    }

    /// Whether the leaves below one, of which some may hold nothing, have the surface where it has it.
    bool agreesWithThoseBelow(const SurfaceLeaf& leaf, const LeafNeighbours& neighbours) const
    {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const LeafPolygons* const below = neighbours[std::size_t{1} << axis];
            const std::int32_t firstBuilt = axis == 2 ? std::max(0, _layers.first - kLayersBeneath) : 0;
            if (below ? !leaf.agreesWith(below->leaf, axis)
                      : leaf.leavesThrough(axis, 0) && leaf.at()[axis] > firstBuilt) {
                return false;
            }
        }
        return true;
    }

    /// Whether the leaves that the surface passes into from one are on the list.
    bool hasNeighbours(const SurfaceLeaf& leaf) const
    {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            for (std::size_t side = 0; side < 2; ++side) {
                Index3 at = leaf.at();
                at[axis] += side == 0 ? -1 : 1;
                const bool isListed = at[2] >= _listed.first && at[2] < _listed.end;
                if (leaf.leavesThrough(axis, side) && isListed && !holdsLeaf(_places, at)) {
                    return false;
                }
            }
        }
        return true;
    }

    /// @param isBeneath  the leaves lie beneath the layers that are asked for: of them only the vertices of
    ///                   the last layer are needed.
    bool process(Leaves& leaves, bool isBeneath)
    {
        const LeafGroups groups(leaves);
        forEach(
            groups.count(),
            [&](std::size_t worker, std::size_t g) { _leafBuilders[worker].build(groups.group(g)); },
            &Extraction::passOn);
        const std::vector<LeafNeighbours> neighbours = findNeighbours(_below, leaves);
        std::atomic<bool> areSurrounded{true};
        forEach(leaves.size(), [&](std::size_t worker, std::size_t i) {
            const SurfaceLeaf& leaf = leaves[i]->leaf;
            if (!leaf.areBoundsRight() || !hasNeighbours(leaf) ||
                !agreesWithThoseBelow(leaf, neighbours[i])) {
                areSurrounded = false;
            }
            _polygonBuilders[worker].findFaceVertices(*leaves[i], neighbours[i]);
        });
        if (_stopped || !areSurrounded) {
            return false;
        }
        const auto hasTriangles = [&](const LeafPolygons& leaf) {
            return !isBeneath || leaf.leaf.at()[2] == _layers.first - 1;
        };
        forEach(leaves.size(), [&](std::size_t worker, std::size_t i) {
            if (hasTriangles(*leaves[i])) {
                _polygonBuilders[worker].findTriangles(*leaves[i], neighbours[i], _isOpen);
            }
        });
        if (_stopped) {
            return false;
        }
        if (isBeneath) {
            // In runs of both layers, those of the lower one come first.
            const auto above = std::find_if(leaves.begin(), leaves.end(),
                                            [&](const auto& leaf) { return hasTriangles(*leaf); });
            _beneath = number({above, leaves.end()}, _beneath);
            return true;
        }
        handOver(leaves, neighbours);
        return !_stopped;
    }

    /// Gives all vertices numbers, by leaf and within it by kind, and triangles their places. Returns the
    /// number after the last vertex.
    std::int64_t number(std::span<const std::unique_ptr<LeafPolygons>> leaves, std::int64_t vertices)
    {
        std::uint64_t triangles = 0;
        for (const auto& leaf : leaves) {
            const std::size_t counts[3] = {leaf->leaf.vertices().size(), leaf->faceVertices.size(),
                                           leaf->edgeVertices.size()};
            for (std::size_t kind = 0; kind < 3; ++kind) {
                leaf->firstNumber[kind] = vertices;
                vertices += static_cast<std::int64_t>(counts[kind]);
            }
            leaf->firstTriangle = triangles;
            triangles += leaf->triangles.size();
        }
        _triangles.resize(triangles);
        return vertices;
    }

    void handOver(Leaves& leaves, const std::vector<LeafNeighbours>& neighbours)
    {
        const std::int64_t vertices = number(leaves, _vertexCount);
        _vertices.resize(static_cast<std::size_t>(vertices - _vertexCount));
        forEach(leaves.size(), [&](std::size_t, std::size_t i) { write(*leaves[i], neighbours[i]); });
        _waiting = _done + _share;
        _vertexCount = vertices;
    }

    /// Gives the sink what waits for it.
    void passOn()
    {
        if (_waiting && !_stopped && !_sink({_vertices, _triangles, *_waiting})) {
            _stopped = true;
        }
        _waiting.reset();
    }

    void write(const LeafPolygons& leaf, const LeafNeighbours& neighbours)
    {
        Point* vertex = _vertices.data() + (leaf.firstNumber[0] - _vertexCount);
        for (const CellVertex& v : leaf.leaf.vertices()) {
            *vertex++ = v.position;
        }
        vertex = std::copy(leaf.faceVertices.begin(), leaf.faceVertices.end(), vertex);
        std::copy(leaf.edgeVertices.begin(), leaf.edgeVertices.end(), vertex);
        std::int64_t first[8][3]{};
        for (std::size_t below = 0; below < 8; ++below) {
            if (neighbours[below]) {
                std::copy_n(neighbours[below]->firstNumber.begin(), 3, first[below]);
            }
        }
        auto* triangle = _triangles.data() + leaf.firstTriangle;
        for (const auto& corners : leaf.triangles) {
            for (std::size_t i = 0; i < 3; ++i) {
                (*triangle)[i] = first[corners[i].below()][static_cast<std::size_t>(corners[i].kind())] +
                                 corners[i].number();
            }
            ++triangle;
        }
    }
};

/// Appends pieces to a mesh.
class MeshSink {
public:
    explicit MeshSink(SurfaceMesh& mesh) : _mesh(mesh) {}

    bool operator()(const SurfacePiece& piece) const
    {
        const std::uint64_t vertices = _mesh.vertices.size() + piece.vertices.size();
        if (vertices > std::numeric_limits<std::uint32_t>::max()) {
            throw FaultError({"surface", std::to_string(vertices) + " vertices", "at most 4294967295",
                              "ask for fewer cells or smaller bounds", FaultKind::FailedWork});
        }
        makeRoom(_mesh.vertices, vertices, piece.done);
        makeRoom(_mesh.triangles, _mesh.triangles.size() + piece.triangles.size(), piece.done);
        _mesh.vertices.insert(_mesh.vertices.end(), piece.vertices.begin(), piece.vertices.end());
        for (const auto& [a, b, c] : piece.triangles) {
            _mesh.triangles.push_back({static_cast<std::uint32_t>(a), static_cast<std::uint32_t>(b),
                                       static_cast<std::uint32_t>(c)});
        }
        return true;
    }

private:
    SurfaceMesh& _mesh;

    /// Room in a list for `size`, with what the layers to come will bring if they are like those until now:
    /// copies would double the memory. What isn't written takes no memory, only addresses, of which a first
    /// guess may take some.
    template <class List>
    static void makeRoom(List& list, std::size_t size, double done)
    {
        if (list.capacity() < size) {
            constexpr double kFirstGuess = (1 << 27) / sizeof(typename List::value_type);
            const auto now = static_cast<double>(size);
            reserveOnLargePages(
                list, static_cast<std::size_t>(std::min(1.1 / done * now, std::max(6 * now, kFirstGuess))));
        }
    }
};

} // namespace
} // namespace surface

SurfaceLayers allLayers(const SurfaceSettings& settings)
{
    return {0, surface::SurfaceGrid(settings.lower, settings.upper, settings.cells).leafCount(2)};
}

SurfaceEnd extractSurfacePieces(const PreparedField& field, const SurfaceSettings& settings,
                                SurfaceLayers layers, SurfacePruning pruning, const SurfaceSink& sink,
                                SurfaceWork& work, ProgressMonitor* monitor)
{
    return surface::Extraction(field, settings, layers, pruning, sink, monitor).run(work);
}

std::optional<SurfaceMesh> extractSurface(const PreparedField& field, const SurfaceSettings& settings,
                                          ProgressMonitor* monitor)
{
    SurfaceMesh mesh;
    SurfaceWork work;
    SurfaceEnd end = SurfaceEnd::WrongBounds;
    for (const SurfacePruning pruning : {SurfacePruning::ByBounds, SurfacePruning::None}) {
        if (end == SurfaceEnd::WrongBounds) {
            mesh = {};
            work = {};
            end = extractSurfacePieces(field, settings, allLayers(settings), pruning, surface::MeshSink(mesh),
                                       work, monitor);
        }
    }
    if (end == SurfaceEnd::Stopped) {
        return std::nullopt;
    }
    const surface::SurfaceGrid grid(settings.lower, settings.upper, settings.cells);
    if (settings.isOpen) {
        surface::separateFansAtBounds(mesh, grid);
        surface::dropUnusedVertices(mesh);
    }
    if (settings.flatness > 0) {
        bool isStopped = false;
        const auto asks = [&isStopped, keepGoing = followedBy(monitor)](double) {
            isStopped = isStopped || !goesOn(keepGoing, 1.0);
            return !isStopped;
        };
        surface::thinMesh(mesh, grid, settings.flatness, workerCount(settings.threads), asks);
        if (isStopped) {
            return std::nullopt;
        }
    }
    if (monitor) {
        monitor->progress(1.0);
    }
    mesh.undefinedSamples = work.undefinedSamples;
    mesh.leaves = work.leaves;
    mesh.sampledLeaves = work.sampledLeaves;
    return mesh;
}

} // namespace zrk
