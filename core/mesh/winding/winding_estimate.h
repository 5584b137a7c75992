#pragma once

#include "core/mesh/search/triangle_blocks.h"

#include <cstddef>
#include <span>

namespace zrk {

/// Winding numbers in float over the tree of the triangle search, with groups of its own: good to a few
/// hundredths, and several times faster than `windingNumber`. Immutable; safe to query from many threads.
class WindingEstimate {
public:
    struct Estimate {
        float value;
        float total; ///< sum of the contributions' sizes: what the error grows with
    };

    /// Some triangles, as seen from afar.
    struct Group {
        Tensor<3, float> center{};
        float area = 0.0f;
        float radius = 0.0f;
        Tensor<3, float> moment0{};
        float moment1[6] = {}; ///< the symmetric part: xx, yy, zz, xy, yz, zx
    };

    /// @param triangles  not owned, must outlive the estimate.
    explicit WindingEstimate(const TriangleBlocks& triangles);

    /// @param local  a position in the frame of the search, and within its reach.
    Estimate at(const Tensor<3, float>& local) const;
    std::size_t bytes() const { return _nodes.capacity() * sizeof(Groups); }

private:
    /// The children of a node, as seen from afar.
    struct alignas(32) Groups {
        float center[3][kLanes];
        float squaredReach[kLanes]; ///< nearer than this they are opened
        float moment0[3][kLanes];
        float moment1[6][kLanes];
    };

    const TriangleBlocks& _triangles;
    LargeArray<Groups> _nodes;

    static void keep(std::span<const Group> groups, Groups& node);
};

} // namespace zrk
