#include "mesh/flat_cylinders.h"

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

Vector row(const float (&rows)[3][kLanes], int lane) { return {rows[0][lane], rows[1][lane], rows[2][lane]}; }

Vector middleOf(const FloatBox& box)
{
    return {0.5f * (box.lower[0] + box.upper[0]), 0.5f * (box.lower[1] + box.upper[1]),
            0.5f * (box.lower[2] + box.upper[2])};
}

Cylinder aroundLeaf(const TriangleBlock& block, int count, const Vector& middle)
{
    Vector normal{};
    for (int lane = 0; lane < count; ++lane) {
        normal = normal + cross(row(block.edges[0], lane), row(block.edges[1], lane));
    }
    Extent extent(middle, normal);
    for (int lane = 0; lane < count; ++lane) {
        const Vector corner = row(block.corner, lane);
        extent.include(corner, 0.0f, 0.0f);
        extent.include(corner + row(block.edges[0], lane), 0.0f, 0.0f);
        extent.include(corner + row(block.edges[1], lane), 0.0f, 0.0f);
    }
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
        [&](std::size_t leaf, const FloatBox& box) {
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
