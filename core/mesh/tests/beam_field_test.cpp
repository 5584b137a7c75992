#include "core/mesh/beams/beam_field.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>

namespace zrk {
namespace {

using Vector = Tensor<3, double>;
constexpr double kNoBeam = std::numeric_limits<double>::max();

double smallestDistance(const BeamCacheData& lattice, const Vector& p)
{
    double smallest = kNoBeam;
    for (std::int32_t i = 0; i < lattice.beamCount(); ++i) {
        const double d = lattice.beam(i).distance(p);
        smallest = d < smallest ? d : smallest;
    }
    return smallest;
}

/// The best-first search of the hierarchy.
double searchedDistance(const BeamCacheData& lattice, const Vector& p)
{
    double distance = 0;
    lattice.bvh->closestPrimitive(
        [&](std::int32_t i, const double*, double*) { return lattice.beam(i).distance(p); }, p.begin(),
        distance);
    return distance;
}

/// Rows of positions in the form that the field takes them by blocks.
struct Positions {
    alignas(64) double rows[3][1024 + 8] = {};
    std::size_t count = 0;

    void add(const Vector& p)
    {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            rows[axis][count] = p[axis];
        }
        ++count;
    }
};

bool sameBits(double a, double b) { return std::memcmp(&a, &b, sizeof a) == 0; }

/// Every way to ask gives the smallest distance of all beams.
void expectSmallestDistances(const BeamCacheData& lattice, const std::vector<Vector>& points)
{
    ASSERT_NE(lattice.field, nullptr);
    for (std::size_t first = 0; first < points.size(); first += 1000) {
        Positions positions;
        for (std::size_t i = first; i < points.size() && i < first + 1000; ++i) {
            positions.add(points[i]);
        }
        alignas(64) double block[1024 + 8];
        lattice.field->distances({positions.rows[0], positions.rows[1], positions.rows[2]}, positions.count,
                                 block);
        for (std::size_t i = 0; i < positions.count; ++i) {
            const Vector& p = points[first + i];
            const double smallest = smallestDistance(lattice, p);
            const double single = lattice.field->distance(p);
            const double searched = searchedDistance(lattice, p);
            ASSERT_TRUE(sameBits(block[i], smallest) && sameBits(single, smallest))
                << p[0] << " " << p[1] << " " << p[2] << ": by block " << block[i] << ", alone " << single
                << ", smallest " << smallest;
            ASSERT_NEAR(searched, smallest, 1e-14 * (1 + std::abs(smallest)));
        }
    }
}

/// Anywhere in a box, and near the vertices and axes of the beams, by a few units in the last place or more.
std::vector<Vector> pointsAround(const BeamCacheData& lattice, std::mt19937& generator, int count)
{
    std::vector<Vector> points;
    const BVH<double, 2, 3>::Box& box = lattice.bvh->bounds;
    std::uniform_real_distribution<double> share(-0.3, 1.3);
    std::uniform_int_distribution<std::int32_t> anyBeam(0, lattice.beamCount() - 1);
    const auto pick = [&](std::initializer_list<double> list) {
        return list.begin()[generator() % list.size()];
    };
    for (int i = 0; i < count; ++i) {
        const Capsule<double> beam = lattice.beam(anyBeam(generator));
        const double along = pick({0.0, 1e-9, 0.5, share(generator), 1.0}) * beam.length;
        const double off = pick({0.0, 1e-15, 1e-8, 1e-4, 1.0}) * beam.radius;
        Vector p;
        Vector far;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            p[axis] = beam.start[axis] + along * beam.direction[axis] + off * (share(generator) - 0.5);
            far[axis] = box.min[axis] + (box.max[axis] - box.min[axis]) * pick({1.0, 1.0, 30.0, 1e5, 1e11}) *
                                            share(generator);
        }
        points.push_back(p);
        points.push_back(far);
        p[generator() % 3] = far[0];
        points.push_back(p);
    }
    return points;
}

std::shared_ptr<BeamCacheData> grid(const Vector& lower, const Vector& upper, int nodes)
{
    return BeamCacheData::ofGrid(LatticeGrid::between(lower, upper, nodes));
}

