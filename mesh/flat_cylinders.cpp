#include "mesh/flat_cylinders.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace zrk {

namespace {

using Vector = Tensor<3, float>;

/// Slack for rounding in the unit box.
constexpr float kSlack = 5e-7f;

struct Cylinder {
    Vector center{};
    Vector axis{0.0f, 0.0f, 1.0f};
    float halfHeight = 0.0f;
    float radius = 0.0f;
    Vector normal{}; ///< sum of the area vectors
};

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

Vector middleOf(const WideTree::Node& node, int lane)
{
    return 0.5f * (row(node.lower, lane) + row(node.upper, lane));
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

Cylinder aroundParts(const std::array<Cylinder, kLanes>& parts, int count, const Vector& middle)
{
    Vector normal{};
    for (int k = 0; k < count; ++k) {
        normal = normal + parts[static_cast<std::size_t>(k)].normal;
    }
    Extent extent(middle, normal);
    for (int k = 0; k < count; ++k) {
        const Cylinder& part = parts[static_cast<std::size_t>(k)];
        const float cosine = std::min(std::abs(dot(part.axis, extent.axis())), 1.0f);
        const float sine = std::sqrt(1.0f - cosine * cosine) + 1e-3f; // 1e-3: the root of its rounding
        extent.include(part.center, part.halfHeight * cosine + part.radius * sine,
                       part.radius + part.halfHeight * sine);
    }
    return extent.cylinder();
}

int childCount(const WideTree::Node& node)
{
    return static_cast<int>(std::find(node.child, node.child + kLanes, WideTree::kNoChild) - node.child);
}

} // namespace

FlatCylinders::FlatCylinders(const TriangleBlocks& triangles)
{
    const std::vector<WideTree::Node>& nodes = triangles.tree.nodes();
    std::vector<std::array<Cylinder, kLanes>> cylinders(nodes.size());
    _nodes.resize(nodes.size());
    // Children stand behind their parents.
    for (std::size_t n = nodes.size(); n-- > 0;) {
        const WideTree::Node& node = nodes[n];
        for (int lane = 0; lane < childCount(node); ++lane) {
            const Vector middle = middleOf(node, lane);
            Cylinder& cylinder = cylinders[n][static_cast<std::size_t>(lane)];
            if (WideTree::isLeaf(node.child[lane])) {
                const std::size_t leaf = WideTree::leafIndex(node.child[lane]);
                cylinder = aroundLeaf(triangles.blocks[leaf], triangles.tree.leaves()[leaf].count, middle);
            } else {
                const auto child = static_cast<std::size_t>(node.child[lane]);
                cylinder = aroundParts(cylinders[child], childCount(nodes[child]), middle);
            }
            for (std::size_t i = 0; i < 3; ++i) {
                _nodes[n].center[i][lane] = cylinder.center[i];
                _nodes[n].axis[i][lane] = cylinder.axis[i];
            }
            _nodes[n].halfHeight[lane] = cylinder.halfHeight;
            _nodes[n].radius[lane] = cylinder.radius;
        }
    }
}

} // namespace zrk
