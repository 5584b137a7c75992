#include "core/surface/surface.h"

#include "core/engine/formula.h"
#include "core/engine/progress.h"
#include "core/surface/cell_patches.h"
#include "core/surface/quality.h"
#include "core/surface/surface_grid.h"
#include "core/surface/thinning.h"
#include "core/values/batch.h"
#include "testing/ball_union.h"
#include "testing/literal_engine.h"
#include "testing/picture_fields.h"
#include "testing/sanitized.h"
#include "testing/special_values.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <numbers>
#include <random>
#include <string>
#include <type_traits>
#include <utility>

namespace zrk {
namespace {

using picture::prepared;
using picture::unbounded;
using zrk::testing::kNaN;

struct Sphere {
    Tensor<3, double> center;
    double radius;

    template <class V>
    V operator()(const Tensor<3, V>& p) const
    {
        const V x = p[0] - center[0];
        const V y = p[1] - center[1];
        const V z = p[2] - center[2];
        return sqrt(x * x + y * y + z * z) - radius;
    }
};

struct BoxDistance {
    Tensor<3, double> half;

    template <class V>
    V operator()(const Tensor<3, V>& p) const
    {
        const V x = abs(p[0]) - half[0];
        const V y = abs(p[1]) - half[1];
        const V z = abs(p[2]) - half[2];
        const V out[3] = {maximum(x, V(0.0)), maximum(y, V(0.0)), maximum(z, V(0.0))};
        return sqrt(out[0] * out[0] + out[1] * out[1] + out[2] * out[2]) +
               minimum(maximum(x, maximum(y, z)), V(0.0));
    }
};

/// Waves across each other, with all kinds of cells when they are as short as a few cells.
struct Waves {
    double f;
    double phase;

    template <class V>
    V operator()(const Tensor<3, V>& p) const
    {
        const V a = sin(p[0] * (f * 1.3) + p[1] * (f * 2.1) + phase);
        const V b = sin(p[1] * (f * 1.7) - p[2] * (f * 1.9) + phase * 2.0);
        const V c = sin(p[2] * (f * 2.3) + p[0] * f + phase * 3.0);
        const V d = sin(p[0] * (f * 3.1) - p[1] * (f * 2.7) + p[2] * (f * 1.1));
        return a * b + c * d + a * c * 0.5 - 0.1;
    }
};

struct Torus {
    template <class V>
    V operator()(const Tensor<3, V>& p) const
    {
        const V ring = sqrt(p[0] * p[0] + p[1] * p[1]) - 0.7;
        return sqrt(ring * ring + p[2] * p[2]) - 0.25;
    }
};

/// A blade of 30 degrees.
struct Blade {
    template <class V>
    V operator()(const Tensor<3, V>& p) const
    {
        const V along = p[0] * 0.28 + p[1] * 0.36;
        const V across = p[2] * 0.93 - p[0] * 0.15;
        return maximum(along + across * 3.7, along - across * 3.7) * 0.26;
    }
};

/// A sphere whose bounds are those of one beside it.
struct WronglyBounded {
    template <class V>
    V operator()(const Tensor<3, V>& p) const
    {
        constexpr bool isSample = std::is_same_v<V, double> || std::is_same_v<V, Batch>;
        return Sphere{{isSample ? 0.1 : -0.2, -0.2, 0.05}, 0.7}(p);
    }
};

/// Two spheres, the second with bounds that are those of what is left of it on one side of a plane.
struct WronglyCut {
    Sphere whole;
    Sphere cut;
    double at;   ///< x
    double side; ///< 1 for what lies below it, -1 for what lies above

    template <class V>
    V operator()(const Tensor<3, V>& p) const
    {
        if constexpr (std::is_same_v<V, double> || std::is_same_v<V, Batch>) {
            return minimum(whole(p), cut(p));
        } else {
            return minimum(whole(p), maximum(cut(p), (p[0] - at) * side));
        }
    }
};

/// A sphere that counts the samples it is asked for.
struct CountedSphere {
    static inline std::size_t samples = 0;

    template <class V>
    V operator()(const Tensor<3, V>& p) const
    {
        if constexpr (std::is_same_v<V, double>) {
            ++samples;
        }
        return Sphere{{0.01, 0.02, 0.03}, 0.7}(p);
    }
};

struct Octahedron {
    double size;

