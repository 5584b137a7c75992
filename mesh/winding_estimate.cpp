#include "mesh/winding_estimate.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <span>

namespace zrk {

namespace {

using Vector = Tensor<3, float>;
using Group = WindingEstimate::Group;

constexpr float kAccuracy = 2.0f; ///< radii at which a group counts as far
constexpr float kPerFullAngle = std::numbers::inv_pi_v<float> / 4.0f;

/// Adds a part with its centre at a distance from the sum's.
void add(Group& sum, const Group& part)
{
    const Vector shift = part.center - sum.center;
    const Vector& m = part.moment0;
    sum.moment0 = sum.moment0 + m;
    for (std::size_t i = 0; i < 3; ++i) {
        const std::size_t j = (i + 1) % 3;
        sum.moment1[i] += part.moment1[i] + shift[i] * m[i];
        sum.moment1[3 + i] += part.moment1[3 + i] + 0.5f * (shift[i] * m[j] + shift[j] * m[i]);
    }
    sum.radius = std::max(sum.radius, std::sqrt(dot(shift, shift)) + part.radius);
}

Group sumOf(std::span<const Group> parts)
{
    Group sum;
    for (const Group& part : parts) {
        sum.area += part.area;
        sum.center = sum.center + part.area * part.center;
    }
    sum.center = sum.area > 0.0f ? sum.center * (1.0f / sum.area) : parts[0].center;
    for (const Group& part : parts) {
        add(sum, part);
    }
    return sum;
}

Vector row(const float (&rows)[3][kLanes], std::size_t lane)
{
    return {rows[0][lane], rows[1][lane], rows[2][lane]};
}

Group ofLeaf(const TriangleBlock& block, std::size_t count)
{
    Group triangles[kLanes];
    for (std::size_t lane = 0; lane < count; ++lane) {
        const Vector corner = row(block.corner, lane);
        const Vector ab = row(block.edges[0], lane);
        const Vector ac = row(block.edges[1], lane);
        Group& triangle = triangles[lane];
        triangle.center = corner + (ab + ac) * (1.0f / 3.0f);
        triangle.moment0 = 0.5f * cross(ab, ac);
        triangle.area = std::sqrt(dot(triangle.moment0, triangle.moment0));
        for (const Vector& vertex : {corner, corner + ab, corner + ac}) {
            const Vector d = vertex - triangle.center;
            triangle.radius = std::max(triangle.radius, std::sqrt(dot(d, d)));
        }
    }
    return sumOf(std::span<const Group>(triangles, count));
}

/// Within 1e-5 radians. Source: Abramowitz, Stegun, "Handbook of Mathematical Functions", 1964, 4.4.49.
Float8 arcTangent(Float8 y, Float8 x)
{
    const Float8 ax = abs(x);
    const Float8 ay = abs(y);
    const Float8 ratio = minimum(ax, ay) / maximum(maximum(ax, ay), 1e-30f);
    const Float8 square = ratio * ratio;
    Float8 angle = fma(square, 0.0208351f, -0.0851330f);
    angle = fma(square, angle, 0.1801410f);
    angle = fma(square, angle, -0.3302995f);
    angle = ratio * fma(square, angle, 0.9998660f);
    angle = selectLessOrEqual(ay, ax, angle, Float8(std::numbers::pi_v<float> / 2) - angle);
    angle = selectLessOrEqual(0.0f, x, angle, Float8(std::numbers::pi_v<float>) - angle);
    return selectLessOrEqual(0.0f, y, angle, Float8(0.0f) - angle);
}

/// Halves of the triangles' solid angles as seen from p.
Float8 halfAngles(const TriangleBlock& block, const Float8Vector& p)
{
    const Float8Vector ab = Float8Vector::load(block.edges[0]);
    const Float8Vector ac = Float8Vector::load(block.edges[1]);
    const Float8Vector a = Float8Vector::load(block.corner) - p;
    const Float8Vector b{a.x + ab.x, a.y + ab.y, a.z + ab.z};
    const Float8Vector c{a.x + ac.x, a.y + ac.y, a.z + ac.z};
    const Float8 la = sqrt(dot(a, a));
    const Float8 lb = sqrt(dot(b, b));
    const Float8 lc = sqrt(dot(c, c));
    const Float8 y = dot(a, cross(ab, ac));
    const Float8 x = fma(la * lb, lc, fma(dot(a, b), lc, fma(dot(b, c), la, dot(c, a) * lb)));
    return arcTangent(y, x);
}

/// Adds up what it is given, and the sizes of it.
class Sums {
public:
    void add(Float8 contributions)
    {
        _value = _value + contributions;
        _total = _total + abs(contributions);
    }
    WindingEstimate::Estimate estimate() const { return {across(_value), across(_total)}; }

private:
    Float8 _value = 0.0f;
    Float8 _total = 0.0f;

