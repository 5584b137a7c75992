#include "core/surface/leaf_pruning.h"

#include "core/engine/worker_team.h"

#include <algorithm>
#include <atomic>
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

enum class Content { Nothing, Something };

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
                const bool isEmpty = contentOf(boxes[i], bounds[i]) == Content::Nothing;
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

    /// Removes the leaves, at most kBoxes / 8 of them, whose eight parts all hold nothing: a unit is half as
    /// wide as a leaf here. Parts that share nodes can't be nothing on different sides.
    void dropEmpty(std::vector<Index3>& leaves) const
    {
        UnitBox parts[kBoxes];
        PositionBox positions[kBoxes];
        std::size_t leafOf[kBoxes];
        std::size_t count = 0;
        for (std::size_t l = 0; l < leaves.size(); ++l) {
            for (std::int32_t part = 0; part < 8; ++part) {
                UnitBox box;
                bool hasCells = true;
                for (std::size_t axis = 0; axis < 3; ++axis) {
                    box.first[axis] = 2 * leaves[l][axis] + (part >> axis & 1);
                    box.end[axis] = box.first[axis] + 1;
                    hasCells = hasCells && box.first[axis] * _cellsOfUnit < _grid.cellCount(axis);
                }
                if (hasCells) {
                    parts[count] = box;
                    positions[count] = positionsOf(box);
                    leafOf[count++] = l;
                }
            }
        }
        if (count == 0) {
            return;
        }
        Interval<double> bounds[kBoxes];
        _field.bounds({positions, count}, bounds);
        bool holdsSomething[kBoxes / 8] = {};
        for (std::size_t i = 0; i < count; ++i) {
            holdsSomething[leafOf[i]] =
                holdsSomething[leafOf[i]] || contentOf(parts[i], bounds[i]) == Content::Something;
        }
        std::size_t kept = 0;
        for (std::size_t l = 0; l < leaves.size(); ++l) {
            if (holdsSomething[l]) {
                leaves[kept++] = leaves[l];
            }
        }
        leaves.resize(kept);
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
            return Content::Nothing;
        }
        return bounds.upper < 0 && isWithinBounds(box) ? Content::Nothing : Content::Something;
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

} // namespace

std::vector<Index3> leavesWithSurface(const SurfaceField& field, const SurfaceGrid& grid,
                                      const SurfaceLayers& layers, std::size_t threads,
                                      const KeepGoing& keepGoing)
{
    std::vector<Index3> leaves;
    const Pruning pruning(field, grid, kLeafCells);
    const Pruning halves(field, grid, kLeafCells / 2);
    const auto addTo = [&halves](std::vector<Index3>& list) {
        return [&halves, &list](std::span<const Index3> units, bool) {
            for (std::size_t first = 0; first < units.size(); first += kBoxes / 8) {
                const std::span<const Index3> some =
                    units.subspan(first, std::min(kBoxes / 8, units.size() - first));
                std::vector<Index3> left(some.begin(), some.end());
                halves.dropEmpty(left);
                list.insert(list.end(), left.begin(), left.end());
            }
        };
    };
    UnitBox box = pruning.all();
    box.first[2] = layers.first;
    box.end[2] = layers.end;
    const std::vector<UnitBox> open = pruning.run(box, keepGoing, addTo(leaves), kBoxes);
    std::atomic<bool> isStopped{false};
    std::atomic<std::size_t> next{0};
    std::mutex mutex;
    runTeam(std::clamp<std::size_t>(open.size(), 1, threads), [&](std::size_t worker, std::size_t) {
        std::vector<Index3> own;
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
    std::sort(leaves.begin(), leaves.end(), comesBefore);
    return leaves;
}

std::vector<Index3> allLeaves(const SurfaceGrid& grid, const SurfaceLayers& layers)
{
    std::vector<Index3> leaves;
    for (std::int32_t z = layers.first; z < layers.end; ++z) {
        for (std::int32_t y = 0; y < grid.leafCount(1); ++y) {
            for (std::int32_t x = 0; x < grid.leafCount(0); ++x) {
                leaves.push_back({x, y, z});
            }
        }
    }
    return leaves;
}

bool holdsLeaf(const std::vector<Index3>& leaves, const Index3& leaf)
{
    return std::binary_search(leaves.begin(), leaves.end(), leaf, comesBefore);
}

void forEachCellWithSurface(const SurfaceField& field, const SurfaceGrid& grid, const KeepGoing& keepGoing,
                            const std::function<void(std::span<const Index3>, bool)>& found)
{
    const Pruning pruning(field, grid, 1);
    pruning.run(pruning.all(), keepGoing, found);
}

} // namespace zrk::surface
