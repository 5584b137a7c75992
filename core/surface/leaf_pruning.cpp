#include "core/surface/leaf_pruning.h"

#include "core/engine/worker_team.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <limits>
#include <mutex>

namespace zrk::surface {

namespace {

/// Boxes whose bounds are asked for in one call.
constexpr std::size_t kBoxes = 64;

/// Units from `first` up to before `end`.
struct UnitBox {
    Index3 first;
    Index3 end;

    double volume() const
    {
        return double(end[0] - first[0]) * double(end[1] - first[1]) * double(end[2] - first[2]);
    }
    bool isUnit() const { return end[0] - first[0] == 1 && end[1] - first[1] == 1 && end[2] - first[2] == 1; }
};

enum class Content : std::uint8_t { Outside, Inside, Something };

/// Of the eight boxes of half the width of another.
using PartContents = std::array<Content, 8>;

/// The number of a part of a box, in the part's width.
Index3 partOf(const Index3& box, std::size_t part)
{
    return {2 * box[0] + static_cast<std::int32_t>(part & 1),
            2 * box[1] + static_cast<std::int32_t>(part >> 1 & 1),
            2 * box[2] + static_cast<std::int32_t>(part >> 2)};
}

/// Whether a box that its parts make up holds something.
Content contentOfAll(const PartContents& parts)
{
    const auto isLikeFirst = [&](Content part) { return part == parts[0]; };
    return std::all_of(parts.begin(), parts.end(), isLikeFirst) ? parts[0] : Content::Something;
}

/// Halves boxes of units, which are leaves or cells.
class Pruning {
public:
    Pruning(const SurfaceField& field, const SurfaceGrid& grid, std::int32_t cellsOfUnit)
        : _field(field), _grid(grid), _cellsOfUnit(cellsOfUnit)
    {}

    UnitBox all() const
    {
        UnitBox box{};
        for (std::size_t axis = 0; axis < 3; ++axis) {
            box.end[axis] = (_grid.cellCount(axis) + _cellsOfUnit - 1) / _cellsOfUnit;
        }
        return box;
    }

    /// Calls found(units, areBounded) with the units of each call for bounds that may hold something.
    /// @return what is left to do once there are `enough` boxes to be shared among threads.
    template <class Found>
    std::vector<UnitBox> run(const UnitBox& all, const KeepGoing& keepGoing, const Found& found,
                             std::size_t enough = std::numeric_limits<std::size_t>::max()) const
    {
        std::vector<UnitBox> open{all};
        std::vector<Index3> units;
        const double wholeVolume = all.volume();
        double done = 0; // volume that was decided
        while (!open.empty() && open.size() < enough && goesOn(keepGoing, done / wholeVolume)) {
            // The last ones first, so that the list stays short.
            const std::size_t count = std::min(open.size(), kBoxes);
            const std::vector<UnitBox> boxes(open.end() - static_cast<std::ptrdiff_t>(count), open.end());
            open.resize(open.size() - count);
            PositionBox positions[kBoxes];
            Interval<double> bounds[kBoxes];
            for (std::size_t i = 0; i < count; ++i) {
                positions[i] = positionsOf(boxes[i]);
            }
            _field.bounds({positions, count}, bounds);
            units.clear();
            bool areBounded = true;
            for (std::size_t i = 0; i < count; ++i) {
                const bool isEmpty = contentOf(boxes[i], bounds[i]) != Content::Something;
                if (!isEmpty && !boxes[i].isUnit()) {
                    split(boxes[i], open);
                    continue;
                }
                done += boxes[i].volume();
                if (!isEmpty) {
                    units.push_back(boxes[i].first);
                    areBounded = areBounded && !bounds[i].isEntire();
                }
            }
            found(std::span<const Index3>(units), areBounded);
        }
        return open;
    }