TEST(BeamLattice, OverAGridHasItsNodesAndBeams)
{
    const auto lattice = grid({0, 0, 0}, {5, 5, 5}, 6);
    EXPECT_EQ(lattice->vertices.size(), 3u * 343);
    EXPECT_EQ(lattice->beamCount(), 882);
    EXPECT_EQ(lattice->radius, 0.35);
    const std::vector<int> first(lattice->edges.begin(), lattice->edges.begin() + 8);
    EXPECT_EQ(first, (std::vector<int>{0, 1, 0, 7, 0, 49, 1, 2}));
    EXPECT_EQ(lattice->field->distance({1, 1, 1}), -0.35);
    EXPECT_EQ(lattice->field->distance({5.5, 0, 0}), -0.35) << "one cell beyond the upper corner";
    EXPECT_EQ(lattice->field->distance({6, 6, 8}), 2 - 0.35);
    EXPECT_EQ(lattice->field->distance({0.5, 0.5, 0.5}), std::sqrt(0.5) - 0.35);

    const auto coarse = grid({0, 0, 0}, {5, 5, 5}, 4);
    EXPECT_EQ(coarse->vertices.size(), 3u * 125);
    EXPECT_DOUBLE_EQ(coarse->radius, 7.0 / 12);

    const auto backwards = grid({0, 0, 0}, {5, -5, 10}, 6);
    EXPECT_EQ(backwards->radius, 0.7);
    EXPECT_EQ(backwards->field->distance({0, -6, 0}), -0.7);
}

TEST(BeamLattice, OverAMeshHasEachEdgeOnce)
{
    const std::vector<double> square{0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0};
    const auto lattice = BeamCacheData::ofEdges(square, {0, 1, 2, 3, 2, 0, 1});
    EXPECT_EQ(lattice->edges, (std::vector<int>{0, 1, 0, 2, 0, 3, 1, 2, 2, 3}))
        << "the last index is no triangle";
    EXPECT_EQ(lattice->radius, 0.001);
    EXPECT_EQ(lattice->triangleCount, 2);
    EXPECT_EQ(lattice->field->distance({0.5, 0.5, 2}), 2 - 0.001);
    for (const auto& empty : {BeamCacheData::ofEdges(square, {0, 1}), BeamCacheData::ofEdges({}, {})}) {
        EXPECT_EQ(empty->bvh, nullptr);
        EXPECT_EQ(empty->field, nullptr);
    }
}

// Fails where the hierarchy keeps a reference to the data it was built in.
TEST(BeamLattice, IsAValueWhoseCopiesShareTheHierarchy)
{
    auto lattice = BeamCacheData::ofEdges({0, 0, 0, 1, 0, 0, 0, 2, 0}, {0, 1, 2});
    const BeamCacheData copy = *lattice;
    EXPECT_EQ(copy.bvh, lattice->bvh);
    EXPECT_EQ(copy.vertexCount, 3);
    EXPECT_EQ(copy.edges, lattice->edges);
    const BeamCacheData moved = std::move(*lattice);
    lattice = nullptr;
    EXPECT_EQ(moved.bvh->boxOf(1).max, (Vector{0.001, 2 + 0.001, 0.001})) << "of the edge from 0 to 2";
    EXPECT_EQ(moved.beam(1).distance({0, 1, 3}), 3 - 0.001);
}

TEST(BeamField, IsTheSmallestDistanceOverGrids)
{
    std::mt19937 generator(11);
    const struct {
        const char* name;
        Vector lower, upper;
        int nodes;
    } cases[] = {
        {"default", {0, 0, 0}, {5, 5, 5}, 6},
        {"spacings without exact digits", {0.1, -0.7, 1.3}, {1.2, 0.4, 1.9}, 4},
        {"long cells", {-1, -1, -1}, {300, 1, 1}, 3},
        {"one cell", {0.3, 0.3, 0.3}, {1, 1.1, 1.2}, 2},
        {"far from the origin", {1e6, 1e6, 1e6}, {1e6 + 1, 1e6 + 1, 1e6 + 1}, 4},
        {"tiny", {0, 0, 0}, {1e-200, 1e-200, 1e-200}, 3},
        {"of imprecise squares", {0, 0, 0}, {1e-160, 1e-160, 1e-161}, 3},
        {"large", {0, 0, 0}, {1e153, 1e153, 1e153}, 3},
        {"backwards on an axis", {0, 2, 0}, {5, -2, 5}, 4},
        {"flat", {0, 1, 0}, {5, 1, 5}, 4},
        {"backwards on all", {5, 5, 5}, {0, 0, 0}, 3},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const auto lattice = grid(c.lower, c.upper, c.nodes);
        expectSmallestDistances(*lattice, pointsAround(*lattice, generator, 800));
    }
}