    template <class V>
    V operator()(const Tensor<3, V>& p) const
    {
        return abs(p[0]) + abs(p[1]) + abs(p[2]) - size;
    }
};

/// A density that is 1 at half a unit from the origin and falls from there with slope 1.
struct Density {
    template <class V>
    V operator()(const Tensor<3, V>& p) const
    {
        return 1.0 - Sphere{{}, 0.5}(p);
    }
};

/// NaN where x is larger.
struct Holed {
    template <class V>
    V operator()(const Tensor<3, V>& p) const
    {
        return select(p[0] > 0.21, V(kNaN), Sphere{{}, 0.8}(p));
    }
};

SurfaceSettings cube(double half, std::int32_t cells)
{
    SurfaceSettings settings;
    settings.lower = {-half, -half, -half};
    settings.upper = {half, half, half};
    settings.cells = {cells, cells, cells};
    settings.threads = 1;
    return settings;
}

bool isSame(const SurfaceMesh& a, const SurfaceMesh& b)
{
    return a.vertices == b.vertices && a.triangles == b.triangles;
}

/// Nothing wrong but, where it is to be open, open edges.
void expectSound(const SurfaceMesh& mesh)
{
    const MeshReport report = reportOn(mesh);
    EXPECT_EQ(report.overusedEdges, 0u);
    EXPECT_EQ(report.turnedEdges, 0u);
    EXPECT_EQ(report.pinchedVertices, 0u);
    EXPECT_EQ(report.degenerateTriangles, 0u);
    EXPECT_EQ(report.selfIntersections, 0u);
}

void expectClean(const SurfaceMesh& mesh)
{
    expectSound(mesh);
    EXPECT_EQ(reportOn(mesh).openEdges, 0u);
}

/// The largest distance of an open edge's end from the bounds.
double openEdgeOffBounds(const SurfaceMesh& mesh, const SurfaceSettings& settings)
{
    std::map<std::pair<std::uint32_t, std::uint32_t>, int> uses;
    for (const auto& t : mesh.triangles) {
        for (std::size_t k = 0; k < 3; ++k) {
            ++uses[std::minmax(t[k], t[(k + 1) % 3])];
        }
    }
    double largest = 0;
    for (const auto& [edge, count] : uses) {
        for (const std::uint32_t v : {edge.first, edge.second}) {
            double nearest = HUGE_VAL;
            for (std::size_t axis = 0; axis < 3; ++axis) {
                nearest = std::min({nearest, std::abs(mesh.vertices[v][axis] - settings.lower[axis]),
                                    std::abs(mesh.vertices[v][axis] - settings.upper[axis])});
            }
            largest = count == 1 ? std::max(largest, nearest) : largest;
        }
    }
    return largest;
}

TEST(Surface, OfShapesHasTheirVolumeAreaAndGenus)
{
    constexpr double kPi = std::numbers::pi;
    struct Case {
        const char* name;
        PreparedField field;
        double volume, area, tolerance;
        std::int64_t genus;
    };
    // A smooth part is off by about the square of the cells' share of its radius, over ten.
    const Case cases[] = {
        {"sphere", prepared(Sphere{{}, 0.8}), 4 * kPi / 3 * 0.512, 4 * kPi * 0.64, 2e-3, 0},
        {"torus", prepared(Torus{}), 2 * kPi * kPi * 0.7 * 0.0625, 4 * kPi * kPi * 0.7 * 0.25, 8e-3, 1},
        {"box, sharp and off the grid", prepared(BoxDistance{{0.9, 0.7, 0.5}}), 8 * 0.315, 8 * 1.43, 1e-9, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        SurfaceSettings settings = cube(1.3, 40);
        settings.keepsCreases = true;
        const auto mesh = extractSurface(c.field, settings);
        expectClean(*mesh);
        const MeshReport report = reportOn(*mesh);
        EXPECT_EQ(report.componentCount, 1u);
        EXPECT_EQ(report.genus, c.genus);
        EXPECT_NEAR(report.volume / c.volume, 1, c.tolerance);
        EXPECT_NEAR(report.area / c.area, 1, c.tolerance);
    }
}

// Cells with several vertices, ambiguous faces, features below a cell, surfaces that leave the bounds.
TEST(Surface, IsCleanHoweverFewTheCells)
{
    for (int round = 0; round < 14; ++round) {
        const Waves waves{1.0 + 0.9 * (round % 8), 0.37 * round};
        SurfaceSettings settings = cube(1.5, 5 + 2 * (round % 7));
        settings.cells[1] += round % 4;
        settings.keepsCreases = round % 2 == 0;
        SCOPED_TRACE("round " + std::to_string(round) + ", " + std::to_string(settings.cells[0]) + " cells");
        const auto mesh = extractSurface(prepared(waves), settings);
        EXPECT_FALSE(mesh->triangles.empty());
        expectClean(*mesh);
    }
}

// Fails where a result depends on which leaves are built together, on pruning or on threads.
TEST(Surface, HasTheSameBytesForAnyThreadsAndWithoutPruning)
{
    SurfaceSettings settings = cube(1.5, 60);
    const auto alone = extractSurface(prepared(Waves{2, 0.1}), settings);
    settings.threads = 3;
    EXPECT_TRUE(isSame(*alone, *extractSurface(prepared(Waves{2, 0.1}), settings)));

    // More than a block of cells.
    settings.cells = {130, 70, 66};
    settings.flatness = 0.005;
    const auto thin = extractSurface(prepared(Waves{1, 0.1}), settings);
    settings.threads = 1;
    EXPECT_TRUE(isSame(*thin, *extractSurface(prepared(Waves{1, 0.1}), settings)));
    settings = cube(1.5, 60);

    // The batch's sine isn't the C library's, so a formula without one.
    const Sphere sphere{{0.1, -0.2, 0.05}, 0.7};
    EXPECT_TRUE(
        isSame(*extractSurface(prepared(sphere), settings), *extractSurface(unbounded(sphere), settings)));
    EXPECT_TRUE(isSame(*extractSurface(prepared(WronglyBounded{}), settings),
                       *extractSurface(unbounded(sphere), settings)))
        << "wrong bounds cost time only";

    // Within a leaf, too, of which they clear a part: leaves share samples and edges in their faces, but only
    // those that both have.
    const double cell = 3.0 / 60;
    const double middle = -1.5 + cell * 27.5;
    const double face = -1.5 + cell * (3 * 8 - 0.5);
    const Sphere none{{9, 9, 9}, 0.1};
    const auto at = [middle](double x) { return Tensor<3, double>{x, middle, middle}; };
    const WronglyCut wrong[] = {{none, {at(middle), 0.14}, middle - 0.05, 1},
                                {{at(face - 6 * cell), 0.06}, {at(face), 0.06}, face, -1},
                                {{at(face + 6 * cell), 0.06}, {at(face), 0.06}, face, 1}};
    for (const WronglyCut& field : wrong) {
        EXPECT_TRUE(
            isSame(*extractSurface(prepared(field), settings), *extractSurface(unbounded(field), settings)));
    }
}

/// The mesh of pieces of layers, each from one layer to before the next, joined by the count of vertices.
std::optional<SurfaceMesh> joined(const PreparedField& field, const SurfaceSettings& settings,
                                  const std::vector<std::int32_t>& layers)
{
    SurfaceMesh mesh;
    for (std::size_t i = 0; i + 1 < layers.size(); ++i) {
        const auto first = static_cast<std::int64_t>(mesh.vertices.size());
        const auto append = [&](const SurfacePiece& piece) {
            mesh.vertices.insert(mesh.vertices.end(), piece.vertices.begin(), piece.vertices.end());
            for (const auto& t : piece.triangles) {
                mesh.triangles.push_back({static_cast<std::uint32_t>(first + t[0]),
                                          static_cast<std::uint32_t>(first + t[1]),
                                          static_cast<std::uint32_t>(first + t[2])});
            }
            return true;
        };
        SurfaceWork work;
        if (extractSurfacePieces(field, settings, {layers[i], layers[i + 1]}, SurfacePruning::ByBounds,
                                 append, work) != SurfaceEnd::Complete) {
            return std::nullopt;
        }
    }
    return mesh;
}

// Fails where a layer begins with other vertices than the one before ended with: faces, edges or cells of the
// layers beneath left out or counted twice.
TEST(Surface, HasTheSameBytesInLayers)
{
    struct Case {
        const char* name;
        PreparedField field;
        double halfSide;
    };
    const Case cases[] = {{"features below a cell", prepared(Waves{7, 0.2}), 1.5},
                          {"a ball, cut off", prepared(Sphere{{0.1, 0, 0}, 0.9}), 0.7},
                          {"solid all over", prepared(Sphere{{}, 10}), 0.5},
                          {"layers without a surface", prepared(Sphere{{0, 0, -0.3}, 0.15}), 1},
                          {"without bounds", unbounded(Sphere{{}, 0.8}), 1}};
    for (const Case& c : cases) {
        for (const bool keepsCreases : {false, true}) {
            SCOPED_TRACE(c.name);
            SurfaceSettings settings = cube(c.halfSide, 37);
            settings.keepsCreases = keepsCreases;
            settings.cells[2] = 61; // 8 layers
            const auto whole = extractSurface(c.field, settings);
            EXPECT_FALSE(whole->triangles.empty());
            for (const auto& layers :
                 {std::vector{0, 8}, {0, 1, 8}, {0, 2, 3, 7, 8}, {0, 1, 2, 3, 4, 5, 6, 7, 8}}) {
                const auto mesh = joined(c.field, settings, layers);
                ASSERT_TRUE(mesh);
                EXPECT_TRUE(isSame(*whole, *mesh)) << layers.size() - 1 << " parts";
            }
        }
    }
    // In layers nothing can be done again without bounds, so it is told.
    EXPECT_FALSE(joined(prepared(WronglyBounded{}), cube(1.5, 60), {0, 2, 4, 6, 8}));
}

// Leaves are evaluated by what is left of the field there. Fails where that is used outside of its box, or
// where values are given to leaves in another order.
TEST(Surface, HasTheSameBytesWhateverIsLeftOut)
{
    const PreparedField chain(chains::unionOfBalls(64, 0.3));
    const PreparedField formula = prepared(chains::BallUnion{chains::manyBalls(64, 0.3)});
    for (const bool keepsCreases : {false, true}) {
        SurfaceSettings settings = cube(1.2, zrktest::isSanitized() ? 40 : 70);
        settings.keepsCreases = keepsCreases;
        settings.threads = 2;
        const auto mesh = extractSurface(chain, settings);
        EXPECT_TRUE(isSame(*mesh, *extractSurface(formula, settings)));
        EXPECT_GT(mesh->triangles.size(), zrktest::isSanitized() ? 3000u : 10000u);
        expectClean(*mesh);
    }
}

// Where creases are rounded off, the planes on both sides of one count by how much they face the mean
// normal.
TEST(Surface, StaysNearBladesThatAreRoundedOff)
{
    const SurfaceSettings settings = cube(1, 33);
    const PreparedField field = prepared(Blade{});
    const DistanceError error = *distanceError(*extractSurface(field, settings), field, settings);
    const double cell = 2.0 / 33;
    EXPECT_LT(error.vertexLargest / cell, 0.5);
    EXPECT_LT(error.vertexRms / cell, 0.055);
}

TEST(Surface, ComesNearerWithMoreCells)
{
    double before = HUGE_VAL;
    for (const std::int32_t cells : {16, 32, 64}) {
        const PreparedField field = prepared(Sphere{{}, 0.8});
        const auto mesh = extractSurface(field, cube(1, cells));
        const double cell = 2.0 / cells;
        const DistanceError error = *distanceError(*mesh, field, cube(1, cells));
        EXPECT_LT(error.vertexRms / cell, 0.3 * before) << cells << " cells: errors fall with the square";
        EXPECT_LT(error.centroidRms, error.vertexRms);
        before = error.vertexRms / cell * 2;
    }
}

/// The same surface as the sphere's.
struct SteepSphere {
    Sphere sphere;
    double slope;

    template <class V>
    V operator()(const Tensor<3, V>& p) const
    {
        return sphere(p) * slope;
    }
};

// The cut at the bounds is a distance, beside which a steep field is bent at its surface.
TEST(Surface, IsThatOfTheFieldHoweverSteepThatIs)
{
    for (const bool isCut : {false, true}) {
        const Sphere sphere{{isCut ? 0.7 : 0.0, 0, 0}, 0.8};
        const double volume = reportOn(*extractSurface(prepared(sphere), cube(1, 32))).volume;
        for (const double slope : {1e-9, 1e-3, 30.0, 1e3, 1e9, 1e150, 1e300}) {
            for (const bool isSharp : {false, true}) {
                SCOPED_TRACE(::testing::Message()
                             << slope << (isCut ? ", cut" : "") << (isSharp ? ", sharp" : ""));
                SurfaceSettings settings = cube(1, 32);
                settings.keepsCreases = isSharp;
                const PreparedField field = prepared(SteepSphere{sphere, slope});
                const auto mesh = extractSurface(field, settings);
                expectClean(*mesh);
                EXPECT_NEAR(reportOn(*mesh).volume, volume, (isCut ? isSharp ? 1e-2 : 1e-3 : 1e-4) * volume);
                const DistanceError error = *distanceError(*mesh, field, settings);
                EXPECT_LT(error.vertexRms, 0.03 * 2 / 32);
                EXPECT_GT(error.vertexRms, 0) << "all left out";
            }
        }
    }
}

/// Jumps at the sphere from one value to another.
struct JumpingSphere {
    Sphere sphere;
    double inside;
    double outside;

    template <class V>
    V operator()(const Tensor<3, V>& p) const
    {
        return select(sphere(p) < 0.0, V(inside), V(outside));
    }
};

TEST(Surface, OfAFieldThatJumpsIsAtTheJump)
{
    for (const double size : {0.1, 1.0, 10.0, 1e3, HUGE_VAL}) {
        for (const std::int32_t cells : {8, 12, 16, 24, 32}) {
            SCOPED_TRACE(::testing::Message() << size << ", " << cells << " cells");
            const auto mesh = extractSurface(prepared(JumpingSphere{{{}, 0.8}, -size, size}), cube(1, cells));
            double mean = 0;
            for (const Tensor<3, double>& v : mesh->vertices) {
                mean += (length(v) - 0.8) / static_cast<double>(mesh->vertices.size());
            }
            EXPECT_LT(std::abs(mean), 0.15 * 2 / cells);
        }
    }
}

TEST(Surface, IsCutOffAtTheBounds)
{
    SurfaceSettings settings = cube(0.5, 20);
    const auto halfBall = extractSurface(prepared(Sphere{{0.5, 0, 0}, 0.4}), settings);
    expectClean(*halfBall);
    EXPECT_NEAR(reportOn(*halfBall).volume, 2 * std::numbers::pi / 3 * 0.064, 6e-4);

    settings.keepsCreases = true;
    const auto all = extractSurface(prepared(Sphere{{}, 10}), settings);
    expectClean(*all);
    EXPECT_NEAR(reportOn(*all).volume, 1, 1e-12) << "the bounds themselves";
    EXPECT_TRUE(extractSurface(prepared(Sphere{{5, 0, 0}, 1}), settings)->triangles.empty());
}

// Rounded edges once stood out by a quarter of a cell where the cut meets the surface.
TEST(Surface, StaysWithinTheBounds)
{
    for (int round = 0; round < 20; ++round) {
        SCOPED_TRACE(round);
        SurfaceSettings settings = cube(1.5, 6 + 5 * (round % 4));
        settings.upper = {1.4, 1.3, 1.55};
        settings.keepsCreases = round % 3 == 0;
        settings.isOpen = round % 5 == 0;
        const PreparedField field = round < 4 ? prepared(Sphere{{0.9, 0.8, -0.7}, 1.1 + 0.1 * round})
                                              : prepared(Waves{0.7 + 0.3 * (round % 7), 0.41 * round});
        const auto mesh = extractSurface(field, settings);
        expectSound(*mesh);
        EXPECT_FALSE(mesh->triangles.empty());
        for (const Tensor<3, double>& vertex : mesh->vertices) {
            for (std::size_t axis = 0; axis < 3; ++axis) {
                ASSERT_GE(vertex[axis], settings.lower[axis]);
                ASSERT_LE(vertex[axis], settings.upper[axis]);
            }
        }
    }
}

// Fails where triangles of the cut stay, where others go, or where the rim leaves the bounds.
TEST(Surface, MayStayOpenAtTheBounds)
{
    constexpr double kPi = std::numbers::pi;
    struct Case {
        const char* name;
        PreparedField field;
        double area;
        std::size_t components;
    };
    const Case cases[] = {
        {"half a sphere", prepared(Sphere{{0.5, 0, 0}, 0.4}), 2 * kPi * 0.16, 1},
        {"six caps cut away", prepared(Sphere{{}, 0.6}), 4 * kPi * 0.36 - 6 * 2 * kPi * 0.6 * 0.1, 1},
        {"inside the bounds, half a cell off", prepared(Sphere{{}, 0.49}), 4 * kPi * 0.2401, 1},
        {"nothing but the cut", prepared(Sphere{{}, 10}), 0, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        SurfaceSettings settings = cube(0.5, 40);
        settings.isOpen = true;
        const auto mesh = extractSurface(c.field, settings);
        expectSound(*mesh);
        const MeshReport report = reportOn(*mesh);
        EXPECT_NEAR(report.area, c.area, 3e-3 * c.area);
        EXPECT_EQ(report.componentCount, c.components);
        EXPECT_LT(openEdgeOffBounds(*mesh, settings), 1e-3 / 40);
    }
    for (int round = 0; round < 14; ++round) {
        SCOPED_TRACE(round);
        SurfaceSettings settings = cube(1.5, 5 + 2 * (round % 7));
        settings.isOpen = true;
        settings.keepsCreases = round % 2 == 0;
        const auto mesh = extractSurface(prepared(Waves{1.0 + 0.9 * (round % 8), 0.37 * round}), settings);
        expectSound(*mesh);
        EXPECT_LT(openEdgeOffBounds(*mesh, settings), 0.501 * 3 / settings.cells[0]);
    }
}

double distanceToTriangle(const Tensor<3, double>& p, const Tensor<3, double>& a, const Tensor<3, double>& b,
                          const Tensor<3, double>& c)
{
    // The nearest point of the plane if it lies within, else of a side.
    const auto toSide = [&](const auto& from, const auto& to) {
        const auto along = to - from;
        const double share = std::clamp(dot(p - from, along) / dot(along, along), 0.0, 1.0);
        return length(p - (from + along * share));
    };
    const auto normal = cross(b - a, c - a);
    const auto isLeft = [&](const auto& from, const auto& to) {
        return dot(cross(to - from, p - from), normal) >= 0;
    };
    if (isLeft(a, b) && isLeft(b, c) && isLeft(c, a)) {
        return std::abs(dot(p - a, normal)) / length(normal);
    }
    return std::min({toSide(a, b), toSide(b, c), toSide(c, a)});
}

// Fails where errors of moves don't add up, or where creases and the rim of a cut move.
TEST(Surface, IsThinnedWithinItsFlatness)
{
    struct Case {
        const char* name;
        PreparedField field;
        double flatness; ///< of a cell
        bool isOpen;
        double timesFewer;
        double volume; ///< relative change at most
    };
    const Case cases[] = {
        {"box", prepared(BoxDistance{{0.9, 0.7, 0.5}}), 0.02, false, 200, 1e-12},
        {"sphere", prepared(Sphere{{}, 0.8}), 0.1, false, 2, 0.01},
        {"torus", prepared(Torus{}), 0.1, false, 1.3, 0.03},
        {"sphere, cut open", prepared(Sphere{{}, 1.5}), 0.1, true, 2, 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        SurfaceSettings settings = cube(1.3, 40);
        settings.keepsCreases = true;
        settings.isOpen = c.isOpen;
        const auto whole = extractSurface(c.field, settings);
        settings.flatness = c.flatness * 2.6 / 40;
        const auto thin = extractSurface(c.field, settings);
        expectSound(*thin);
        const MeshReport before = reportOn(*whole);
        const MeshReport after = reportOn(*thin);
        EXPECT_EQ(after.openEdges, before.openEdges);
        EXPECT_EQ(after.genus, before.genus);
        EXPECT_EQ(after.componentCount, before.componentCount);
        EXPECT_NEAR(after.volume / before.volume, 1, c.volume);
        EXPECT_GT(static_cast<double>(before.triangleCount),
                  c.timesFewer * static_cast<double>(after.triangleCount));
        EXPECT_GT(after.smallestAngleDegrees, 0.1);
        double furthest = 0;
        for (std::size_t v = 0; v < whole->vertices.size(); v += 7) {
            double nearest = HUGE_VAL;
            for (const auto& t : thin->triangles) {
                nearest = std::min(nearest, distanceToTriangle(whole->vertices[v], thin->vertices[t[0]],
                                                               thin->vertices[t[1]], thin->vertices[t[2]]));
            }
            furthest = std::max(furthest, nearest);
        }
        EXPECT_LE(furthest, settings.flatness);
    }
}

TEST(Surface, IsCleanWhenThinnedHoweverFewTheCells)
{
    for (int round = 0; round < 14; ++round) {
        SurfaceSettings settings = cube(1.5, 8 + 3 * (round % 7));
        settings.keepsCreases = round % 3 != 0;
        settings.isOpen = round % 4 == 3;
        settings.flatness = (round % 2 == 0 ? 0.1 : 0.5) * 3 / settings.cells[0];
        SCOPED_TRACE("round " + std::to_string(round));
        const PreparedField field = prepared(Waves{1.0 + 0.9 * (round % 8), 0.37 * round});
        const auto mesh = extractSurface(field, settings);
        settings.flatness = 0;
        expectSound(*mesh);
        EXPECT_EQ(reportOn(*mesh).openEdges, reportOn(*extractSurface(field, settings)).openEdges);
    }
}

// Fails where seams of blocks that have too many triangles to become one are left as they are.
TEST(Surface, HasNoSliversAtSeamsWhenThinned)
{
    if (zrktest::isSanitized()) {
        GTEST_SKIP() << "half a million triangles";
    }
    SurfaceSettings settings = cube(1.5, 90);
    settings.keepsCreases = true;
    settings.flatness = 0.02 * 3 / 90;
    settings.threads = 2;
    const auto mesh = extractSurface(prepared(Waves{4, 0.3}), settings);
    EXPECT_GT(mesh->triangles.size(), 262144u) << "more than a block may have";
    EXPECT_GT(reportOn(*mesh).smallestAngleDegrees, 0.1);
}

// The dent lies at a seam of the first blocks, so that it is looked at when nothing is left to do about what
// hangs into it.
TEST(Surface, IsNotThinnedThroughWhatLiesFarFromChanges)
{
    constexpr std::uint32_t kLength = 30;
    constexpr std::uint32_t kWidth = 9;
    for (const bool isHeld : {false, true}) {
        SCOPED_TRACE(isHeld);
        SurfaceMesh mesh;
        for (std::uint32_t i = 0; i < kLength * kWidth; ++i) {
            const double x = 49.0 + i % kLength;
            const double y = i / kLength;
            mesh.vertices.push_back({x, y, x == 64 && y == 4 ? -0.01 : 0});
        }
        for (std::uint32_t i = 0; i + kLength < kLength * kWidth; ++i) {
            if (i % kLength + 1 < kLength) {
                mesh.triangles.push_back({i, i + 1, i + kLength + 1});
                mesh.triangles.push_back({i, i + kLength + 1, i + kLength});
            }
        }
        const auto tip = static_cast<std::uint32_t>(mesh.vertices.size());
        if (isHeld) {
            for (const Tensor<3, double>& p : {Tensor<3, double>{64, 4, -0.005},
                                               {64.02, 4, 0.04},
                                               {63.99, 4.02, 0.04},
                                               {63.99, 3.98, 0.04}}) {
                mesh.vertices.push_back(p);
            }
            for (const auto& t : {std::array<std::uint32_t, 3>{1, 2, 3}, {0, 2, 1}, {0, 3, 2}, {0, 1, 3}}) {
                mesh.triangles.push_back({tip + t[0], tip + t[1], tip + t[2]});
            }
        }
        ASSERT_EQ(reportOn(mesh).selfIntersections, 0u);
        const surface::SurfaceGrid grid({0, -4, -4}, {128, 12, 12}, {128, 16, 16});
        surface::thinMesh(mesh, grid, 0.1, 1, [](double) { return true; });
        EXPECT_EQ(reportOn(mesh).selfIntersections, 0u);
        const auto hasDent = std::any_of(mesh.vertices.begin(), mesh.vertices.end(),
                                         [](const Tensor<3, double>& p) { return p[2] == -0.01; });
        EXPECT_EQ(hasDent, isHeld);
        EXPECT_LT(mesh.triangles.size(), 120u);
    }
}

TEST(Surface, SolidMayLieAboveTheIsoValue)
{
    SurfaceSettings settings = cube(1, 24);
    settings.iso = 0.8;
    settings.solid = SolidSide::Above;
    const auto mesh = extractSurface(prepared(Density{}), settings);
    expectClean(*mesh);
    EXPECT_NEAR(reportOn(*mesh).volume, 4 * std::numbers::pi / 3 * 0.343, 7e-3);
}

TEST(Surface, ClosesAroundNaN)
{
    const auto mesh = extractSurface(prepared(Holed{}), cube(1, 24));
    expectClean(*mesh);
    const double largest = (*std::max_element(mesh->vertices.begin(), mesh->vertices.end(),
                                              [](const auto& a, const auto& b) { return a[0] < b[0]; }))[0];
    EXPECT_NEAR(largest, 0.21, 2.0 / 24);
}

/// NaN all over.
struct Undefined {
    template <class V>
    V operator()(const Tensor<3, V>& p) const
    {
        return p[0] * kNaN;
    }
};

// Fails where a leaf samples anew what one below it has sampled, or where that depends on which leaves are
// built in one run.
TEST(Surface, SamplesFacesBetweenLeavesOnce)
{
    SurfaceSettings settings = cube(1, 100);
    settings.cells[2] = 30;
    const auto mesh = extractSurface(unbounded(Undefined{}), settings);
    EXPECT_TRUE(mesh->triangles.empty());
    EXPECT_EQ(mesh->leaves, 13u * 13 * 4);
    EXPECT_LT(mesh->undefinedSamples, 13u * 13 * 4 * 9 * 9 * 9 * 0.86);
    EXPECT_GE(mesh->undefinedSamples, 101u * 101 * 31);
    settings.threads = 3;
    EXPECT_EQ(extractSurface(unbounded(Undefined{}), settings)->undefinedSamples, mesh->undefinedSamples);
}

// Fails where crossings of a smooth field aren't found at once from the samples around them.
TEST(Surface, AsksForFewSamplesOfASmoothField)
{
    SurfaceSettings settings = cube(1, 96);
    const auto samplesOf = [&](double iso) {
        settings.iso = iso;
        CountedSphere::samples = 0;
        const auto mesh = extractSurface(unbounded(CountedSphere{}), settings);
        return std::pair{static_cast<double>(CountedSphere::samples), mesh->triangles.size()};
    };
    const auto [ofNodes, none] = samplesOf(-1);
    const auto [ofAll, triangles] = samplesOf(0);
    EXPECT_EQ(none, 0u);
    const double ofAnEdge = (ofAll - ofNodes) / (0.5 * static_cast<double>(triangles));
    EXPECT_LT(ofAnEdge, 4.7);
}

/// A sphere whose weight is 0 on one side, 1/2 on the other.
struct HalfWeighted {
    template <class V>
    Record<1, V> operator()(const Record<3, V>& p) const
    {
        return {{Sphere{{}, 0.8}(p.value)}, select(p.value[0] < 0.1, V(0.0), V(0.5))};
    }
};

TEST(Surface, TakesNoNoticeOfWeights)
{
    const SurfaceSettings settings = cube(1, 24);
    EXPECT_TRUE(isSame(*extractSurface(prepared(HalfWeighted{}), settings),
                       *extractSurface(prepared(Sphere{{}, 0.8}), settings)));
}

// The cut lies within the solid, up to its radius off the sphere.
TEST(Surface, ErrorsLeaveTheCutOut)
{
    const SurfaceSettings settings = cube(0.5, 40);
    const PreparedField field = prepared(Sphere{{0.5, 0, 0}, 0.4});
    const DistanceError error = *distanceError(*extractSurface(field, settings), field, settings);
    EXPECT_LT(error.centroidLargest, 0.3 / 40) << "the rim is rounded within a cell";
    EXPECT_GT(error.vertexRms, 0);
}

/// A box whose edges run across the cells.
struct TurnedBox {
    template <class V>
    V operator()(const Tensor<3, V>& p) const
    {
        const V x = p[0] * (6.0 / 7) + p[1] * (2.0 / 7) + p[2] * (3.0 / 7);
        const V y = p[0] * (-3.0 / 7) + p[1] * (6.0 / 7) + p[2] * (2.0 / 7);
        const V z = p[0] * (-2.0 / 7) + p[1] * (-3.0 / 7) + p[2] * (6.0 / 7);
        return BoxDistance{{1, 0.8, 0.6}}(Tensor<3, V>{x, y, z});
    }
};

// Fails where vertices of creases that run through a neighbour stay where they were brought back to.
TEST(Surface, ErrorsOfCreasesAreAFewHundredthsOfACell)
{
    const PreparedField field = prepared(TurnedBox{});
    for (const std::int32_t cells : {60, 100, 140}) {
        SCOPED_TRACE(cells);
        SurfaceSettings settings = cube(1.5, cells);
        settings.keepsCreases = true;
        const DistanceError error = *distanceError(*extractSurface(field, settings), field, settings);
        EXPECT_LT(error.vertexRms, 0.001 * 3 / cells);
        EXPECT_LT(error.vertexLargest, 0.05 * 3 / cells);
    }
}

// At the lower corner of a box differences towards larger coordinates stay on its faces.
TEST(Surface, ErrorsOfACornerAreThoseOfItsSlope)
{
    const SurfaceSettings settings = cube(1, 40);
    const PreparedField field = prepared(BoxDistance{{0.5, 0.5, 0.5}});
    const DistanceError error = *distanceError(*extractSurface(field, settings), field, settings);
    EXPECT_LT(error.vertexLargest, 1.0 / 40);
}

// Fails where bounds aren't followed down to cells, or corners are taken from other cells.
TEST(Surface, DoubtfulCellsHoldWhatIsTooSmallToBeFound)
{
    const SurfaceSettings settings = cube(1, 16);
    const auto count = [&](const PreparedField& field) { return countDoubtfulCells(field, settings); };
    // Nodes stand at odd multiples of 1/16.
    const PreparedField inACell = prepared(Sphere{{0.5, 0.25, -0.125}, 0.02});
    EXPECT_TRUE(extractSurface(inACell, settings)->triangles.empty());
    EXPECT_EQ(count(inACell), 1u);
    EXPECT_EQ(count(prepared(Sphere{{0.5625, 0.25, -0.125}, 0.02})), 2u) << "on the face between two cells";
    EXPECT_EQ(count(prepared(BoxDistance{{0.5, 0.25, 0.125}})), 0u);
    EXPECT_EQ(count(unbounded(Sphere{{}, 0.5})), std::nullopt);
}

TEST(Surface, OfAFieldWithSharpEdgesHasThem)
{
    SurfaceSettings settings = cube(1, 20);
    settings.keepsCreases = true;
    const MeshReport report = reportOn(*extractSurface(prepared(BoxDistance{{0.52, 0.31, 0.73}}), settings));
    EXPECT_NEAR(report.sharpEdgeLength, 8 * (0.52 + 0.31 + 0.73), 1e-9);
    EXPECT_EQ(reportOn(*extractSurface(prepared(Sphere{{}, 0.8}), settings)).sharpEdges, 0u);
}

// A surface on the bounds belongs to the cut; sheets without thickness have nothing between them.
TEST(Surface, DecidesWhatLiesOnTheLimit)
{
    struct Case {
        const char* name;
        PreparedField field;
        double area, openArea;
    };
    const Case cases[] = {
        {"the bounds themselves", prepared(BoxDistance{{0.5, 0.5, 0.5}}), 6, 0},
        {"touches the bounds with two faces", prepared(BoxDistance{{0.5, 0.25, 0.25}}), 2.5, 2},
        {"touches the bounds with corners", prepared(Octahedron{0.5}), std::sqrt(3.0), std::sqrt(3.0)},
        {"two sheets in one place", prepared(BoxDistance{{0.3, 0.3, 0}}), 0, 0},
        {"a sheet with nothing on either side", prepared(BoxDistance{{HUGE_VAL, HUGE_VAL, 0}}), 0, 0},
        {"nowhere a value", prepared(Sphere{{kNaN, 0, 0}, 1}), 0, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        SurfaceSettings settings = cube(0.5, 20);
        settings.keepsCreases = true;
        const auto closed = extractSurface(c.field, settings);
        expectClean(*closed);
        // A corner is cut off within its cell.
        EXPECT_NEAR(reportOn(*closed).area, c.area, 1e-2 * c.area);
        settings.isOpen = true;
        const auto open = extractSurface(c.field, settings);
        expectSound(*open);
        EXPECT_NEAR(reportOn(*open).area, c.openArea, 1e-2 * c.openArea);
    }
}

TEST(Surface, StopsWhenAsked)
{
    class Impatient final : public ProgressMonitor {
    public:
        void progress(double fraction) override { last = fraction; }
        bool interruptRequested() override { return last > 0.2; }
        double last = 0;
    };
    Impatient monitor;
    EXPECT_FALSE(extractSurface(prepared(Waves{3, 0}), cube(1.5, 100), &monitor));
    EXPECT_TRUE(monitor.isInterruptAcknowledged());
    EXPECT_LT(monitor.last, 0.9);
}

// Each patch is a cycle over faces: on each face, an edge and its partner belong to the same patch. Fails for
// a pairing that differs between the two edges, or patches that are joined or cut.
TEST(CellPatches, JoinPartnersOnEveryFace)
{
    using namespace surface;
    for (unsigned inside = 0; inside < 256; ++inside) {
        for (unsigned centers = 0; centers < 64; ++centers) {
            const CellPatches& patches =
                cellPatches(static_cast<std::uint8_t>(inside), static_cast<std::uint8_t>(centers));
            std::size_t most = 0;
            for (int face = 0; face < 6; ++face) {
                for (const int edge : faceCorners(face).edge) {
                    const std::uint8_t patch = patches.patchOf[static_cast<std::size_t>(edge)];
                    const bool isCrossed =
                        (inside >> lowerCorner(edge) & 1) != (inside >> upperCorner(edge) & 1);
                    ASSERT_EQ(patch != kNoPatch, isCrossed);
                    if (isCrossed) {
                        const int partner = partnerEdge(face, edge, static_cast<std::uint8_t>(inside),
                                                        (centers >> face & 1) != 0);
                        ASSERT_NE(partner, edge);
                        ASSERT_EQ(patches.patchOf[static_cast<std::size_t>(partner)], patch);
                        ASSERT_EQ(partnerEdge(face, partner, static_cast<std::uint8_t>(inside),
                                              (centers >> face & 1) != 0),
                                  edge);
                        most = std::max<std::size_t>(most, patch + 1u);
                    }
                }
            }
            ASSERT_EQ(most, patches.count);
        }
    }
}

} // namespace
} // namespace zrk