    /// What the parts of boxes hold that are twice as wide as a unit, at most kBoxes / 8 of them by their
    /// numbers in that width. Beyond the grid lies the outside.
    void contentsOfParts(std::span<const Index3> wholes, PartContents* out) const
    {
        UnitBox parts[kBoxes];
        PositionBox positions[kBoxes];
        Content* contents[kBoxes];
        std::size_t count = 0;
        for (const Index3& whole : wholes) {
            for (std::size_t part = 0; part < 8; ++part) {
                UnitBox box;
                box.first = partOf(whole, part);
                bool hasCells = true;
                for (std::size_t axis = 0; axis < 3; ++axis) {
                    box.end[axis] = box.first[axis] + 1;
                    hasCells = hasCells && box.first[axis] * _cellsOfUnit < _grid.cellCount(axis);
                }
                (*out)[part] = Content::Outside;
                if (hasCells) {
                    parts[count] = box;
                    positions[count] = positionsOf(box);
                    contents[count++] = &(*out)[part];
                }
            }
            ++out;
        }
        if (count == 0) {
            return;
        }
        Interval<double> bounds[kBoxes];
        _field.bounds({positions, count}, bounds);
        for (std::size_t i = 0; i < count; ++i) {
            *contents[i] = contentOf(parts[i], bounds[i]);
        }
    }

private:
    const SurfaceField& _field;
    const SurfaceGrid& _grid;
    std::int32_t _cellsOfUnit;

    /// Of the nodes within the bounds: those without are outside whatever the field is.
    PositionBox positionsOf(const UnitBox& box) const
    {
        PositionBox positions;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const double first = _grid.coordinate(axis, box.first[axis] * _cellsOfUnit);
            const double last = _grid.coordinate(axis, box.end[axis] * _cellsOfUnit);
            const double lower = std::clamp(first, _grid.lower[axis], _grid.upper[axis]);
            positions[axis] = {lower, std::clamp(last, lower, _grid.upper[axis])};
        }
        return positions;
    }

    Content contentOf(const UnitBox& box, const Interval<double>& bounds) const
    {
        if (bounds.isEntire()) {
            return Content::Something;
        }
        if (bounds.lower >= 0) {
            return Content::Outside;
        }
        return bounds.upper < 0 && isWithinBounds(box) ? Content::Inside : Content::Something;
    }

    bool isWithinBounds(const UnitBox& box) const
    {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            if (box.first[axis] == 0 || box.end[axis] * _cellsOfUnit > _grid.cells[axis]) {
                return false;
            }
        }
        return true;
    }

    static void split(const UnitBox& box, std::vector<UnitBox>& parts)
    {
        Index3 middle;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            middle[axis] = box.first[axis] + (box.end[axis] - box.first[axis] + 1) / 2;
        }
        for (int part = 0; part < 8; ++part) {
            UnitBox child = box;
            bool isEmpty = false;
            for (std::size_t axis = 0; axis < 3; ++axis) {
                ((part >> axis & 1) != 0 ? child.first : child.end)[axis] = middle[axis];
                isEmpty = isEmpty || child.first[axis] == child.end[axis];
            }
            if (!isEmpty) {
                parts.push_back(child);
            }
        }
    }
};

/// Looks at leaves that their bounds can't clear as a whole: at their parts, and where few of these are left
/// at the parts of parts, down to cells.
class LeafParts {
public:
    LeafParts(const SurfaceField& field, const SurfaceGrid& grid)
        : _levels{Pruning(field, grid, kLeafCells / 2), Pruning(field, grid, kLeafCells / 4),
                  Pruning(field, grid, kLeafCells / 8)}
    {}

    /// Adds those of the leaves that may hold something.
    void addTo(std::vector<LeafPlace>& list, std::span<const Index3> leaves) const
    {
        std::vector<Box> boxes;
        for (const Index3& leaf : leaves) {
            boxes.push_back({leaf, boxes.size()});
        }
        const std::vector<PartContents> contents = contentsOf(boxes, 0);
        for (std::size_t l = 0; l < leaves.size(); ++l) {
            // Parts that share nodes can't be nothing on different sides.
            if (contentOfAll(contents[l]) != Content::Something) {
                continue;
            }
            LeafPlace place{leaves[l], 0, 0};
            for (unsigned part = 0; part < 8; ++part) {
                const Content content = contents[l][part];
                place.sampled |= static_cast<std::uint8_t>((content == Content::Something ? 1u : 0u) << part);
                place.inside |= static_cast<std::uint8_t>((content == Content::Inside ? 1u : 0u) << part);
            }
            list.push_back(place);
        }
    }

private:
    /// Boxes of a leaf whose parts are looked at: of more, some would hold something all the same.
    static constexpr std::ptrdiff_t kMostOpen = 3;

    struct Box {
        Index3 at; ///< in its own width
        std::size_t leaf;
    };
    std::array<Pruning, 3> _levels; ///< by the width of parts

