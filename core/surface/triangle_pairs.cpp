#include "core/surface/triangle_pairs.h"

#include "core/surface/exact_orientation.h"

#include <algorithm>
#include <cmath>
#include <unordered_map>
#include <vector>

namespace zrk::surface {

namespace {

using Point = Tensor<3, double>;
using Triangle = std::array<std::uint32_t, 3>;

/// An axis across which a triangle keeps its area when seen along it.
std::size_t clearAxis(const Point& a, const Point& b, const Point& c)
{
    for (std::size_t axis = 0; axis < 3; ++axis) {
        if (orientationAlong(axis, a, b, c) != 0) {
            return axis;
        }
    }
    return 3;
}

bool overlap1(double a0, double a1, double b0, double b1)
{
    return std::max(std::min(a0, a1), std::min(b0, b1)) <= std::min(std::max(a0, a1), std::max(b0, b1));
}

/// Whether two segments in one plane meet, seen along `axis`.
bool segmentsMeet(std::size_t axis, const Point& p, const Point& q, const Point& a, const Point& b)
{
    const int pa = orientationAlong(axis, p, q, a);
    const int pb = orientationAlong(axis, p, q, b);
    const int ap = orientationAlong(axis, a, b, p);
    const int aq = orientationAlong(axis, a, b, q);
    if (pa == 0 && pb == 0) {
        const std::size_t u = (axis + 1) % 3;
        const std::size_t v = (axis + 2) % 3;
        return overlap1(p[u], q[u], a[u], b[u]) && overlap1(p[v], q[v], a[v], b[v]);
    }
    return pa * pb <= 0 && ap * aq <= 0;
}

bool isWithin(std::size_t axis, const Point& p, const Point& a, const Point& b, const Point& c)
{
    const int s[3] = {orientationAlong(axis, a, b, p), orientationAlong(axis, b, c, p),
                      orientationAlong(axis, c, a, p)};
    return (s[0] >= 0 && s[1] >= 0 && s[2] >= 0) || (s[0] <= 0 && s[1] <= 0 && s[2] <= 0);
}

/// Whether the segment from p to q meets the triangle a, b, c.
bool meets(const Point& p, const Point& q, const Point& a, const Point& b, const Point& c)
{
    const int sp = orientation(a, b, c, p);
    const int sq = orientation(a, b, c, q);
    if (sp * sq > 0) {
        return false;
    }
    if (sp == 0 && sq == 0) {
        const std::size_t axis = clearAxis(a, b, c);
        return axis < 3 &&
               (isWithin(axis, p, a, b, c) || isWithin(axis, q, a, b, c) || segmentsMeet(axis, p, q, a, b) ||
                segmentsMeet(axis, p, q, b, c) || segmentsMeet(axis, p, q, c, a));
    }
    const int s[3] = {orientation(p, q, a, b), orientation(p, q, b, c), orientation(p, q, c, a)};
    return (s[0] >= 0 && s[1] >= 0 && s[2] >= 0) || (s[0] <= 0 && s[1] <= 0 && s[2] <= 0);
}

class Intersections {
public:
    explicit Intersections(const SurfaceMesh& mesh) : _mesh(mesh) {}

    const Point& at(std::uint32_t vertex) const { return _mesh.vertices[vertex]; }

    bool intersect(const Triangle& s, const Triangle& t) const
    {
        std::uint32_t shared[3];
        std::size_t count = 0;
        for (const std::uint32_t v : s) {
            if (std::find(t.begin(), t.end(), v) != t.end()) {
                shared[count++] = v;
            }
        }
        switch (count) {
        case 0:
            return apart(s, t);
        case 1:
            return atOneCorner(s, t, shared[0]);
        case 2:
            return atOneEdge(s, t, shared[0], shared[1]);
        default:
            return true; // twice the same
        }
    }

private:
    const SurfaceMesh& _mesh;

    bool sideMeets(const Triangle& s, const Triangle& t) const
    {
        for (std::size_t k = 0; k < 3; ++k) {
            if (meets(at(s[k]), at(s[(k + 1) % 3]), at(t[0]), at(t[1]), at(t[2]))) {
                return true;
            }
        }
        return false;
    }
    bool apart(const Triangle& s, const Triangle& t) const { return sideMeets(s, t) || sideMeets(t, s); }

    /// The sides across from the common corner meet the other triangle, if the two meet elsewhere at all.
    bool atOneCorner(const Triangle& s, const Triangle& t, std::uint32_t corner) const
    {
        const auto across = [&](const Triangle& a, const Triangle& b) {
            const auto k = static_cast<std::size_t>(std::find(a.begin(), a.end(), corner) - a.begin());
            return meets(at(a[(k + 1) % 3]), at(a[(k + 2) % 3]), at(b[0]), at(b[1]), at(b[2]));
        };
        return across(s, t) || across(t, s);
    }