// Rows of samples on the planes of nodes, where neighbouring beams are equally near.
TEST(BeamField, IsTheSmallestDistanceOnPlanesOfNodes)
{
    const auto lattice = grid({0, 0, 0}, {0.7, 0.7, 0.7}, 8);
    std::vector<Vector> points;
    for (int k = -8; k <= 40; ++k) {
        for (int i = -8; i <= 40; ++i) {
            points.push_back({i * 0.025, k * 0.1 / 4, 0.3});
            points.push_back({0.1 * 3, i * 0.025 + 1e-16 * k, std::nextafter(0.2, k)});
        }
    }
    expectSmallestDistances(*lattice, points);
}

TEST(BeamField, IsTheSmallestDistanceOverMeshEdges)
{
    std::mt19937 generator(12);
    std::uniform_real_distribution<double> coordinate(0, 5);
    for (const int vertexCount : {3, 4, 12, 200, 2000}) {
        SCOPED_TRACE(vertexCount);
        std::vector<double> vertices(3 * static_cast<std::size_t>(vertexCount));
        for (double& c : vertices) {
            c = coordinate(generator);
        }
        // Some vertices twice, and some flat, empty or broken.
        std::copy_n(vertices.begin(), 3, vertices.end() - 3);
        if (vertexCount == 200) {
            vertices[60] = std::nan("");
            vertices[70] = std::numeric_limits<double>::infinity();
        }
        std::vector<int> triangles;
        std::uniform_int_distribution<int> anyVertex(0, vertexCount - 1);
        for (int i = 0; i < 3 * vertexCount; ++i) {
            // Mostly short edges, as meshes have them.
            triangles.push_back(i % 50 == 0 ? anyVertex(generator) : (i / 3 + i % 3 * 7) % vertexCount);
        }
        const auto lattice = BeamCacheData::ofEdges(vertices, triangles);
        expectSmallestDistances(*lattice, pointsAround(*lattice, generator, 500));
    }
}

TEST(BeamField, OfUnusablePositionsAndLatticesIsTheLargestDouble)
{
    const double inf = std::numeric_limits<double>::infinity();
    const auto flat = grid({1, 1, 1}, {1, 1, 1}, 6);
    EXPECT_EQ(flat->field->distance({1, 1, 1}), kNoBeam) << "no beam has a length";
    const auto broken = grid({0, 0, 0}, {1, inf, std::nan("")}, 6);
    EXPECT_EQ(broken->field->distance({0, 0, 0}), kNoBeam);
    const auto huge = grid({-1e308, -1e308, -1e308}, {1e308, 1e308, 1e308}, 3);
    EXPECT_EQ(huge->field->distance({1, 2, 3}), smallestDistance(*huge, {1, 2, 3}));

    const auto lattice = grid({0, 0, 0}, {5, 5, 5}, 6);
    for (const Vector& p :
         {Vector{std::nan(""), 1, 1}, Vector{1, inf, 1}, Vector{1, 1, -inf}, Vector{1e300, 1, 1}}) {
        EXPECT_EQ(lattice->field->distance(p), kNoBeam);
    }
}

// Fails for a half diagonal that is too short.
TEST(BeamField, BoundsHoldEveryDistanceInTheBox)
{
    std::mt19937 generator(43);
    std::uniform_real_distribution<double> unit(0, 1);
    std::vector<double> vertices(300);
    std::generate(vertices.begin(), vertices.end(), [&] { return 5 * unit(generator); });
    std::vector<int> triangles(300);
    std::generate(triangles.begin(), triangles.end(), [&] { return static_cast<int>(generator() % 100); });
    for (const auto& lattice : {grid({0, 0, 0}, {5, 5, 5}, 6), grid({1e5, 0, 0}, {1e5 + 1, 1, 1}, 4),
                                BeamCacheData::ofEdges(vertices, triangles)}) {
        for (const Vector& center : pointsAround(*lattice, generator, 300)) {
            if (!(std::abs(center[0]) + std::abs(center[1]) + std::abs(center[2]) < 1e6)) {
                continue;
            }
            const double half = std::pow(10.0, -6 * unit(generator));
            const Interval<double> bounds =
                lattice->field->bounds({center, half * std::sqrt(3.0) * (1 + 1e-15)});
            EXPECT_LT(bounds.upper - bounds.lower, 4 * half + 1e-8);
            for (int i = 0; i < 20; ++i) {
                Vector p = center;
                for (double& x : p) {
                    x += half *
                         (i < 4 ? static_cast<double>(generator() % 2) * 2 - 1 : 2 * unit(generator) - 1);
                }
                ASSERT_TRUE(bounds.contains(lattice->field->distance(p)));
            }
        }
    }
}

} // namespace
} // namespace zrk
