#pragma once

#include "core/picture/tracer.h"
#include "core/values/export.h"

#include <vector>

namespace zrk::picture {

/// Where the solid is, found by looking at it.
struct SolidExtent {
    std::vector<Vector3> points; ///< some on the solid's outline; none where it wasn't seen
    PositionBox box{};           ///< around the points

    bool isEmpty() const { return points.empty(); }
    Vector3 centre() const
    {
        return {0.5 * (box[0].lower + box[0].upper), 0.5 * (box[1].lower + box[1].upper),
                0.5 * (box[2].lower + box[2].upper)};
    }
    double diagonal() const;
};

/// Looks at the solid from two opposite sides, and from below; along all axes and more closely if nothing was
/// seen. What is thinner than a 400th of the region may be missed. Empty too if it was interrupted.
///
/// @param from  direction from the solid to the viewer.
ZRK_API SolidExtent findExtent(Tracer& tracer, const Vector3& from);

} // namespace zrk::picture