    /// Two triangles with a common edge meet elsewhere only if they are folded onto each other.
    bool atOneEdge(const Triangle& s, const Triangle& t, std::uint32_t v, std::uint32_t w) const
    {
        const auto apexOf = [&](const Triangle& a) {
            return *std::find_if(a.begin(), a.end(), [&](std::uint32_t x) { return x != v && x != w; });
        };
        const Point& p = at(apexOf(s));
        const Point& q = at(apexOf(t));
        if (orientation(at(v), at(w), p, q) != 0) {
            return false;
        }
        const std::size_t axis = clearAxis(at(v), at(w), p);
        return axis < 3 && orientationAlong(axis, at(v), at(w), p) == orientationAlong(axis, at(v), at(w), q);
    }
};

struct Box {
    Point lower, upper;
};

Box boxOf(const SurfaceMesh& mesh, const Triangle& t)
{
    Box box{mesh.vertices[t[0]], mesh.vertices[t[0]]};
    for (std::size_t k = 1; k < 3; ++k) {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            box.lower[axis] = std::min(box.lower[axis], mesh.vertices[t[k]][axis]);
            box.upper[axis] = std::max(box.upper[axis], mesh.vertices[t[k]][axis]);
        }
    }
    return box;
}

bool overlap(const Box& a, const Box& b)
{
    for (std::size_t axis = 0; axis < 3; ++axis) {
        if (a.lower[axis] > b.upper[axis] || b.lower[axis] > a.upper[axis]) {
            return false;
        }
    }
    return true;
}

} // namespace

bool isDegenerate(const SurfaceMesh& mesh, const Triangle& t)
{
    return t[0] == t[1] || t[1] == t[2] || t[2] == t[0] ||
           clearAxis(mesh.vertices[t[0]], mesh.vertices[t[1]], mesh.vertices[t[2]]) == 3;
}

std::size_t countSelfIntersections(const SurfaceMesh& mesh)
{
    // Boxes are swept along x; those under way are kept by their place across it.
    std::vector<Box> boxes;
    std::vector<std::uint32_t> order;
    double extent = 0;
    for (std::uint32_t t = 0; t < mesh.triangles.size(); ++t) {
        boxes.push_back(boxOf(mesh, mesh.triangles[t]));
        if (!isDegenerate(mesh, mesh.triangles[t])) {
            order.push_back(t);
            const Point size = boxes.back().upper - boxes.back().lower;
            extent += std::max({size[0], size[1], size[2]});
        }
    }
    if (order.empty()) {
        return 0;
    }
    const double bin = std::max(2 * extent / static_cast<double>(order.size()), 1e-300);
    std::sort(order.begin(), order.end(),
              [&](std::uint32_t a, std::uint32_t b) { return boxes[a].lower[0] < boxes[b].lower[0]; });
    const Intersections intersections(mesh);
    std::unordered_map<std::uint64_t, std::vector<std::uint32_t>> bins;
    const auto binOf = [&](double at) { return static_cast<std::int64_t>(std::floor(at / bin)); };
    const auto key = [](std::int64_t y, std::int64_t z) {
        return static_cast<std::uint64_t>(y) * 0x9E3779B97F4A7C15u ^ static_cast<std::uint64_t>(z);
    };
    std::size_t count = 0;
    for (const std::uint32_t t : order) {
        const Box& box = boxes[t];
        for (std::int64_t y = binOf(box.lower[1]); y <= binOf(box.upper[1]); ++y) {
            for (std::int64_t z = binOf(box.lower[2]); z <= binOf(box.upper[2]); ++z) {
                std::vector<std::uint32_t>& others = bins[key(y, z)];
                std::size_t kept = 0;
                for (const std::uint32_t other : others) {
                    if (boxes[other].upper[0] < box.lower[0]) {
                        continue; // passed by
                    }
                    others[kept++] = other;
                    // Counted in the bin where the common part of the boxes begins.
                    const bool isHere = binOf(std::max(box.lower[1], boxes[other].lower[1])) == y &&
                                        binOf(std::max(box.lower[2], boxes[other].lower[2])) == z;
                    if (isHere && overlap(box, boxes[other]) &&
                        intersections.intersect(mesh.triangles[t], mesh.triangles[other])) {
                        ++count;
                    }
                }
                others.resize(kept);
                others.push_back(t);
            }
        }
    }
    return count;
}

} // namespace zrk::surface