    /// What the parts of boxes hold, those of a leaf standing together.
    std::vector<PartContents> contentsOf(const std::vector<Box>& boxes, std::size_t level) const
    {
        std::vector<PartContents> contents(boxes.size());
        for (std::size_t first = 0; first < boxes.size(); first += kBoxes / 8) {
            Index3 some[kBoxes / 8];
            const std::size_t count = std::min(kBoxes / 8, boxes.size() - first);
            for (std::size_t i = 0; i < count; ++i) {
                some[i] = boxes[first + i].at;
            }
            _levels[level].contentsOfParts({some, count}, contents.data() + first);
        }
        std::vector<Box> open;
        std::vector<Content*> contentOfOpen;
        for (std::size_t first = 0; level + 1 < _levels.size() && first < boxes.size();) {
            std::size_t end = first;
            std::ptrdiff_t count = 0;
            for (; end < boxes.size() && boxes[end].leaf == boxes[first].leaf; ++end) {
                count += std::count(contents[end].begin(), contents[end].end(), Content::Something);
            }
            for (std::size_t b = first; b < end && count <= kMostOpen; ++b) {
                for (std::size_t part = 0; part < 8; ++part) {
                    if (contents[b][part] == Content::Something) {
                        open.push_back({partOf(boxes[b].at, part), boxes[b].leaf});
                        contentOfOpen.push_back(&contents[b][part]);
                    }
                }
            }
            first = end;
        }
        if (!open.empty()) {
            const std::vector<PartContents> ofOpen = contentsOf(open, level + 1);
            for (std::size_t i = 0; i < open.size(); ++i) {
                *contentOfOpen[i] = contentOfAll(ofOpen[i]);
            }
        }
        return contents;
    }
};

} // namespace

std::vector<LeafPlace> leavesWithSurface(const SurfaceField& field, const SurfaceGrid& grid,
                                         const SurfaceLayers& layers, std::size_t threads,
                                         const KeepGoing& keepGoing)
{
    std::vector<LeafPlace> leaves;
    const Pruning pruning(field, grid, kLeafCells);
    const LeafParts parts(field, grid);
    const auto addTo = [&parts](std::vector<LeafPlace>& list) {
        return [&parts, &list](std::span<const Index3> units, bool) { parts.addTo(list, units); };
    };
    UnitBox box = pruning.all();
    box.first[2] = layers.first;
    box.end[2] = layers.end;
    const std::vector<UnitBox> open = pruning.run(box, keepGoing, addTo(leaves), kBoxes);
    std::atomic<bool> isStopped{false};
    std::atomic<std::size_t> next{0};
    std::mutex mutex;
    runTeam(std::clamp<std::size_t>(open.size(), 1, threads), [&](std::size_t worker, std::size_t) {
        std::vector<LeafPlace> own;
        const KeepGoing asks = [&](double) {
            const double done = static_cast<double>(std::min(next.load(), open.size()));
            if (worker == 0 && !goesOn(keepGoing, done / static_cast<double>(open.size()))) {
                isStopped = true;
            }
            return !isStopped;
        };
        for (std::size_t k = next++; k < open.size() && !isStopped; k = next++) {
            pruning.run(open[k], asks, addTo(own));
        }
        const std::lock_guard lock(mutex);
        leaves.insert(leaves.end(), own.begin(), own.end());
    });
    std::sort(leaves.begin(), leaves.end(),
              [](const LeafPlace& a, const LeafPlace& b) { return comesBefore(a.at, b.at); });
    return leaves;
}

std::vector<LeafPlace> allLeaves(const SurfaceGrid& grid, const SurfaceLayers& layers)
{
    std::vector<LeafPlace> leaves;
    for (std::int32_t z = layers.first; z < layers.end; ++z) {
        for (std::int32_t y = 0; y < grid.leafCount(1); ++y) {
            for (std::int32_t x = 0; x < grid.leafCount(0); ++x) {
                leaves.push_back({{x, y, z}});
            }
        }
    }
    return leaves;
}

bool holdsLeaf(const std::vector<LeafPlace>& leaves, const Index3& leaf)
{
    const auto found =
        std::lower_bound(leaves.begin(), leaves.end(), leaf,
                         [](const LeafPlace& a, const Index3& b) { return comesBefore(a.at, b); });
    return found != leaves.end() && found->at == leaf;
}

void forEachCellWithSurface(const SurfaceField& field, const SurfaceGrid& grid, const KeepGoing& keepGoing,
                            const std::function<void(std::span<const Index3>, bool)>& found)
{
    const Pruning pruning(field, grid, 1);
    pruning.run(pruning.all(), keepGoing, found);
}

} // namespace zrk::surface
