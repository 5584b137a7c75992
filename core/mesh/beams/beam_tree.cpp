#include "core/mesh/beams/beam_tree.h"

#include "core/values/batch.h"
#include "core/values/stop.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace zrk {

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kFar = std::numeric_limits<double>::max();

/// Relative error, with room to spare, of a capsule's distance against the size of all that goes into it.
constexpr double kRounding = 1e-14;

/// Below this, squares lose digits.
constexpr double kLeastSize = 1e-150;

/// Deepest tree over 2^31 beams, and seven boxes left over at each level of it.
constexpr std::size_t kStackSize = 11 * BeamTree::kWidth;

double squared(double x) { return x * x; }

/// Whether the beam has distances at all: those of a segment without extent, or with an end that isn't a
/// number, all are NaN. A segment so short that its length vanishes still has a direction.
bool hasDistances(const Capsule<double>& beam)
{
    const Vector3& u = beam.direction;
    const bool isPoint = u[0] == 0.0 && u[1] == 0.0 && u[2] == 0.0 && beam.length == 0.0;
    return !isPoint && !std::isnan(u[0]) && !std::isnan(u[1]) && !std::isnan(u[2]);
}

} // namespace

BeamTree::BeamTree(std::span<const Capsule<double>> beams, double radius) : _radius(radius)
{
    std::vector<Beam> usable;
    usable.reserve(beams.size());
    StopLookout lookout;
    for (const Capsule<double>& beam : beams) {
        lookout.step();
        if (hasDistances(beam)) {
            // A length beyond all doubles leaves no direction: such a beam is a ball around its start.
            usable.push_back(
                {beam, beam.length == kInfinity ? beam.start : beam.start + beam.length * beam.direction});
        }
    }
    bringNeighboursTogether(usable);
    addGroups(usable);
    addLevels();
}

/// Splits the beams along the longest side of the box around their middles, so that the first half fills
/// whole blocks of the tree, and each half again.
void BeamTree::bringNeighboursTogether(std::span<Beam> beams)
{
    if (beams.size() <= kWidth) {
        return;
    }
    std::size_t block = kWidth;
    while (block * kWidth < beams.size()) {
        block *= kWidth;
    }
    std::size_t longest = 0;
    double longestSide = -1.0;
    StopLookout lookout;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        double low = kInfinity;
        double high = -kInfinity;
        for (const Beam& beam : beams) {
            lookout.step();
            const double middle = beam.capsule.start[axis] + beam.end[axis];
            low = std::min(low, middle);
            high = std::max(high, middle);
        }
        if (high - low > longestSide) {
            longestSide = high - low;
            longest = axis;
        }
    }
    const std::size_t blockCount = (beams.size() + block - 1) / block;
    const std::size_t half = (blockCount + 1) / 2 * block;
    std::nth_element(beams.begin(), beams.begin() + static_cast<std::ptrdiff_t>(half), beams.end(),
                     [longest, &lookout](const Beam& a, const Beam& b) {
                         lookout.step();
                         return a.capsule.start[longest] + a.end[longest] <
                                b.capsule.start[longest] + b.end[longest];
                     });
    bringNeighboursTogether(beams.first(half));
    bringNeighboursTogether(beams.subspan(half));
}

/// Fills the groups and the boxes around them.
void BeamTree::addGroups(std::span<const Beam> beams)
{
    _groups.resize((beams.size() + kWidth - 1) / kWidth);
    std::vector<Boxes> boxes((_groups.size() + kWidth - 1) / kWidth);
    StopLookout lookout;
    for (std::size_t i = 0; i < kWidth * _groups.size(); ++i) {
        lookout.step();
        // The last group is filled up with its last beam.
        const auto& [capsule, end] = beams[std::min(i, beams.size() - 1)];
        Group& group = _groups[i / kWidth];
        Boxes& block = boxes[i / kWidth / kWidth];
        const std::size_t lane = i % kWidth;
        const int box = static_cast<int>(i / kWidth % kWidth);
        Box<double> around = block.box(box);
        around.include(capsule.start);
        around.include(end);
        block.set(box, around);
        group.length[lane] = capsule.length;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            group.start[axis][lane] = capsule.start[axis];
            group.direction[axis][lane] = capsule.direction[axis];
            _size = std::max({_size, std::abs(capsule.start[axis]), std::abs(end[axis])});
        }
    }
    _levels.push_back(std::move(boxes));
}

