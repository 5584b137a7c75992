#include "core/surface/triangle_pairs.h"

#include "core/surface/exact_orientation.h"
#include "core/values/batch.h"
#include "core/values/eight_lanes.h"
#include "core/values/interleaved_bits.h"

#include <algorithm>
#include <bit>
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

    bool intersect(const Triangle& s, const Triangle& t) const
    {
        std::uint32_t shared[3];
        std::size_t count = 0;
        for (const std::uint32_t v : s) {
            if (v == t[0] || v == t[1] || v == t[2]) {
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
    static_assert(kMost % Batch::size == 0);
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
        // The corners after and before the vertex and their numbers; what fills the last batch says nothing.
        alignas(64) double after[4][kMost];
        alignas(64) double before[4][kMost];
        const Point& p = _vertices[vertex];
        for (std::size_t i = 0; i < wholeBatches(n); ++i) {
            const std::uint32_t corner = _corners[_first[vertex] + std::min(i, n - 1)];
            const Triangle& t = _triangles[corner / 3];
            const std::uint32_t k = corner % 3;
            const std::uint32_t a = t[k == 2 ? 0 : k + 1];
            const std::uint32_t b = t[k == 0 ? 2 : k - 1];
            for (std::size_t axis = 0; axis < 3; ++axis) {
                after[axis][i] = _vertices[a][axis] - p[axis];
                before[axis][i] = _vertices[b][axis] - p[axis];
            }
            after[3][i] = i < n ? a : -1.0;
            before[3][i] = i < n ? b : -2.0;
        }
        const auto vectorAt = [](const double(&rows)[4][kMost], std::size_t first) {
            return Tensor<3, Batch>{Batch::load(&rows[0][first]), Batch::load(&rows[1][first]),
                                    Batch::load(&rows[2][first])};
        };
        alignas(64) double normals[3][kMost];
        for (std::size_t first = 0; first < n; first += Batch::size) {
            const Tensor<3, Batch> normal = cross(vectorAt(after, first), vectorAt(before, first));
            for (std::size_t axis = 0; axis < 3; ++axis) {
                normal[axis].store(&normals[axis][first]);
            }
        }
        Point mean{};
        for (std::size_t i = 0; i < n; ++i) {
            mean = mean + Point{normals[0][i], normals[1][i], normals[2][i]};
        }
        const double ofMean = kLeastCosine * kLeastCosine * dot(mean, mean);
        if (!(ofMean > 0)) {
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
        const Tensor<3, Batch> along{mean[0], mean[1], mean[2]};
        const Tensor<3, Batch> upwards{up[0], up[1], up[2]};
        unsigned turning = 0;
        for (std::size_t first = 0; first < n; first += Batch::size) {
            const Tensor<3, Batch> normal{Batch::load(&normals[0][first]), Batch::load(&normals[1][first]),
                                          Batch::load(&normals[2][first])};
            const Batch share = dot(normal, along);
            if (!all(share > 0.0 && share * share > dot(normal, normal) * ofMean)) {
                return false;
            }
            turning |= bitsOf(dot(upwards, vectorAt(after, first)) < 0.0 &&
                              dot(upwards, vectorAt(before, first)) >= 0.0)
                       << first;
        }
        unsigned begun = 0;
        for (std::size_t i = 0; i < n; ++i) {
            unsigned same = 0;
            for (std::size_t first = 0; first < n; first += Batch::size) {
                same |= bitsOf(Batch::load(&before[3][first]) == after[3][i]) << first;
            }
            if (!std::has_single_bit(same)) {
                return false;
            }
            begun |= same;
        }
        return begun == (1u << n) - 1 && std::has_single_bit(turning & begun);
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

bool isDegenerate(std::span<const Point> vertices, const Triangle& t)
{
    return t[0] == t[1] || t[1] == t[2] || t[2] == t[0] ||
           clearAxis(vertices[t[0]], vertices[t[1]], vertices[t[2]]) == 3;
}

/// Lanes without a box are empty.
struct alignas(64) EightBoxes {
    std::array<double, kLanes> lower[3], upper[3];

    EightBoxes()
    {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            lower[axis].fill(HUGE_VAL);
            upper[axis].fill(-HUGE_VAL);
        }
    }
    void set(std::size_t lane, const Box& box)
    {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            lower[axis][lane] = box.lower[axis];
            upper[axis][lane] = box.upper[axis];
        }
    }
    Box box(std::size_t lane) const
    {
        return {{lower[0][lane], lower[1][lane], lower[2][lane]},
                {upper[0][lane], upper[1][lane], upper[2][lane]}};
    }
    Box all() const
    {
        Box all;
        for (std::size_t lane = 0; lane < kLanes; ++lane) {
            const Box one = box(lane);
            all.add(one.lower, one.upper);
        }
        return all;
    }
    Lanes8 overlapping(const Box& other) const
    {
        Lanes8 lanes = 0;
        for (std::size_t first = 0; first < kLanes; first += Batch::size) {
            BatchMask meets(true);
            for (std::size_t axis = 0; axis < 3; ++axis) {
                meets = meets && Batch::load(&lower[axis][first]) <= other.upper[axis] &&
                        Batch::load(&upper[axis][first]) >= other.lower[axis];
            }
            lanes |= bitsOf(meets) << first;
        }
        return lanes;
    }
};

/// Boxes by eights, eight of these together and so on. What is near each other stands together: the boxes are
/// in the order of the Morton codes of their middles.
class BoxTree {
public:
    struct Item {
        Box box;
        std::uint32_t number;
    };

    explicit BoxTree(const std::vector<Item>& items)
    {
        if (items.empty()) {
            return;
        }
        std::vector<std::uint64_t> order = inOrder(items);
        _numbers.resize(items.size());
        std::vector<EightBoxes> eights((items.size() + kLanes - 1) / kLanes);
        for (std::size_t i = 0; i < items.size(); ++i) {
            const Item& item = items[order[i] & kNumberBits];
            _numbers[i] = item.number;
            eights[i / kLanes].set(i % kLanes, item.box);
        }
        _levels.push_back(std::move(eights));
        while (_levels.back().size() > 1) {
            const std::vector<EightBoxes>& below = _levels.back();
            std::vector<EightBoxes> above((below.size() + kLanes - 1) / kLanes);
            for (std::size_t i = 0; i < below.size(); ++i) {
                above[i / kLanes].set(i % kLanes, below[i].all());
            }
            _levels.push_back(std::move(above));
        }
    }

    std::size_t eightCount() const { return _levels.empty() ? 0 : _levels[0].size(); }
    const EightBoxes& eight(std::size_t e) const { return _levels[0][e]; }
    /// The numbers of the boxes of an eight, by lane.
    std::span<const std::uint32_t> numbersOf(std::size_t e) const
    {
        return std::span(_numbers).subspan(kLanes * e,
                                           std::min<std::size_t>(kLanes, _numbers.size() - kLanes * e));
    }

    /// Calls found(e) for each eight of boxes, from `first` on, in whose box one lies.
    template <class Found>
    void forEachEight(const Box& box, std::size_t first, const Found& found) const
    {
        if (!_levels.empty()) {
            forEachEightOf(_levels.size() - 1, 0, box, first, found);
        }
    }

private:
    static constexpr std::uint64_t kNumberBits = 0xffffffff;

    std::vector<std::uint32_t> _numbers; ///< of the boxes in their order
    std::vector<std::vector<EightBoxes>>
        _levels; ///< lane i of eight e is around eight 8 e + i of the level before

    template <class Found>
    void forEachEightOf(std::size_t level, std::size_t e, const Box& box, std::size_t first,
                        const Found& found) const
    {
        if (level == 0) {
            found(e);
            return;
        }
        forEachLane(_levels[level][e].overlapping(box), [&](int lane) {
            const std::size_t child = kLanes * e + static_cast<std::size_t>(lane);
            if ((child + 1) << 3 * (level - 1) > first) {
                forEachEightOf(level - 1, child, box, first, found);
            }
        });
    }

    /// The numbers of items in the order of their codes, which stand above them.
    static std::vector<std::uint64_t> inOrder(const std::vector<Item>& items)
    {
        Box all;
        for (const Item& item : items) {
            all.add(item.box.lower, item.box.upper);
        }
        // Ten bits of a code are those of one axis; twice the middle counts.
        constexpr double kCells = 1023;
        const Point size = all.upper - all.lower;
        std::vector<std::uint64_t> order(items.size());
        for (std::size_t i = 0; i < items.size(); ++i) {
            const Box& box = items[i].box;
            const Point twiceMiddle = box.lower - all.lower + (box.upper - all.lower);
            const auto cell = [&](std::size_t axis) {
                const double at = twiceMiddle[axis] / size[axis] * (0.5 * kCells);
                return static_cast<std::uint32_t>(at > 0 ? std::min(at, kCells) : 0.0);
            };
            order[i] = interleave(cell(0), cell(1), cell(2)) << 32 | i;
        }
        std::sort(order.begin(), order.end());
        return order;
    }
};

/// The corners of the triangles of a tree at vertices with flat fans.
class FlatCorners {
public:
    FlatCorners(const BoxTree& tree, std::span<const Triangle> triangles, FlatFans& fans)
        : _eights(tree.eightCount())
    {
        for (std::size_t e = 0; e < _eights.size(); ++e) {
            const std::span<const std::uint32_t> numbers = tree.numbersOf(e);
            for (std::size_t k = 0; k < 3; ++k) {
                for (std::size_t i = 0; i < kLanes; ++i) {
                    const bool isFlat = i < numbers.size() && fans.isFlat(triangles[numbers[i]][k]);
                    _eights[e].corners[k][i] = isFlat ? triangles[numbers[i]][k] : kNone;
                }
            }
        }
    }

    /// The triangles of an eight that have such a vertex in common with another triangle.
    Lanes8 sharedWith(const Triangle& triangle, std::size_t e) const
    {
        Lanes8 lanes = 0;
        for (std::size_t first = 0; first < kLanes; first += Batch::size) {
            BatchMask shares(false);
            for (const std::array<double, kLanes>& corners : _eights[e].corners) {
                const Batch numbers = Batch::load(&corners[first]);
                for (const std::uint32_t v : triangle) {
                    shares = shares || numbers == static_cast<double>(v);
                }
            }
            lanes |= bitsOf(shares) << first;
        }
        return lanes;
    }

private:
    static constexpr double kNone = -1;
    struct alignas(64) Eight {
        std::array<double, kLanes> corners[3];
    };
    std::vector<Eight> _eights;
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
    const BoxTree tree(items);
    const Intersections intersections(vertices);
    FlatFans fans(vertices, triangles);
    const FlatCorners corners(tree, triangles, fans);
    const auto report = [&](std::uint32_t first, std::uint32_t second) {
        const std::uint32_t low = std::min(first, second);
        const std::uint32_t high = std::max(first, second);
        if (intersections.intersect(triangles[low], triangles[high]) &&
            (wants(first) || !isDegenerate(vertices, triangles[first]))) {
            found(low, high);
        }
    };
    // The boxes of an eight with those of the tree from an eight on; of its own each meets those that follow.
    const auto compare = [&](const EightBoxes& eight, std::span<const std::uint32_t> numbers,
                             std::size_t first, std::size_t own) {
        tree.forEachEight(eight.all(), first, [&](std::size_t other) {
            const EightBoxes& boxes = tree.eight(other);
            for (std::size_t i = 0; i < numbers.size(); ++i) {
                Lanes8 lanes = boxes.overlapping(eight.box(i));
                lanes &= other == own ? ~Lanes8{0} << (i + 1) : ~Lanes8{0};
                if (lanes != 0) {
                    lanes &= ~corners.sharedWith(triangles[numbers[i]], other);
                    forEachLane(lanes, [&](int j) {
                        report(numbers[i], tree.numbersOf(other)[static_cast<std::size_t>(j)]);
                    });
                }
            }
        });
    };
    std::size_t asked = 0;
    const auto isGoingOn = [&](double share) {
        constexpr std::size_t kBetweenQuestions = 64;
        return asked++ % kBetweenQuestions != 0 || goesOn(keepGoing, share);
    };
    for (std::size_t e = 0; e < tree.eightCount(); ++e) {
        if (!isGoingOn(static_cast<double>(e) / static_cast<double>(tree.eightCount()))) {
            return false;
        }
        compare(tree.eight(e), tree.numbersOf(e), e, e);
    }
    if (isWanted.empty()) {
        return true;
    }
    // The others, as many at a time: neighbours in the mesh are near each other mostly.
    std::vector<std::uint32_t> numbers;
    for (std::uint32_t t = 0; t < triangles.size(); ++t) {
        if (!wants(t)) {
            numbers.push_back(t);
        }
        if (numbers.size() == kLanes || (t + 1 == triangles.size() && !numbers.empty())) {
            if (!isGoingOn(1.0)) {
                return false;
            }
            EightBoxes eight;
            for (std::size_t i = 0; i < numbers.size(); ++i) {
                eight.set(i, boxOf(vertices, triangles[numbers[i]]));
            }
            compare(eight, numbers, 0, tree.eightCount());
            numbers.clear();
        }
    }
    return true;
}

} // namespace zrk::surface
