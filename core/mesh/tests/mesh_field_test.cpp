#include "core/mesh/mesh_field.h"

#include "core/mesh/winding/solid_angle.h"
#include "testing/generated_meshes.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

namespace zrk {
namespace {

using zrktest::cube;
using zrktest::GeneratedMesh;
using zrktest::icosphere;
using zrktest::Point;
using zrktest::torusKnot;

constexpr double kLargest = std::numeric_limits<double>::max();

double triangleDistance(const BVH<double, 3, 3>& tree, std::int32_t t, const double* p)
{
    double closest[3];
    return closestPointOnTriangle(p, tree.vertexOf(t, 0), tree.vertexOf(t, 1), tree.vertexOf(t, 2), closest);
}

double literalDistance(const MeshWindingField& field, const Point& p)
{
    double distance;
    field.bvh().closestPrimitive(
        [&](std::int32_t t, const double* point, double*) { return triangleDistance(field.bvh(), t, point); },
        p.begin(), distance);
    return distance;
}

double bruteForceDistance(const MeshWindingField& field, const Point& p)
{
    double least = kLargest;
    for (std::int32_t t = 0; t < field.triangleCount(); ++t) {
        const double d = triangleDistance(field.bvh(), t, p.begin());
        least = d < least ? d : least;
    }
    return least;
}

double exactWinding(const MeshWindingField& field, const Point& p)
{
    double sum = 0;
    for (std::int32_t t = 0; t < field.triangleCount(); ++t) {
        const auto& tree = field.bvh();
        sum += triangleSolidAngle(tree.vertexOf(t, 0), tree.vertexOf(t, 1), tree.vertexOf(t, 2), p.begin());
    }
    return sum / (4 * std::numbers::pi);
}

struct NamedMesh {
    std::string name;
    GeneratedMesh mesh;
};

/// Triangles anywhere, of sizes from 1 down to 1e-4.
GeneratedMesh soup(int count, unsigned seed)
{
    GeneratedMesh mesh;
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> unit(0, 1);
    for (int i = 0; i < count; ++i) {
        const double size = std::pow(10.0, -4 * unit(random));
        const Point at{5 * unit(random), 5 * unit(random), 5 * unit(random)};
        std::int32_t corners[3];
        for (std::int32_t& corner : corners) {
            corner = mesh.addVertex(at + size * Point{unit(random), unit(random), unit(random)});
        }
        mesh.addTriangle(corners[0], corners[1], corners[2]);
    }
    return mesh;
}

std::vector<NamedMesh> meshes()
{
    std::vector<NamedMesh> all{
        {"cube", cube(1, 2)},    {"one triangle", soup(1, 3)}, {"three triangles", soup(3, 4)},
        {"soup", soup(2000, 5)}, {"sphere", icosphere(12)},    {"knot", torusKnot(200, 16)}};
    GeneratedMesh open = torusKnot(100, 12);
    open.indices.resize(open.indices.size() / 2 / 3 * 3);
    all.push_back({"open tube", open});

    GeneratedMesh fins = icosphere(6); // edges of three and four triangles
    for (std::int32_t k = 0; k < 40; ++k) {
        fins.addTriangle(k, k + 1, 7 * k + 3);
    }
    all.push_back({"not a manifold", fins});

    GeneratedMesh doubled = icosphere(8);
    const std::vector<std::int32_t> once = doubled.indices;
    doubled.indices.insert(doubled.indices.end(), once.begin(), once.end());
    all.push_back({"every triangle twice", doubled});

    GeneratedMesh flat = soup(500, 7);
    for (std::size_t i = 2; i < flat.vertices.size(); i += 3) {
        flat.vertices[i] = 1.25;
    }
    all.push_back({"flat", flat});

    GeneratedMesh slivers = soup(300, 8);
    for (std::size_t i = 0; i < slivers.indices.size(); i += 3) {
        // A corner on the opposite edge, or near it, or two corners in one.
        const Point a = slivers.corner(i / 3, 0);
        const Point b = slivers.corner(i / 3, 1);
        const Point c = i % 9 == 0 ? b : a + (0.25 * (b - a)) + Point{i % 9 == 3 ? 1e-9 : 0.0, 0.0, 0.0};
        std::copy_n(c.begin(), 3, &slivers.vertices[3 * static_cast<std::size_t>(slivers.indices[i + 2])]);
    }
    all.push_back({"slivers", slivers});

    GeneratedMesh gnats = soup(300, 9); // too small for the formula's cut-off
    for (double& coordinate : gnats.vertices) {
        coordinate *= 1e-7;
    }
    all.push_back({"tiny", gnats});

    GeneratedMesh far = torusKnot(60, 8);
    for (double& coordinate : far.vertices) {
        coordinate = 3e6 + 1e3 * coordinate;
    }
    all.push_back({"far from the origin", far});

    GeneratedMesh creases = icosphere(6); // with triangles of no area in a closed mesh
    creases.addTriangle(0, 1, 1);
    creases.addTriangle(5, 5, 5);
    all.push_back({"with points and edges", creases});
    return all;
}

/// Points all over, near triangles at all scales, on vertices and edges, and far away.
std::vector<Point> pointsAround(const GeneratedMesh& mesh, int count, unsigned seed)
{
    Point low = mesh.corner(0, 0);
    Point high = low;
    for (std::size_t i = 0; i < mesh.vertices.size(); ++i) {
        low[i % 3] = std::min(low[i % 3], mesh.vertices[i]);
        high[i % 3] = std::max(high[i % 3], mesh.vertices[i]);
    }
    const double size = length(high - low);
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> unit(0, 1);
    std::normal_distribution<double> gauss;
    std::vector<Point> points;
    for (int i = 0; i < count; ++i) {
        const std::size_t t = random() % mesh.triangleCount();
        const double u = i % 7 == 0 ? 0 : unit(random);
        const double v = i % 14 == 0 ? 0 : (1 - u) * unit(random);
        const double away = size * (i % 5 == 0   ? 0
                                    : i % 5 == 1 ? 0.5
                                    : i % 5 == 2 ? 10 * unit(random)
                                                 : std::pow(10.0, -7 * unit(random)));
        points.push_back((1 - u - v) * mesh.corner(t, 0) + u * mesh.corner(t, 1) + v * mesh.corner(t, 2) +
                         away * Point{gauss(random), gauss(random), gauss(random)});
    }
    points.push_back(low + 100.0 * (high - low));
    return points;
}

// Fails for a margin that is too small, a triangle lost from the tree, a wrong bound of a cylinder or a
// hint that changes a result.
TEST(MeshDistance, IsThatOfTheExactSearchBitForBit)
{
    for (const auto& [name, mesh] : meshes()) {
        SCOPED_TRACE(name);
        const MeshWindingField field(mesh.vertices, mesh.indices);
        MeshWindingField::Trail trail;
        for (const Point& p : pointsAround(mesh, 1500, 11)) {
            const double literal = literalDistance(field, p);
            ASSERT_EQ(field.meshDistance(p), literal) << p[0] << " " << p[1] << " " << p[2];
            ASSERT_EQ(std::abs(field.signedDistance(p, trail)), literal);
        }
    }
}

/// Triangles that lie on each other but for a few last places, far from the origin. Just above them, rounding
/// makes some of them nearer than their own boxes.
GeneratedMesh stackOfTriangles(std::mt19937& random)
{
    std::uniform_real_distribution<double> unit(-1, 1);
    const double far = std::pow(10.0, random() % 6);
    Point corners[3];
    for (Point& corner : corners) {
        corner = {far + unit(random), far + unit(random), far};
    }
    GeneratedMesh mesh;
    for (int i = 0; i < 8; ++i) {
        std::int32_t triangle[3];
        for (int k = 0; k < 3; ++k) {
            Point p = corners[k];
            for (double& x : p) {
                for (unsigned places = random() % 6; places > 0; --places) {
                    x = std::nextafter(x, random() % 2 == 0 ? kLargest : -kLargest);
                }
            }
            triangle[k] = mesh.addVertex(p);
        }
        mesh.addTriangle(triangle[0], triangle[1], triangle[2]);
    }
    return mesh;
}

// There the exact search ends before it has seen the nearest triangle, and so must a faster one.
TEST(MeshDistance, IsThatOfTheExactSearchAlsoWhereThatMissesTheNearest)
{
    std::mt19937 random(17);
    std::uniform_real_distribution<double> unit(0, 1);
    int missed = 0;
    for (int round = 0; round < 60; ++round) {
        const GeneratedMesh mesh = stackOfTriangles(random);
        const MeshWindingField field(mesh.vertices, mesh.indices);
        MeshWindingField::Trail trail;
        for (int i = 0; i < 200; ++i) {
            const double s = unit(random);
            const double t = (1 - s) * unit(random);
            Point p = pointAt(&mesh.vertices[0]) * s + pointAt(&mesh.vertices[3]) * t +
                      pointAt(&mesh.vertices[6]) * (1 - s - t);
            p[2] += std::pow(10.0, -9.0 - static_cast<double>(random() % 6)) * p[2] * unit(random);
            const double literal = literalDistance(field, p);
            missed += literal != bruteForceDistance(field, p);
            ASSERT_EQ(field.meshDistance(p), literal);
            ASSERT_EQ(field.meshDistance(p, trail), literal);
        }
    }
    EXPECT_GT(missed, 20);
}

TEST(MeshDistance, IsTheSmallestOfAllTriangles)
{
    for (const auto& [name, mesh] : meshes()) {
        SCOPED_TRACE(name);
        const MeshWindingField field(mesh.vertices, mesh.indices);
        for (const Point& p : pointsAround(mesh, 100, 13)) {
            const double brute = bruteForceDistance(field, p);
            // Where rounding lets a box seem farther than its triangle, the search may take a neighbour.
            ASSERT_NEAR(field.meshDistance(p), brute, 1e-15 * (1 + brute));
        }
    }
}

TEST(MeshDistance, IsTheLargestDoubleWhereThereIsNone)
{
    const GeneratedMesh mesh = torusKnot(60, 8);
    const MeshWindingField field(mesh.vertices, mesh.indices);
    for (const double odd : {double(NAN), HUGE_VAL, -HUGE_VAL, 1e200}) {
        const Point p{1, odd, 1};
        EXPECT_EQ(field.signedDistance(p), kLargest);
        EXPECT_EQ(literalDistance(field, p), kLargest);
    }
    // An axis without extent that was stretched.
    std::vector<double> vertices = mesh.vertices;
    for (std::size_t i = 1; i < vertices.size(); i += 3) {
        vertices[i] = NAN;
    }
    const MeshWindingField lost(vertices, mesh.indices);
    EXPECT_EQ(lost.signedDistance(Point{1, 1, 1}), kLargest);
    EXPECT_EQ(literalDistance(lost, {1, 1, 1}), kLargest);

    EXPECT_THROW(MeshWindingField(vertices, {}), std::invalid_argument);
}

// Which no triangle then guesses a way into; found by the fuzz target.
TEST(MeshDistance, IsThatOfTheSearchWithCornersThatAreNoNumbers)
{
    const std::vector<double> vertices{0, NAN, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 0, 1, 1};
    const MeshWindingField field(vertices, {0, 1, 2, 2, 3, 4, 4, 4, 4});
    for (const Point& p : {Point{0, 0, 0}, Point{0.5, 0.5, 0.5}, Point{1, 1, 1}, Point{-3, -3, -3}}) {
        EXPECT_EQ(field.meshDistance(p), literalDistance(field, p));
    }
}

// Of coordinates whose squares are beyond every double; found by the fuzz target.
TEST(MeshDistance, IsThatOfTheSearchOnMeshesOfAnySize)
{
    for (const auto& [scale, shift] :
         {std::pair(1e200, 0.0), std::pair(1e-200, 0.0), std::pair(1.0, 1e200)}) {
        GeneratedMesh mesh = icosphere(2);
        for (double& coordinate : mesh.vertices) {
            coordinate = coordinate * scale + shift;
        }
        const MeshWindingField field(mesh.vertices, mesh.indices);
        for (const Point& p : {mesh.corner(0, 0), mesh.corner(5, 1), Point{0, 0, 0}, Point{1, 2, 3}}) {
            EXPECT_EQ(field.meshDistance(p), literalDistance(field, p)) << scale << ", " << shift;
            EXPECT_EQ(field.meshDistance(Point{0, 0, NAN}), kLargest);
        }
    }
}

double sizeOf(const MeshWindingField& field)
{
    const auto& box = field.bvh().bounds;
    return length(box.size());
}

TEST(MeshSign, IsThatOfTheWindingNumber)
{
    int insideCount = 0;
    for (const auto& [name, mesh] : meshes()) {
        SCOPED_TRACE(name);
        const MeshWindingField field(mesh.vertices, mesh.indices);
        for (const Point& p : pointsAround(mesh, 1500, 17)) {
            const double d = field.signedDistance(p);
            if (std::abs(d) > 1e-6 * sizeOf(field)) {
                ASSERT_EQ(std::signbit(d), field.windingNumber(p) > 0.5)
                    << p[0] << " " << p[1] << " " << p[2];
                insideCount += d < 0;
            }
        }
    }
    EXPECT_GT(insideCount, 1000);
}

/// Closed meshes whose surfaces meet, nest or overlap.
std::vector<NamedMesh> layeredMeshes()
{
    const auto joined = [](const std::vector<GeneratedMesh>& parts) {
        GeneratedMesh all;
        for (const GeneratedMesh& part : parts) {
            const auto first = static_cast<std::int32_t>(all.vertices.size() / 3);
            all.vertices.insert(all.vertices.end(), part.vertices.begin(), part.vertices.end());
            for (const std::int32_t index : part.indices) {
                all.indices.push_back(first + index);
            }
        }
        return all;
    };
    GeneratedMesh hollow = cube(0.5, 1.5);
    for (std::size_t t = 0; t < hollow.triangleCount(); ++t) {
        std::swap(hollow.indices[3 * t], hollow.indices[3 * t + 1]);
    }
    return {{"knot", torusKnot(120, 12)},
            {"sphere", icosphere(8)},
            {"one in another", joined({cube(0, 2), cube(0.5, 1.5)})},
            {"hollow", joined({cube(0, 2), hollow})},
            {"overlapping", joined({cube(0, 2), cube(1, 3), icosphere(6)})},
            {"thin wall", joined({cube(0, 2), cube(2.0001, 3)})},
            {"the same twice", joined({icosphere(6), icosphere(6)})}};
}

// Fails for a ball beside the surface that reaches through a wall, and for a cell of the table of sides that
// does.
TEST(MeshSign, NearTheSurfaceIsThatOfTheWindingNumber)
{
    std::mt19937 random(31);
    std::uniform_real_distribution<double> unit(0, 1);
    std::normal_distribution<double> gauss;
    for (const auto& [name, mesh] : layeredMeshes()) {
        SCOPED_TRACE(name);
        const MeshWindingField field(mesh.vertices, mesh.indices);
        ASSERT_TRUE(field.isClosed());
        MeshWindingField::Trail trail;
        for (int i = 0; i < 4000; ++i) {
            const std::size_t t = random() % mesh.triangleCount();
            const double u = i % 5 == 0 ? 0 : unit(random);
            const double v = i % 7 == 0 ? 0 : (1 - u) * unit(random);
            Point p = (1 - u - v) * mesh.corner(t, 0) + u * mesh.corner(t, 1) + v * mesh.corner(t, 2);
            const double away = sizeOf(field) * std::pow(10.0, -11 * unit(random));
            p = p + away * normalized(Point{gauss(random), gauss(random), gauss(random)});
            const double d = field.signedDistance(p);
            if (std::abs(d) > 1e-11 * sizeOf(field)) {
                ASSERT_EQ(std::signbit(d), field.windingNumber(p) > 0.5) << d << " at " << away;
                ASSERT_EQ(field.signedDistance(p, trail), d);
            }
        }
    }
}

// Fails for a half diagonal that is too short, and for an open mesh that is taken for a closed one.
TEST(MeshBounds, HoldEveryValueInTheBox)
{
    std::mt19937 random(37);
    std::uniform_real_distribution<double> unit(0, 1);
    auto all = meshes();
    for (const NamedMesh& layered : layeredMeshes()) {
        all.push_back(layered);
    }
    int narrow = 0;
    for (const auto& [name, mesh] : all) {
        MeshWindingField field(mesh.vertices, mesh.indices);
        for (const std::int32_t mode : {0, 1, 2}) {
            SCOPED_TRACE(name + ", mode " + std::to_string(mode));
            field.mode = mode;
            MeshWindingField::Trail trail;
            for (const Point& center : pointsAround(mesh, 40, 41)) {
                const double half = sizeOf(field) * std::pow(10.0, -8 * unit(random));
                const CentredBox box{center, half * std::sqrt(3.0) * (1 + 1e-15)};
                const Interval<double> bounds = field.bounds(box, trail);
                for (int i = 0; i < 20; ++i) {
                    Point p = center;
                    for (double& x : p) {
                        x +=
                            half * (i < 4 ? static_cast<double>(random() % 2) * 2 - 1 : 2 * unit(random) - 1);
                    }
                    const double value = field.value(p);
                    ASSERT_TRUE(bounds.contains(value))
                        << value << " in [" << bounds.lower << ", " << bounds.upper << "]";
                }
                narrow += mode == 1 && bounds.upper - bounds.lower < 4 * half;
            }
        }
    }
    EXPECT_GT(narrow, 200);
}

// Along lines the sign is handed from sample to sample.
TEST(MeshSign, IsTheSameForOnePointAndForManyInARow)
{
    for (const auto& [name, mesh] : meshes()) {
        SCOPED_TRACE(name);
        const MeshWindingField field(mesh.vertices, mesh.indices);
        const std::vector<Point> ends = pointsAround(mesh, 80, 19);
        for (std::size_t i = 0; i + 1 < ends.size(); ++i) {
            MeshWindingField::Trail trail;
            for (int k = 0; k < 40; ++k) {
                const Point p = ends[i] + (k / 40.0) * (ends[i + 1] - ends[i]);
                const double along = field.signedDistance(p, trail);
                ASSERT_EQ(along, field.signedDistance(p)) << p[0] << " " << p[1] << " " << p[2];
            }
        }
    }
}

TEST(MeshSign, OfACubeAndOfOneInsideOut)
{
    GeneratedMesh mesh = cube(0, 2);
    const MeshWindingField field(mesh.vertices, mesh.indices);
    EXPECT_EQ(field.signedDistance(Point{1, 1, 1}), -1);
    EXPECT_NEAR(field.windingNumber(Point{1, 1, 1}), 1, 1e-12);
    EXPECT_EQ(field.signedDistance(Point{1, 1, 4}), 2);
    EXPECT_EQ(field.signedDistance(Point{2, 2, 2}), 0);
    EXPECT_TRUE(field.isClosed());
    for (std::size_t t = 0; t < mesh.triangleCount(); ++t) {
        std::swap(mesh.indices[3 * t], mesh.indices[3 * t + 1]);
    }
    const MeshWindingField reversed(mesh.vertices, mesh.indices);
    EXPECT_EQ(reversed.signedDistance(Point{1, 1, 1}), 1);
    EXPECT_NEAR(reversed.windingNumber(Point{1, 1, 1}), -1, 1e-12);
}

// Seen from a triangle without area the angle that it fills is nothing but rounding.
TEST(MeshSign, IsntThatOfTrianglesWithoutArea)
{
    for (int copies = 1; copies <= 4; ++copies) {
        GeneratedMesh mesh = cube(0, 2);
        const auto far = static_cast<std::int32_t>(mesh.vertices.size() / 3);
        mesh.vertices.insert(mesh.vertices.end(), {5, 5, 5});
        std::int32_t corner = 0;
        while (mesh.vertices[3 * corner] + mesh.vertices[3 * corner + 1] + mesh.vertices[3 * corner + 2] <
               6) {
            ++corner;
        }
        for (int i = 0; i < copies; ++i) {
            mesh.indices.insert(mesh.indices.end(), {corner, far, far});
        }
        const MeshWindingField field(mesh.vertices, mesh.indices);
        for (double x = 2.125; x < 5; x += 0.125) {
            EXPECT_GE(field.signedDistance(Point{x, x, x}), 0) << copies << " copies, " << x;
        }
        EXPECT_EQ(field.signedDistance(Point{1, 1, 1}), -1);
    }
}

TEST(MeshSign, KnowsClosedMeshes)
{
    const GeneratedMesh closed = torusKnot(30, 6);
    const auto isClosed = [&](std::vector<std::int32_t> indices) {
        return MeshWindingField(closed.vertices, std::move(indices)).isClosed();
    };
    EXPECT_TRUE(isClosed(closed.indices));
    std::vector<std::int32_t> open(closed.indices.begin(), closed.indices.end() - 3);
    EXPECT_FALSE(isClosed(open));
    std::vector<std::int32_t> turned = closed.indices;
    std::swap(turned[0], turned[1]);
    EXPECT_FALSE(isClosed(turned));
    std::vector<std::int32_t> creased = closed.indices;
    creased.insert(creased.end(), {3, 4, 4});
    EXPECT_TRUE(isClosed(creased)) << "an edge there and back bounds nothing";
    std::vector<std::int32_t> doubled = closed.indices;
    doubled.insert(doubled.end(), closed.indices.begin(), closed.indices.end());
    EXPECT_TRUE(isClosed(doubled));
    doubled.insert(doubled.end(), {0, 1, 2, 0, 1, 2, 0, 1, 2});
    EXPECT_FALSE(isClosed(doubled));
}

/// The record of a node by sums over its list, with the radius by a look at every vertex.
WindingMoments momentsOf(const BVH<double, 3, 3>& tree, std::span<const std::int32_t> triangles)
{
    WindingMoments sum;
    std::vector<Point> centers;
    std::vector<Point> vectors;
    for (const std::int32_t t : triangles) {
        const Point a = pointAt(tree.vertexOf(t, 0));
        const Point b = pointAt(tree.vertexOf(t, 1));
        const Point c = pointAt(tree.vertexOf(t, 2));
        centers.push_back((a + b + c) * (1.0 / 3.0));
        vectors.push_back(0.5 * cross(b - a, c - a));
        sum.area += length(vectors.back());
        sum.center = sum.center + length(vectors.back()) * centers.back();
    }
    sum.center = sum.center * (1 / sum.area);
    for (std::size_t k = 0; k < centers.size(); ++k) {
        sum.moment0 = sum.moment0 + vectors[k];
        for (std::size_t i = 0; i < 3; ++i) {
            for (std::size_t j = 0; j < 3; ++j) {
                sum.moment1[i][j] += (centers[k] - sum.center)[i] * vectors[k][j];
            }
        }
        for (int v = 0; v < 3; ++v) {
            sum.radius = std::max(sum.radius, length(pointAt(tree.vertexOf(triangles[k], v)) - sum.center));
        }
    }
    return sum;
}

void expectNear(const WindingMoments& found, const WindingMoments& expected)
{
    ASSERT_NEAR(found.area, expected.area, 1e-12);
    ASSERT_NEAR(found.radius, expected.radius, 1e-13);
    for (std::size_t i = 0; i < 3; ++i) {
        ASSERT_NEAR(found.center[i], expected.center[i], 1e-13);
        ASSERT_NEAR(found.moment0[i], expected.moment0[i], 1e-12);
        for (std::size_t j = 0; j < 3; ++j) {
            ASSERT_NEAR(found.moment1[i][j], expected.moment1[i][j], 1e-11);
        }
    }
}

TEST(WindingNumber, HasTheMomentsOfAllNodes)
{
    const MeshWindingField field(soup(700, 23).vertices, soup(700, 23).indices);
    const auto& tree = field.bvh();
    const std::int32_t innerCount = tree.primitiveCount - 1;
    for (std::int32_t n = 0; n < innerCount; ++n) {
        SCOPED_TRACE(n);
        const WindingMoments found = field.moments(n);
        expectNear(found, momentsOf(tree, tree.nodes[static_cast<std::size_t>(n)].primitives));
        ASSERT_FALSE(found.isLeaf);
    }
    for (std::int32_t t = 0; t < tree.primitiveCount; ++t) {
        SCOPED_TRACE(t);
        const WindingMoments found = field.moments(innerCount + t);
        const WindingMoments expected = momentsOf(tree, {&t, 1});
        ASSERT_TRUE(found.isLeaf);
        ASSERT_NEAR(found.area, expected.area, 1e-13);
        ASSERT_NEAR(length(found.center - expected.center), 0, 1e-13);
        ASSERT_NEAR(length(found.area * found.normal - expected.moment0), 0, 1e-13);
        ASSERT_NEAR(length(found.normal), 1, 1e-13);
    }
}

/// The winding number by a walk over literal records, whose far groups are replaced by an expansion.
double literalWinding(const MeshWindingField& field, const Point& p, int order, double beta,
                      std::int32_t node = 0)
{
    const auto& tree = field.bvh();
    const auto& [triangles, box, left, right, parent, isLeaf] = tree.nodes[static_cast<std::size_t>(node)];
    if (isLeaf || triangles.size() < 4) {
        double sum = 0;
        for (const std::int32_t t : triangles) {
            sum +=
                triangleSolidAngle(tree.vertexOf(t, 0), tree.vertexOf(t, 1), tree.vertexOf(t, 2), p.begin());
        }
        return sum / (4 * std::numbers::pi);
    }
    const WindingMoments group = momentsOf(tree, triangles);
    const Point r = group.center - p;
    const double distance = length(r);
    if (!(distance > beta * group.radius)) {
        return literalWinding(field, p, order, beta, left) + literalWinding(field, p, order, beta, right);
    }
    const double c = 1 / (4 * std::numbers::pi * distance * distance * distance);
    double sum = c * dot(r, group.moment0);
    for (std::size_t i = 0; i < 3 && order > 0; ++i) {
        for (std::size_t j = 0; j < 3; ++j) {
            sum += c * ((i == j) - 3 * r[i] * r[j] / (distance * distance)) * group.moment1[i][j];
        }
    }
    return sum;
}

TEST(WindingNumber, IsThatOfItsOrderAndAccuracy)
{
    double error[3] = {};
    for (const GeneratedMesh& mesh : {cube(1, 2), soup(40, 41), icosphere(3), torusKnot(24, 6)}) {
        MeshWindingField field(mesh.vertices, mesh.indices);
        for (const double beta : {0.5, 1.0, 2.0, 3.5}) {
            field.beta = beta;
            for (const int order : {0, 1, 2}) {
                SCOPED_TRACE(::testing::Message()
                             << mesh.triangleCount() << " triangles, beta " << beta << ", order " << order);
                field.order = order;
                for (const Point& p : pointsAround(mesh, 60, 37)) {
                    const double found = field.windingNumber(p);
                    ASSERT_NEAR(found, literalWinding(field, p, order, beta), 1e-12);
                    const double d = field.signedDistance(p);
                    if (std::abs(d) > 1e-6 * sizeOf(field)) {
                        // The sign is that of this very number, however coarse it is.
                        ASSERT_EQ(std::signbit(d), found > 0.5);
                        error[order] += beta >= 2 ? std::abs(found - exactWinding(field, p)) : 0.0;
                    }
                }
            }
        }
    }
    EXPECT_LT(error[1], 0.5 * error[0]);
    EXPECT_EQ(error[2], error[1]);
}

TEST(MeshWindingField, GivesWhatItsModeAsksFor)
{
    const GeneratedMesh mesh = torusKnot(60, 8);
    MeshWindingField field(mesh.vertices, mesh.indices);
    ASSERT_EQ(field.mode, 1);
    ASSERT_EQ(field.order, 1);
    ASSERT_EQ(field.beta, 2.0);
    std::vector<Point> points = pointsAround(mesh, 500, 43);
    points.push_back({NAN, 0, 0});
    points.push_back({0, HUGE_VAL, 0});
    int insideCount = 0;
    for (const int mode : {0, 1, 2}) {
        SCOPED_TRACE(mode);
        field.mode = mode;
        MeshWindingField::Trail trail;
        for (const Point& p : points) {
            const double magnitude = mode == 0 ? 1.0 : bruteForceDistance(field, p);
            const bool isInside = mode < 2 && exactWinding(field, p) > 0.5;
            const double value = field.value(p);
            ASSERT_NEAR(std::abs(value), magnitude, 1e-14 * magnitude);
            if (field.meshDistance(p) > 1e-6 * sizeOf(field)) {
                ASSERT_EQ(std::signbit(value), isInside);
                insideCount += isInside;
            }
            ASSERT_EQ(field.value(p, trail), value);
        }
    }
    EXPECT_GT(insideCount, 100);
}

// The expansions err by the second order; with a higher accuracy less. A wrong sign or term of the first
// order doesn't get smaller in the same way.
TEST(WindingNumber, ConvergesToTheSumOfSolidAngles)
{
    const GeneratedMesh mesh = torusKnot(200, 16);
    const MeshWindingField field(mesh.vertices, mesh.indices);
    BVH<double, 3, 3> tree(mesh.vertices.data(), static_cast<std::int32_t>(mesh.vertices.size()),
                           mesh.indices.data(), static_cast<std::int32_t>(mesh.indices.size()));
    tree.buildHierarchy();
    const MeshMoments moments(tree);
    double worst[2] = {0, 0};
    for (const Point& p : pointsAround(mesh, 400, 29)) {
        const double exact = exactWinding(field, p);
        worst[0] = std::max(worst[0], std::abs(windingNumber(tree, moments, p, 1, 2.0) - exact));
        worst[1] = std::max(worst[1], std::abs(windingNumber(tree, moments, p, 1, 8.0) - exact));
    }
    EXPECT_LT(worst[0], 0.1);
    EXPECT_LT(worst[1], worst[0] / 10);
}

TEST(WindingNumber, IsEstimatedWithinAFewHundredths)
{
    for (const auto& [name, mesh] : meshes()) {
        // Sums of hundreds of scattered contributions, whose errors add up, and points that only seem to lie
        // away from the surface.
        if (name == "slivers" || name == "soup" || name == "tiny") {
            continue;
        }
        SCOPED_TRACE(name);
        const MeshWindingField field(mesh.vertices, mesh.indices);
        const LocalFrame frame(field.bvh().bounds);
        const TriangleBlocks blocks(field.bvh(), frame);
        const WindingEstimate estimate(blocks);
        for (const Point& p : pointsAround(mesh, 300, 31)) {
            const Tensor<3, float> local = frame.toLocal(p);
            if (!LocalFrame::isOutOfReach(local) && field.meshDistance(p) > 1e-3 * sizeOf(field)) {
                const WindingEstimate::Estimate found = estimate.at(local);
                ASSERT_NEAR(found.value, exactWinding(field, p), 0.05) << p[0] << " " << p[1] << " " << p[2];
                ASSERT_GE(found.total + 1e-5f, std::abs(found.value));
            }
        }
    }
}

TEST(MeshWindingField, TakesAtMost300BytesATriangle)
{
    for (const GeneratedMesh& mesh : {icosphere(32), torusKnot(400, 25)}) {
        const MeshWindingField field(mesh.vertices, mesh.indices);
        EXPECT_LE(static_cast<double>(field.bytes()) / field.triangleCount(), 300.0);
    }
}

} // namespace
} // namespace zrk