/// Boxes around the blocks of the topmost level, until that is one block.
void BeamTree::addLevels()
{
    while (_levels.back().size() > 1) {
        const std::vector<Boxes>& below = _levels.back();
        std::vector<Boxes> boxes((below.size() + kWidth - 1) / kWidth);
        StopLookout lookout;
        for (std::size_t i = 0; i < below.size(); ++i) {
            lookout.step();
            Box<double> around;
            for (int lane = 0; lane < kLanes; ++lane) {
                around.include(below[i].box(lane));
            }
            boxes[i / kWidth].set(static_cast<int>(i % kWidth), around);
        }
        _levels.push_back(std::move(boxes));
    }
}

double BeamTree::groupDistance(std::size_t group, const Vector3& p) const
{
    const Group& beams = _groups[group];
    const Tensor<3, Batch> at{p[0], p[1], p[2]};
    double nearest = kFar;
    for (std::size_t k = 0; k < kWidth; k += Batch::size) {
        Capsule<Batch> capsule;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            capsule.start[axis] = Batch::loadAligned(beams.start[axis] + k);
            capsule.direction[axis] = Batch::loadAligned(beams.direction[axis] + k);
        }
        capsule.length = Batch::loadAligned(beams.length + k);
        capsule.radius = _radius;
        alignas(64) double distances[Batch::size];
        capsule.distance(at).storeAligned(distances);
        for (const double d : distances) {
            nearest = d < nearest ? d : nearest;
        }
    }
    return nearest;
}

/// Puts the boxes of a block that are near enough on the stack, the nearest on top.
BeamTree::Entry* BeamTree::pushNear(Entry* top, std::size_t level, std::size_t block, const Vector3& p,
                                    double squaredLimit) const
{
    alignas(64) double squares[kWidth];
    _levels[level][block].squaredDistances(p).store(squares);
    Entry* const first = top;
    for (std::size_t k = 0; k < kWidth; ++k) {
        if (squares[k] < squaredLimit) {
            Entry* place = top++;
            for (; place != first && (place - 1)->squaredDistance < squares[k]; --place) {
                *place = *(place - 1);
            }
            *place = {squares[k], kWidth * block + k, level};
        }
    }
    return top;
}

double BeamTree::distance(const Vector3& p, std::size_t& hint) const
{
    const double sizeOfP = std::abs(p[0]) + std::abs(p[1]) + std::abs(p[2]);
    if (_groups.empty() || !std::isfinite(sizeOfP)) {
        return kFar;
    }
    hint = hint < _groups.size() ? hint : 0;
    double nearest = groupDistance(hint, p);
    // A box farther than this holds no beam whose rounded distance is less than `nearest`.
    const double reach = _radius + kRounding * (sizeOfP + _size + std::abs(_radius)) + kLeastSize;
    double squaredLimit = squared(nearest + reach);

    Entry stack[kStackSize];
    Entry* top = pushNear(stack, _levels.size() - 1, 0, p, squaredLimit);
    while (top != stack) {
        const Entry entry = *--top;
        if (!(entry.squaredDistance < squaredLimit)) {
            continue;
        }
        if (entry.level > 0) {
            top = pushNear(top, entry.level - 1, entry.index, p, squaredLimit);
            continue;
        }
        const double d = groupDistance(entry.index, p);
        if (d < nearest) {
            nearest = d;
            hint = entry.index;
            squaredLimit = squared(nearest + reach);
        }
    }
    return nearest;
}

} // namespace zrk
