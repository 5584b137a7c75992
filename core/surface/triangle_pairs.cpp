#include "core/surface/triangle_pairs.h"

#include "core/surface/exact_orientation.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

namespace zrk::surface {

namespace {

using Point = Tensor<3, double>;
using Triangle = std::array<std::uint32_t, 3>;

constexpr std::uint32_t kNoVertex = 0xffffffff;

/// An axis along which a triangle is seen with an area, most likely the largest; 3 if it has none.
std::size_t clearAxis(const Point& a, const Point& b, const Point& c)
{
    const Point normal = cross(b - a, c - a);
    std::size_t axis = std::abs(normal[0]) < std::abs(normal[1]) ? 1 : 0;
    axis = std::abs(normal[axis]) < std::abs(normal[2]) ? 2 : axis;
    for (std::size_t k = 0; k < 3; ++k, axis = (axis + 1) % 3) {
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
    explicit Intersections(std::span<const Point> vertices) : _vertices(vertices) {}

    const Point& at(std::uint32_t vertex) const { return _vertices[vertex]; }

    bool intersect(const Triangle& s, const Triangle& t, std::span<const std::uint32_t> shared) const
    {
        switch (shared.size()) {
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
    std::span<const Point> _vertices;

    bool sideMeets(const Triangle& s, const Triangle& t) const
    {
        for (std::size_t k = 0; k < 3; ++k) {
            if (meets(at(s[k]), at(s[(k + 1) % 3]), at(t[0]), at(t[1]), at(t[2]))) {
                return true;
            }
        }
        return false;
    }
    /// Whether the vertices of s but `left` lie strictly on one side of t's plane.
    bool isOnOneSide(const Triangle& s, const Triangle& t, std::uint32_t left) const
    {
        int side = 0;
        for (const std::uint32_t v : s) {
            if (v == left) {
                continue;
            }
            const int ofThis = orientation(at(t[0]), at(t[1]), at(t[2]), at(v));
            if (ofThis == 0 || (side != 0 && ofThis != side)) {
                return false;
            }
            side = ofThis;
        }
        return true;
    }
    bool apart(const Triangle& s, const Triangle& t) const
    {
        return !isOnOneSide(s, t, kNoVertex) && !isOnOneSide(t, s, kNoVertex) &&
               (sideMeets(s, t) || sideMeets(t, s));
    }

    /// The sides across from the common corner meet the other triangle, if the two meet elsewhere at all.
    bool atOneCorner(const Triangle& s, const Triangle& t, std::uint32_t corner) const
    {
        const auto across = [&](const Triangle& a, const Triangle& b) {
            const auto k = static_cast<std::size_t>(std::find(a.begin(), a.end(), corner) - a.begin());
            return meets(at(a[(k + 1) % 3]), at(a[(k + 2) % 3]), at(b[0]), at(b[1]), at(b[2]));
        };
        return !isOnOneSide(s, t, corner) && !isOnOneSide(t, s, corner) && (across(s, t) || across(t, s));
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

/// Vertices whose triangles lie around them side by side, seen along one direction: such triangles can't meet
/// but in what they share. Most vertices of a mesh are like that, and few pairs are left for predicates.
class FlatFans {
public:
    FlatFans(std::span<const Point> vertices, std::span<const Triangle> triangles)
        : _vertices(vertices),
          _triangles(triangles),
          _first(vertices.size() + 1, 0),
          _corners(3 * triangles.size()),
          _known(vertices.size(), Known::Nothing)
    {
        for (const Triangle& t : triangles) {
            for (const std::uint32_t v : t) {
                ++_first[v + 1];
            }
        }
        for (std::size_t v = 0; v < vertices.size(); ++v) {
            _first[v + 1] += _first[v];
        }
        std::vector<std::uint32_t> end(_first.begin(), _first.end() - 1);
        for (std::uint32_t t = 0; t < triangles.size(); ++t) {
            for (std::uint32_t k = 0; k < 3; ++k) {
                _corners[end[triangles[t][k]]++] = 3 * t + k;
            }
        }
    }

    bool isFlat(std::uint32_t vertex)
    {
        if (_known[vertex] == Known::Nothing) {
            _known[vertex] = findOut(vertex) ? Known::Flat : Known::Other;
        }
        return _known[vertex] == Known::Flat;
    }

private:
    enum class Known : std::uint8_t { Nothing, Flat, Other };
    static constexpr std::size_t kMost = 16;
    /// Normals lie within 60 degrees of their mean, far from where rounding matters.
    static constexpr double kLeastCosine = 0.5;

    std::span<const Point> _vertices;
    std::span<const Triangle> _triangles;
    std::vector<std::uint32_t> _first; ///< of each vertex, in `_corners`
    std::vector<std::uint32_t> _corners;
    std::vector<Known> _known;

    bool findOut(std::uint32_t vertex) const
    {
        const std::size_t n = _first[vertex + 1] - _first[vertex];
        if (n < 3 || n > kMost) {
            return false;
        }
        std::uint32_t after[kMost];
        std::uint32_t before[kMost];
        Point normals[kMost];
        Point mean{};
        const Point& p = _vertices[vertex];
        for (std::size_t i = 0; i < n; ++i) {
            const std::uint32_t corner = _corners[_first[vertex] + i];
            const Triangle& t = _triangles[corner / 3];
            after[i] = t[(corner + 1) % 3];
            before[i] = t[(corner + 2) % 3];
            normals[i] = cross(_vertices[after[i]] - p, _vertices[before[i]] - p);
            normalize(normals[i]);
            mean = mean + normals[i];
        }
        if (!(normalize(mean) > 0)) {
            return false;
        }
        // Seen along the mean, each triangle turns to the left. Around the vertex there is one turn if just
        // one of them passes the half axis at which a height changes from negative.
        const std::size_t least = std::abs(mean[0]) < std::abs(mean[1])
                                      ? (std::abs(mean[0]) < std::abs(mean[2]) ? 0u : 2u)
                                      : (std::abs(mean[1]) < std::abs(mean[2]) ? 1u : 2u);
        Point up{};
        up[least] = 1;
        up = cross(mean, up);
        int turns = 0;
        for (std::size_t i = 0; i < n; ++i) {
            if (!(dot(normals[i], mean) > kLeastCosine) || std::count(before, before + n, after[i]) != 1 ||
                std::count(after, after + n, after[i]) != 1) {
                return false;
            }
            turns += dot(up, _vertices[after[i]] - p) < 0 && dot(up, _vertices[before[i]] - p) >= 0 ? 1 : 0;
        }
        return turns == 1;
    }
};

struct Box {
    Point lower{HUGE_VAL, HUGE_VAL, HUGE_VAL};
    Point upper{-HUGE_VAL, -HUGE_VAL, -HUGE_VAL};

    void add(const Point& a, const Point& b)
    {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            lower[axis] = std::min(lower[axis], a[axis]);
            upper[axis] = std::max(upper[axis], b[axis]);
        }
    }
};

Box boxOf(std::span<const Point> vertices, const Triangle& t)
{
    Box box;
    for (const std::uint32_t v : t) {
        box.add(vertices[v], vertices[v]);
    }
    return box;
}

/// Without branches, as half of them would be mispredicted.
bool overlap(const Box& a, const Box& b)
{
    unsigned apart = 0;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        apart |= unsigned{a.lower[axis] > b.upper[axis]} | unsigned{b.lower[axis] > a.upper[axis]};
    }
    return apart == 0;
}

bool isDegenerate(std::span<const Point> vertices, const Triangle& t)
{
    return t[0] == t[1] || t[1] == t[2] || t[2] == t[0] ||
           clearAxis(vertices[t[0]], vertices[t[1]], vertices[t[2]]) == 3;
}

/// Boxes in a binary tree, halved at the median along the longest axis.
class BoxTree {
public:
    struct Item {
        Box box;
        std::uint32_t number;
    };

    explicit BoxTree(std::vector<Item> items) : _items(std::move(items))
    {
        if (!_items.empty()) {
            _nodes.reserve(_items.size());
            build(0, static_cast<std::uint32_t>(_items.size()));
        }
    }

    bool overlaps(const Box& box) const { return !_nodes.empty() && overlap(box, _nodes[0].box); }

    /// Calls found(item, item) for each pair of boxes that overlap, once, and goesOn(share of the tree) in
    /// between. False as soon as that is false.
    template <class Found, class GoesOn>
    bool forEachPair(const Found& found, const GoesOn& goesOn) const
    {
        for (std::uint32_t n = 0; n < _nodes.size(); ++n) {
            const Node& node = _nodes[n];
            const double share = static_cast<double>(n) / static_cast<double>(_nodes.size());
            if (!goesOn(share) ||
                (!isLeaf(n) && !forEachPairOf(n + 1, _nodes[n + 1].after, share, found, goesOn))) {
                return false;
            }
            for (std::uint32_t i = node.first; i < node.end; ++i) {
                for (std::uint32_t j = i + 1; j < node.end; ++j) {
                    if (overlap(_items[i].box, _items[j].box)) {
                        found(_items[i], _items[j]);
                    }
                }
            }
        }
        return true;
    }

    /// Calls found(item) for each box that overlaps one.
    template <class Found>
    void forEachOverlapping(const Box& box, const Found& found) const
    {
        // A node's second child and what follows it stand behind the first one's: one goes through the list
        // and jumps where nothing overlaps.
        for (std::uint32_t n = 0; n < _nodes.size();) {
            const Node& node = _nodes[n];
            if (!overlap(box, node.box)) {
                n = node.after;
                continue;
            }
            for (std::uint32_t i = node.first; i < node.end; ++i) {
                if (overlap(box, _items[i].box)) {
                    found(_items[i]);
                }
            }
            ++n;
        }
    }

private:
    struct Node {
        Box box;
        std::uint32_t first, end; ///< items of a leaf
        std::uint32_t after;      ///< the node that follows the whole branch
    };
    static constexpr std::uint32_t kItemsOfLeaf = 4;

    std::vector<Item> _items;
    std::vector<Node> _nodes;

    bool isLeaf(std::uint32_t n) const { return _nodes[n].after == n + 1; }

    /// The pairs of two branches.
    template <class Found, class GoesOn>
    bool forEachPairOf(std::uint32_t a, std::uint32_t b, double share, const Found& found,
                       const GoesOn& goesOn) const
    {
        const Node& first = _nodes[a];
        const Node& second = _nodes[b];
        if (!overlap(first.box, second.box)) {
            return true;
        }
        if (isLeaf(a) && isLeaf(b)) {
            for (std::uint32_t i = first.first; i < first.end; ++i) {
                for (std::uint32_t j = second.first; j < second.end; ++j) {
                    if (overlap(_items[i].box, _items[j].box)) {
                        found(_items[i], _items[j]);
                    }
                }
            }
            return goesOn(share);
        }
        // The larger branch is parted.
        if (first.after - a >= second.after - b) {
            return forEachPairOf(a + 1, b, share, found, goesOn) &&
                   forEachPairOf(_nodes[a + 1].after, b, share, found, goesOn);
        }
        return forEachPairOf(a, b + 1, share, found, goesOn) &&
               forEachPairOf(a, _nodes[b + 1].after, share, found, goesOn);
    }

    void build(std::uint32_t first, std::uint32_t end)
    {
        const auto number = _nodes.size();
        _nodes.push_back({{}, first, end, 0});
        Box all;
        Box middles;
        for (std::uint32_t i = first; i < end; ++i) {
            const Box& box = _items[i].box;
            all.add(box.lower, box.upper);
            const Point middle = box.lower + box.upper;
            middles.add(middle, middle);
        }
        if (end - first > kItemsOfLeaf) {
            _nodes[number].end = first;
            const Point size = middles.upper - middles.lower;
            const std::size_t axis = size[0] >= size[1] && size[0] >= size[2] ? 0
                                     : size[1] >= size[2]                     ? 1
                                                                              : 2;
            const std::uint32_t half = first + (end - first) / 2;
            std::nth_element(_items.begin() + first, _items.begin() + half, _items.begin() + end,
                             [axis](const Item& a, const Item& b) {
                                 return a.box.lower[axis] + a.box.upper[axis] <
                                        b.box.lower[axis] + b.box.upper[axis];
                             });
            build(first, half);
            build(half, end);
        }
        _nodes[number].box = all;
        _nodes[number].after = static_cast<std::uint32_t>(_nodes.size());
    }
};

} // namespace

bool isDegenerate(const SurfaceMesh& mesh, const Triangle& t) { return isDegenerate(mesh.vertices, t); }

bool forEachIntersection(std::span<const Point> vertices, std::span<const Triangle> triangles,
                         std::span<const std::uint8_t> isWanted,
                         const std::function<void(std::uint32_t, std::uint32_t)>& found,
                         const KeepGoing& keepGoing)
{
    const auto wants = [&](std::uint32_t triangle) { return isWanted.empty() || isWanted[triangle] != 0; };
    std::vector<BoxTree::Item> items;
    for (std::uint32_t t = 0; t < triangles.size(); ++t) {
        if (wants(t) && !isDegenerate(vertices, triangles[t])) {
            items.push_back({boxOf(vertices, triangles[t]), t});
        }
    }
    const BoxTree tree(std::move(items));
    const Intersections intersections(vertices);
    FlatFans fans(vertices, triangles);
    const auto meet = [&](std::uint32_t first, std::uint32_t second) {
        const Triangle& s = triangles[first];
        const Triangle& t = triangles[second];
        std::uint32_t shared[3];
        std::size_t count = 0;
        for (const std::uint32_t v : s) {
            if (v == t[0] || v == t[1] || v == t[2]) {
                if (fans.isFlat(v)) {
                    return false;
                }
                shared[count++] = v;
            }
        }
        return intersections.intersect(s, t, {shared, count});
    };
    const auto report = [&](std::uint32_t first, std::uint32_t second) {
        if (meet(std::min(first, second), std::max(first, second))) {
            found(std::min(first, second), std::max(first, second));
        }
    };
    std::size_t asked = 0;
    const auto isGoingOn = [&](double share) {
        constexpr std::size_t kBetweenQuestions = 1024;
        return asked++ % kBetweenQuestions != 0 || goesOn(keepGoing, share);
    };
    const bool isDone = tree.forEachPair(
        [&](const BoxTree::Item& a, const BoxTree::Item& b) { report(a.number, b.number); }, isGoingOn);
    if (!isDone || isWanted.empty()) {
        return isDone;
    }
    for (std::uint32_t t = 0; t < triangles.size(); ++t) {
        const Box box = boxOf(vertices, triangles[t]);
        if (!wants(t) && tree.overlaps(box) && !isDegenerate(vertices, triangles[t])) {
            if (!isGoingOn(1.0)) {
                return false;
            }
            tree.forEachOverlapping(box, [&](const BoxTree::Item& item) { report(t, item.number); });
        }
    }
    return true;
}

} // namespace zrk::surface