    static float across(Float8 lanes)
    {
        float values[kLanes];
        lanes.store(values);
        float sum = 0.0f;
        for (const float value : values) {
            sum += value;
        }
        return sum;
    }
};

} // namespace

WindingEstimate::WindingEstimate(const TriangleBlocks& triangles) : _triangles(triangles)
{
    _nodes.resize(triangles.tree.nodes().size());
    triangles.tree.summarize<Group>(
        [&](std::size_t leaf, const FloatBox&) {
            return ofLeaf(triangles.blocks[leaf],
                          static_cast<std::size_t>(triangles.tree.leaves()[leaf].count));
        },
        [this](std::size_t node, std::span<const Group> parts) {
            keep(parts, _nodes[node]);
            return sumOf(parts);
        });
}

void WindingEstimate::keep(std::span<const Group> groups, Groups& node)
{
    node = {};
    for (std::size_t lane = 0; lane < kLanes; ++lane) {
        // Lanes without a child lie beyond all positions and weigh nothing.
        const bool isUsed = lane < groups.size();
        const Group group = isUsed ? groups[lane] : Group();
        for (std::size_t i = 0; i < 3; ++i) {
            node.center[i][lane] = isUsed ? group.center[i] : 2.0f * LocalFrame::kReach;
            node.moment0[i][lane] = kPerFullAngle * group.moment0[i];
        }
        for (std::size_t k = 0; k < 6; ++k) {
            node.moment1[k][lane] = kPerFullAngle * group.moment1[k];
        }
        node.squaredReach[lane] = kAccuracy * kAccuracy * group.radius * group.radius;
    }
}

WindingEstimate::Estimate WindingEstimate::at(const float* local) const
{
    static constexpr float kLaneNumbers[kLanes] = {0, 1, 2, 3, 4, 5, 6, 7};
    const Float8Vector p{local[0], local[1], local[2]};
    const Float8 one = 1.0f;
    const Float8 zero = 0.0f;
    Sums sums;
    _triangles.tree.descend(
        [&](std::size_t index) {
            const Groups& node = _nodes[index];
            const Float8Vector r = Float8Vector::load(node.center) - p;
            const Float8 squaredDistance = dot(r, r);
            const Float8 reach = Float8::load(node.squaredReach);
            const auto m = [&node](int k) { return Float8::load(node.moment1[k]); };
            const Float8 inverseSquare = one / squaredDistance;
            const Float8 trace = m(0) + m(1) + m(2);
            const Float8 mixed = fma(m(3), r.x * r.y, fma(m(4), r.y * r.z, m(5) * (r.z * r.x)));
            const Float8 form =
                fma(m(0), r.x * r.x, fma(m(1), r.y * r.y, fma(m(2), r.z * r.z, mixed + mixed)));
            const Float8 terms =
                dot(r, Float8Vector::load(node.moment0)) + trace - Float8(3.0f) * form * inverseSquare;
            sums.add(
                selectLessOrEqual(reach, squaredDistance, terms * inverseSquare * sqrt(inverseSquare), zero));
            return ~lessOrEqual(reach, squaredDistance) & 0xffu;
        },
        [&](std::size_t leaf) {
            const Float8 angles = halfAngles(_triangles.blocks[leaf], p);
            const auto last = static_cast<float>(_triangles.tree.leaves()[leaf].count - 1);
            sums.add(
                selectLessOrEqual(Float8::load(kLaneNumbers), last, angles * (2.0f * kPerFullAngle), zero));
        });
    return sums.estimate();
}

} // namespace zrk
