#pragma once

#include "core/mesh/beams/capsule.h"
#include "core/values/box_tree.h"
#include "core/values/vector3.h"

#include <cstddef>
#include <span>
#include <vector>

namespace zrk {

/// Search tree over beams of one radius: groups of eight neighbouring beams, boxes around the groups, boxes
/// around eight boxes and so on, so that a step looks at eight of them with vector instructions. There are no
/// links: child k of block i is at 8 i + k of the level below.
///
/// Read-only once built; safe to ask from many threads at once.
class BeamTree {
public:
    static constexpr std::size_t kWidth = kLanes;

    BeamTree(std::span<const Capsule<double>> beams, double radius);

    /// The smallest distance of all beams, to the last bit what asking each of them gives; the largest double
    /// where none is less, as without beams and for a position that isn't finite.
    ///
    /// @param p     position in model units.
    /// @param hint  group to ask first, any number; receives the nearest beam's. That of a position nearby
    ///              makes the search shorter.
    double distance(const Vector3& p, std::size_t& hint) const;

private:
    struct alignas(64) Group {
        double start[3][kWidth];
        double direction[3][kWidth];
        double length[kWidth];
    };
    /// Around the segments, without the radius; empty ones where there is nothing.
    using Boxes = EightBoxes<double>;
    struct Beam {
        Capsule<double> capsule;
        Vector3 end;
    };
    struct Entry {
        double squaredDistance;
        std::size_t index; ///< a group, or a block of the level below
        std::size_t level; ///< 0 for a group
    };

    std::vector<Group> _groups;
    std::vector<std::vector<Boxes>> _levels; ///< the boxes of the groups, those around blocks of them ...
    double _radius;
    double _size = 0.0; ///< largest coordinate, for the error of rounding

    static void bringNeighboursTogether(std::span<Beam> beams);
    void addGroups(std::span<const Beam> beams);
    void addLevels();
    double groupDistance(std::size_t group, const Vector3& p) const;
    Entry* pushNear(Entry* top, std::size_t level, std::size_t block, const Vector3& p,
                    double squaredLimit) const;
};

} // namespace zrk
