#include "core/mesh/winding/winding_estimate.h"

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

Vector sumsOfLanes(const Float8Vector& lanes)
{
    return {sumOfLanes(lanes.x), sumOfLanes(lanes.y), sumOfLanes(lanes.z)};
}

Group ofLeaf(const TriangleBlock& block, int count)
{
    const Float8Vector corner = Float8Vector::load(block.corner);
    const Float8Vector ab = Float8Vector::load(block.edges[0]);
    const Float8Vector ac = Float8Vector::load(block.edges[1]);
    const Float8 half = inFirstLanes(count, 0.5f);
    const Float8Vector moment0 = cross(ab, ac) * half;
    const Float8 areas = sqrt(dot(moment0, moment0));
    const Float8Vector center = corner + (ab + ac) * (1.0f / 3.0f);

    Group sum;
    sum.area = sumOfLanes(areas);
    const Float8 weights = areas * (1.0f / sum.area);
    sum.center = sum.area > 0.0f ? sumsOfLanes(center * weights)
                                 : Vector{block.corner[0][0], block.corner[1][0], block.corner[2][0]};
    sum.moment0 = sumsOfLanes(moment0);
    const Float8Vector shift = center - Float8Vector{sum.center[0], sum.center[1], sum.center[2]};
    const auto mixed = [](Float8 d, Float8 e, Float8 m, Float8 n) {
        return sumOfLanes((d * n + e * m) * 0.5f);
    };
    sum.moment1[0] = sumOfLanes(shift.x * moment0.x);
    sum.moment1[1] = sumOfLanes(shift.y * moment0.y);
    sum.moment1[2] = sumOfLanes(shift.z * moment0.z);
    sum.moment1[3] = mixed(shift.x, shift.y, moment0.x, moment0.y);
    sum.moment1[4] = mixed(shift.y, shift.z, moment0.y, moment0.z);
    sum.moment1[5] = mixed(shift.z, shift.x, moment0.z, moment0.x);
    Float8 reach = 0.0f;
    for (const Float8Vector& vertex : {corner, corner + ab, corner + ac}) {
        const Float8Vector d = vertex - center;
        reach = maximum(reach, dot(d, d));
    }
    sum.radius = largestLane(sqrt(dot(shift, shift)) + sqrt(reach));
    return sum;
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

/// Halves of the triangles' solid angles as seen from p, which isn't close to a triangle that has an area;
/// without one it is 0, though p lie on it, where both sides of the quotient are nothing but rounding.
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
    constexpr float kRounding = 1e-5f;
    return selectLessOrEqual(abs(x) + abs(y), la * lb * lc * kRounding, Float8(0.0f), arcTangent(y, x));
}

/// Adds up what it is given, and the sizes of it.
class Sums {
public:
    void add(Float8 contributions)
    {
        _value = _value + contributions;
        _total = _total + abs(contributions);
    }
    WindingEstimate::Estimate estimate() const { return {sumOfLanes(_value), sumOfLanes(_total)}; }

private:
    Float8 _value = 0.0f;
    Float8 _total = 0.0f;
};

} // namespace

WindingEstimate::WindingEstimate(const TriangleBlocks& triangles) : _triangles(triangles)
{
    _nodes.resize(triangles.tree.nodes().size());
    triangles.tree.summarize<Group>(
        [&](std::size_t leaf, const Box<float>&) {
            return ofLeaf(triangles.blocks[leaf], triangles.tree.leaves()[leaf].count);
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

WindingEstimate::Estimate WindingEstimate::at(const Tensor<3, float>& local) const
{
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
            sums.add(inFirstLanes(_triangles.tree.leaves()[leaf].count, angles * (2.0f * kPerFullAngle)));
        });
    return sums.estimate();
}

} // namespace zrk
