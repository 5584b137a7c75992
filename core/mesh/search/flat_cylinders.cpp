#include "core/mesh/search/flat_cylinders.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <span>

namespace zrk {

namespace {

using Vector = Tensor<3, float>;
using Cylinder = FlatCylinders::Cylinder;

/// Slack for rounding in the unit box.
constexpr float kSlack = 5e-7f;

float norm(const Vector& v) { return std::sqrt(dot(v, v)); }

/// Gathers what a cylinder around a given point, along a given normal, must reach.
class Extent {
public:
    Extent(const Vector& around, const Vector& normal) : _around(around), _normal(normal)
    {
        const float length = norm(normal);
        if (length > 0.0f) {
            _axis = normal * (1.0f / length);
        }
    }
    const Vector& axis() const { return _axis; }

    /// Eight points.
    void include(const Float8Vector& points)
    {
        const Float8Vector axis{_axis[0], _axis[1], _axis[2]};
        const Float8Vector d = points - Float8Vector{_around[0], _around[1], _around[2]};
        const Float8 height = dot(d, axis);
        const Float8Vector across = minusScaled(d, height, axis);
        _lowest = std::min(_lowest, -largestLane(Float8(0.0f) - height));
        _highest = std::max(_highest, largestLane(height));
        _radius = std::max(_radius, std::sqrt(largestLane(dot(across, across))));
    }
    /// A body that reaches so far from its centre along the axis, and so far from it across.
    void include(const Vector& center, float alongAxis, float across)
    {
        const Vector d = center - _around;
        const float height = dot(d, _axis);
        _lowest = std::min(_lowest, height - alongAxis);
        _highest = std::max(_highest, height + alongAxis);
        _radius = std::max(_radius, norm(d - height * _axis) + across);
    }
    Cylinder cylinder() const
    {
        const float middle = 0.5f * (_lowest + _highest);
        return {_around + middle * _axis, _axis, 0.5f * (_highest - _lowest) + kSlack, _radius + kSlack,
                _normal};
    }

private:
    Vector _around;
    Vector _normal;
    Vector _axis{0.0f, 0.0f, 1.0f};
    float _lowest = std::numeric_limits<float>::infinity();
    float _highest = -std::numeric_limits<float>::infinity();
    float _radius = 0.0f;
};

Vector middleOf(const Box<float>& box) { return 0.5f * (box.min + box.max); }

Cylinder aroundLeaf(const TriangleBlock& block, int count, const Vector& middle)
{
    const Float8Vector corner = Float8Vector::load(block.corner);
    const Float8Vector edges[2] = {Float8Vector::load(block.edges[0]), Float8Vector::load(block.edges[1])};
    const Float8Vector areas = cross(edges[0], edges[1]);
    Extent extent(middle, {sumOfLanes(inFirstLanes(count, areas.x)), sumOfLanes(inFirstLanes(count, areas.y)),
                           sumOfLanes(inFirstLanes(count, areas.z))});
    extent.include(corner);
    extent.include(corner + edges[0]);
    extent.include(corner + edges[1]);
    return extent.cylinder();
}

Cylinder aroundParts(std::span<const Cylinder> parts, const Vector& middle)
{
    Vector normal{};
    for (const Cylinder& part : parts) {
        normal = normal + part.normal;
    }
    Extent extent(middle, normal);
    for (const Cylinder& part : parts) {
        const float cosine = std::min(std::abs(dot(part.axis, extent.axis())), 1.0f);
        const float sine = std::sqrt(1.0f - cosine * cosine) + 1e-3f; // 1e-3: the root of its rounding
        extent.include(part.center, part.halfHeight * cosine + part.radius * sine,
                       part.radius + part.halfHeight * sine);
    }
    return extent.cylinder();
}

} // namespace

FlatCylinders::FlatCylinders(const TriangleBlocks& triangles)
{
    _nodes.resize(triangles.tree.nodes().size());
    triangles.tree.summarize<Cylinder>(
        [&](std::size_t leaf, const Box<float>& box) {
            return aroundLeaf(triangles.blocks[leaf], triangles.tree.leaves()[leaf].count, middleOf(box));
        },
        [&](std::size_t node, std::span<const Cylinder> parts) {
            keep(parts, _nodes[node]);
            return aroundParts(parts, middleOf(triangles.tree.boxOf(node)));
        });
}

void FlatCylinders::keep(std::span<const Cylinder> cylinders, Cylinders& node)
{
    node = {};
    for (std::size_t lane = 0; lane < cylinders.size(); ++lane) {
        const Cylinder& cylinder = cylinders[lane];
        for (std::size_t i = 0; i < 3; ++i) {
            node.center[i][lane] = cylinder.center[i];
            node.axis[i][lane] = cylinder.axis[i];
        }
        node.halfHeight[lane] = cylinder.halfHeight;
        node.radius[lane] = cylinder.radius;
    }
}

} // namespace zrk
