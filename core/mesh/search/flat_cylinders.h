#pragma once

#include "core/mesh/search/triangle_blocks.h"
#include "core/values/float8.h"

#include <cstddef>
#include <span>

namespace zrk {

/// A cylinder around each child of each node of a tree of triangles, its axis along the children's mean
/// normal. Where a surface is smooth, the cylinder is much flatter than the box, and tells better how near
/// the surface comes. Immutable.
class FlatCylinders {
public:
    struct Cylinder {
        Tensor<3, float> center{};
        Tensor<3, float> axis{0.0f, 0.0f, 1.0f};
        float halfHeight = 0.0f;
        float radius = 0.0f;
        Tensor<3, float> normal{}; ///< sum of the area vectors inside
    };

    explicit FlatCylinders(const TriangleBlocks& triangles);

    /// Squared distances from p to the cylinders of a node's children, no smaller than those to the boxes.
    Float8 squaredDistances(std::size_t node, const Float8Vector& p, Float8 toBoxes) const
    {
        const Cylinders& c = _nodes[node];
        const Float8Vector fromCenter = p - Float8Vector::load(c.center);
        const Float8 height = dot(fromCenter, Float8Vector::load(c.axis));
        const Float8 zero = 0.0f;
        const Float8 above = maximum(abs(height) - Float8::load(c.halfHeight), zero);
        const Float8 fromAxis = sqrt(maximum(dot(fromCenter, fromCenter) - height * height, zero));
        const Float8 beside = maximum(fromAxis - Float8::load(c.radius), zero);
        return maximum(fma(above, above, beside * beside), toBoxes);
    }
    std::size_t bytes() const { return _nodes.capacity() * sizeof(Cylinders); }

private:
    struct alignas(32) Cylinders {
        float center[3][kLanes];
        float axis[3][kLanes];
        float halfHeight[kLanes];
        float radius[kLanes];
    };

    LargeArray<Cylinders> _nodes;

    static void keep(std::span<const Cylinder> cylinders, Cylinders& node);
};

} // namespace zrk
