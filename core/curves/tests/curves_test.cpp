#include "core/curves/circle.h"
#include "core/curves/curve_frame.h"
#include "core/curves/polyline.h"
#include "core/curves/spline.h"
#include "core/values/axis_frame.h"
#include "testing/special_values.h"

#include <gtest/gtest.h>

#include <cmath>
#include <ctime>
#include <limits>
#include <random>
#include <thread>
#include <vector>

namespace zrk {
namespace {

using Points = std::vector<Vector3>;
using zrk::testing::kNaN;

class Random {
public:
    explicit Random(unsigned seed) : _engine(seed) {}
    double number(double from, double to)
    {
        return std::uniform_real_distribution<double>(from, to)(_engine);
    }
    Vector3 vector(double reach)
    {
        return {number(-reach, reach), number(-reach, reach), number(-reach, reach)};
    }

private:
    std::mt19937_64 _engine;
};

Points randomPoints(std::size_t count, unsigned seed)
{
    Random random(seed);
    Points points;
    for (std::size_t i = 0; i < count; ++i) {
        points.push_back(random.vector(1));
    }
    return points;
}

/// Steps in random directions, here and there repeated or turned back.
Points randomWalk(std::size_t count, unsigned seed)
{
    Random random(seed);
    Points points{{0, 0, 0}};
    while (points.size() < count) {
        const double kind = random.number(0, 1);
        const bool back = kind < 0.05 && points.size() > 1;
        points.push_back(back         ? points[points.size() - 2]
                         : kind < 0.1 ? points.back()
                                      : points.back() + random.vector(0.1));
    }
    return points;
}

/// Random positions within 2 of the origin, some of them just at the given points.
Points positions(const Points& points, std::size_t count, unsigned seed)
{
    Random random(seed);
    Points queries;
    for (std::size_t i = 0; i < count; ++i) {
        queries.push_back(i % 10 == 0 ? points[i % points.size()] : random.vector(2));
    }
    return queries;
}

const Points kTies[] = {
    {{-1, 0, 0}, {0, 0, 0}, {0, 1, 0}, {0, 0, 0}, {-1, 0, 0}}, // there and back: every place twice
    {{0, 0, 0}, {0, 0, 0}, {1, 0, 0}, {1, 0, 0}},
    {{0, 0, 0}, {0, 0, 0}},
    {{-1, -1, 0}, {1, -1, 0}, {1, 1, 0}, {-1, 1, 0}},
};

TEST(Polyline, AnswersTheTable)
{
    const Polyline open({{0, 0, 0}, {2, 0, 0}, {2, 2, 0}}, false);
    const Polyline square({{-1, -1, 0}, {1, -1, 0}, {1, 1, 0}, {-1, 1, 0}}, true);
    const Polyline back(kTies[0], false);
    struct Case {
        const char* name;
        const Polyline& curve;
        Vector3 p;
        double t;
        double arcLength;
        double distance;
    };
    const Case cases[] = {
        {"before the start", open, {-3, 4, 0}, 0, 0, 5},
        {"within a segment", open, {0.5, -2, 0}, 0.25, 0.5, 2},
        {"the outside of a corner", open, {5, -4, 0}, 1, 2, 5},
        {"beyond the end", open, {2, 3, 0}, 2, 4, 1},
        {"the seam is the start", square, {-2, -1, 0}, 0, 0, 1},
        {"the closing segment", square, {-1, 0.5, 3}, 3.25, 6.5, 3},
        {"as near to four sides", square, {0, 0, 2}, 0.5, 1, std::sqrt(5.0)},
        {"as near there as back", back, {-0.5, -1, 0}, 0.5, 0.5, 1},
        {"infinitely far",
         open,
         {0, std::numeric_limits<double>::infinity(), 0},
         0,
         0,
         std::numeric_limits<double>::infinity()},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const double t = c.curve.closestParameter(c.p);
        EXPECT_EQ(t, c.t);
        EXPECT_EQ(c.curve.arcLength(t), c.arcLength);
        EXPECT_EQ(c.curve.distance(c.p), c.distance);
    }
    EXPECT_EQ(square.length(), 8);
    EXPECT_EQ(square.tMax(), 4);
    EXPECT_EQ(square.position(4), (Vector3{-1, -1, 0}));
}

/// The rule itself: every segment in turn, the first nearest one wins.
double closestByWalking(const Points& points, bool closed, const Vector3& p)
{
    NearestOnCurve nearest{std::numeric_limits<double>::infinity(), 0};
    const std::size_t count = closed ? points.size() : points.size() - 1;
    for (std::size_t i = 0; i < count; ++i) {
        const Vector3 a = points[i];
        const Vector3 b = points[(i + 1) % points.size()];
        const double squared = squaredDistance(b, a);
        const double along = squared > 0 ? dot(p - a, b - a) * (1 / squared) : 0;
        const double fraction = along > 0 ? (along < 1 ? along : 1) : 0;
        const Vector3 c = fraction == 1 ? b : a + (b - a) * fraction;
        if (squaredDistance(p, c) < nearest.squared) {
            nearest = {squaredDistance(p, c), static_cast<double>(i) + fraction};
        }
    }
    return nearest.t;
}

TEST(Polyline, FindsWhatWalkingAllSegmentsFinds)
{
    std::vector<Points> lines(std::begin(kTies), std::end(kTies));
    lines.push_back(randomPoints(7, 1));
    lines.push_back(randomPoints(500, 2));
    lines.push_back(randomWalk(2000, 3));
    Points circle; // from its centre no piece can be left out
    for (int i = 0; i < 3000; ++i) {
        circle.push_back({std::cos(0.002 * i), std::sin(0.002 * i), 0});
    }
    lines.push_back(circle);
    for (const Points& points : lines) {
        for (const bool closed : {false, true}) {
            const Polyline curve(points, closed);
            double near = kNaN;
            Points asked = positions(points, 1000, 4);
            asked.push_back({0, 0, 0});
            for (const Vector3& p : asked) {
                const double t = closestByWalking(points, closed, p);
                ASSERT_EQ(curve.closestParameter(p), t)
                    << points.size() << " points, p " << p[0] << " " << p[1];
                near = curve.closestParameter(p, near);
                ASSERT_EQ(near, t) << "with a start from the neighbour";
            }
        }
    }
}

template <class Curve>
void expectNearestOf100000Points(const Curve& curve, double size)
{
    std::vector<Vector3> onCurve;
    Random random(5);
    for (int i = 0; i < 100000; ++i) {
        onCurve.push_back(curve.position(random.number(curve.tMin(), curve.tMax())));
    }
    for (int i = 0; i < 60; ++i) {
        const Vector3 p = random.vector(1.5);
        double best = std::numeric_limits<double>::infinity();
        for (const Vector3& c : onCurve) {
            best = std::min(best, squaredDistance(p, c));
        }
        const double distance = length(p - curve.position(curve.closestParameter(p)));
        EXPECT_LE(distance, std::sqrt(best) + 1e-9 * size);
        EXPECT_NEAR(curve.distance(p), distance, 1e-12 * size);
    }
    // A position on the curve is its own closest point.
    for (int i = 0; i < 1000; ++i) {
        EXPECT_LE(curve.distance(onCurve[static_cast<std::size_t>(i)]), 1e-12 * size);
    }
}

TEST(Curves, FindNothingFartherThan100000OfTheirPoints)
{
    expectNearestOf100000Points(Polyline(randomPoints(40, 6), false), 2);
    expectNearestOf100000Points(Spline(randomPoints(40, 7), false), 2);
    expectNearestOf100000Points(Spline(randomPoints(40, 8), true), 2);
    expectNearestOf100000Points(Spline(randomWalk(300, 9), false), 2);
    expectNearestOf100000Points(Spline({{0, 0, 0}, {0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 1, 0}}, false), 1);
    expectNearestOf100000Points(Spline({{0, 0, 0}, {1, 0, 0}, {0.5, 0, 0}}, false), 1);
    expectNearestOf100000Points(Circle({0.1, 0.2, 0.3}, {1, 2, 3}, 0.75), 1.5);
}

TEST(Spline, IsTheStraightLineThroughEvenPoints)
{
    const Spline line({{0, 0, 0}, {1, 0, 0}, {2, 0, 0}}, false);
    EXPECT_EQ(line.position(0), (Vector3{0, 0, 0}));
    EXPECT_EQ(line.position(1), (Vector3{1, 0, 0}));
    EXPECT_EQ(line.position(2), (Vector3{2, 0, 0}));
    EXPECT_NEAR(line.length(), 2, 1e-14);
    EXPECT_NEAR(line.closestParameter({1.25, 3, 0}), 1.25, 1e-15);
}

TEST(Spline, FollowsTheRecursionOverItsKnots)
{
    const Points points{{0, 0, 0}, {1, 0, 0}, {1.5, 3, 0}, {1, 3, 2}};
    const Spline spline(points, false);
    const Points all{points[0] * 2.0 - points[1], points[0], points[1], points[2], points[3],
                     points[3] * 2.0 - points[2]};
    for (std::size_t segment = 0; segment < 3; ++segment) {
        double knots[4] = {0};
        for (std::size_t i = 1; i < 4; ++i) {
            knots[i] = knots[i - 1] + std::sqrt(length(all[segment + i] - all[segment + i - 1]));
        }
        for (const double u : {0.0, 0.3, 0.5, 0.9, 1.0}) {
            const double k = knots[1] + u * (knots[2] - knots[1]);
            Points row(all.begin() + static_cast<std::ptrdiff_t>(segment),
                       all.begin() + static_cast<std::ptrdiff_t>(segment + 4));
            // Barry and Goldman's pyramid of linear interpolations.
            const auto mix = [&](std::size_t i, std::size_t from, std::size_t to) {
                const double share = (k - knots[from]) / (knots[to] - knots[from]);
                return row[i] * (1 - share) + row[i + 1] * share;
            };
            row = {mix(0, 0, 1), mix(1, 1, 2), mix(2, 2, 3)};
            row = {mix(0, 0, 2), mix(1, 1, 3)};
            const Vector3 expected = mix(0, 1, 2);
            EXPECT_LE(length(spline.position(static_cast<double>(segment) + u) - expected), 1e-14);
        }
    }
}

TEST(Spline, TakesRepeatedPointsAsRests)
{
    const Spline spline({{0, 0, 0}, {1, 0, 0}, {1, 0, 0}, {1, 1, 0}}, false);
    EXPECT_EQ(spline.position(1.5), (Vector3{1, 0, 0}));
    EXPECT_EQ(spline.arcLength(2), spline.arcLength(1));
    const Spline point({{1, 2, 3}, {1, 2, 3}}, false);
    EXPECT_EQ(point.length(), 0);
    EXPECT_EQ(point.closestParameter({0, 0, 0}), 0);
}

TEST(Circle, AnswersTheTable)
{
    constexpr double kPi = std::numbers::pi;
    const Circle z({1, 0, 0}, {0, 0, 2}, 2); // a = -x, b = -y... with ref y: a = y x z = x
    struct Case {
        Vector3 p;
        double t;
        double distance;
    };
    const Case cases[] = {
        {{4, 0, 0}, 0, 1}, {{1, 5, 0}, kPi / 2, 3}, {{-1, 0, 3}, kPi, 3}, {{1, -1, 0}, 3 * kPi / 2, 1},
        {{1, 0, 0}, 0, 2},
    };
    for (const Case& c : cases) {
        EXPECT_NEAR(z.closestParameter(c.p), c.t, 1e-15);
        EXPECT_NEAR(z.distance(c.p), c.distance, 1e-15);
    }
    EXPECT_EQ(z.position(0), (Vector3{3, 0, 0}));
    EXPECT_EQ(z.length(), 4 * kPi);
}

/// Lengths by summing many chords; frames orthonormal, right-handed, along the curve, and never
/// turning faster than their tangent does.
template <class Curve>
void expectLengthsAndFrames(const Curve& curve, bool isSmooth)
{
    constexpr int kSteps = 20000;
    double chords = 0;
    Vector3 tangent, normal, binormal, lastTangent, lastNormal;
    curve.frame(curve.tMin(), lastTangent, lastNormal, binormal);
    EXPECT_LE(length(lastNormal - sideOf(lastTangent)), 1e-12);
    for (int i = 1; i <= kSteps; ++i) {
        const double former = curve.tMax() * (i - 1) / kSteps;
        const double t = curve.tMax() * i / kSteps;
        const Vector3 chord = curve.position(t) - curve.position(former);
        chords += length(chord);
        curve.frame(t, tangent, normal, binormal);
        ASSERT_NEAR(dot(tangent, tangent), 1, 1e-12);
        ASSERT_NEAR(dot(normal, normal), 1, 1e-12);
        ASSERT_NEAR(dot(tangent, normal), 0, 1e-12);
        ASSERT_LE(length(cross(tangent, normal) - binormal), 1e-12);
        if (isSmooth) {
            const double turned = length(tangent - lastTangent);
            ASSERT_LE(length(normal - lastNormal), turned * 1.01 + 1e-9) << "t " << t;
            // What is left of the smallest rotation is of higher order.
            ASSERT_LE(length(normal - carriedNormal(lastNormal, lastTangent, tangent)),
                      turned * turned + 1e-9);
        }
        lastTangent = tangent;
        lastNormal = normal;
    }
    EXPECT_NEAR(curve.length(), chords, 1e-4 * chords);
    EXPECT_EQ(curve.arcLength(curve.tMin()), 0);
    EXPECT_NEAR(curve.arcLength(curve.tMax()), curve.length(), 1e-14 * curve.length());
}

TEST(Curves, HaveLengthsAndFrames)
{
    expectLengthsAndFrames(Polyline(randomPoints(9, 10), false), false);
    expectLengthsAndFrames(Polyline(randomWalk(200, 11), true), false);
    expectLengthsAndFrames(Spline(randomPoints(5, 12), false), true);
    expectLengthsAndFrames(Spline(randomPoints(6, 13), true), true);
    expectLengthsAndFrames(Spline({{0, 0, 0}, {1, 0, 0}, {0.5, 0, 0}, {0.5, 1, 0}}, false), false);
    expectLengthsAndFrames(Spline(randomWalk(100, 14), false), false);
}

TEST(Polyline, CarriesFramesAroundCorners)
{
    const Polyline curve({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {1, 1, 0}, {1, 1, 1}, {1, 1, 0}}, false);
    struct Case {
        double t;
        Vector3 tangent;
        Vector3 normal;
    };
    const Case cases[] = {
        {0.0, {1, 0, 0}, {0, 1, 0}},  {0.999, {1, 0, 0}, {0, 1, 0}}, {1.0, {0, 1, 0}, {-1, 0, 0}},
        {2.5, {0, 1, 0}, {-1, 0, 0}}, {3.5, {0, 0, 1}, {-1, 0, 0}},  {5.0, {0, 0, -1}, {-1, 0, 0}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.t);
        Vector3 tangent, normal, binormal;
        curve.frame(c.t, tangent, normal, binormal);
        EXPECT_LE(length(tangent - c.tangent) + length(normal - c.normal), 1e-15);
    }
}

/// Bishop's frame by small double reflections, whose error falls with the fourth power of the step
/// (Wang, Juettler, Zheng, Liu, "Computation of rotation minimizing frames", 2008).
Vector3 normalByReflections(const Spline& curve, double t, int steps)
{
    Vector3 tangent, normal, binormal;
    curve.frame(0, tangent, normal, binormal);
    for (int i = 0; i < steps; ++i) {
        const Vector3 across = curve.position(t * (i + 1) / steps) - curve.position(t * i / steps);
        const double squared = dot(across, across);
        const Vector3 mirroredNormal = normal - across * (2 / squared * dot(across, normal));
        const Vector3 mirroredTangent = tangent - across * (2 / squared * dot(across, tangent));
        Vector3 next, unused, unusedToo;
        curve.frame(t * (i + 1) / steps, next, unused, unusedToo);
        const Vector3 second = next - mirroredTangent;
        normal = mirroredNormal - second * (2 / dot(second, second) * dot(second, mirroredNormal));
        tangent = next;
    }
    return normal;
}

TEST(Spline, TurnsItsFrameAsLittleAsDoubleReflections)
{
    for (const unsigned seed : {15u, 16u, 17u}) {
        const Spline curve(randomPoints(6, seed), false);
        // Whole segments, so that no step spans a joint, where the curvature jumps.
        for (const double t : {0.4, 1.0, 2.0, 5.0}) {
            Vector3 tangent, normal, binormal;
            curve.frame(t, tangent, normal, binormal);
            EXPECT_LE(length(normal - normalByReflections(curve, t, 20000)), 1e-9)
                << "seed " << seed << ", t " << t;
        }
    }
}

TEST(Curves, GiveNaNForNaN)
{
    const Polyline line({{0, 0, 0}, {1, 0, 0}}, false);
    const Spline spline({{0, 0, 0}, {1, 0, 0}}, false);
    for (const Vector3& p : {Vector3{kNaN, 0, 0}, Vector3{0, 0, kNaN}}) {
        EXPECT_TRUE(std::isnan(line.closestParameter(p)) && std::isnan(line.distance(p)));
        EXPECT_TRUE(std::isnan(spline.closestParameter(p)) && std::isnan(spline.distance(p)));
    }
    EXPECT_TRUE(hasNaN(line.position(kNaN)) && std::isnan(line.arcLength(kNaN)));
    EXPECT_TRUE(hasNaN(spline.position(kNaN)) && std::isnan(spline.arcLength(kNaN)));
    Vector3 tangent, normal, binormal;
    spline.frame(kNaN, tangent, normal, binormal);
    line.frame(kNaN, tangent, normal, binormal);
}

TEST(Curves, AnswerAtInfinity)
{
    const Polyline line({{0, 0, 0}, {1, 0, 0}}, false);
    const Spline spline({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}}, false);
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    const double ends[] = {0, kInfinity, -kInfinity};
    for (int i = 1; i < 27; ++i) {
        const Vector3 p{ends[i % 3], ends[i / 3 % 3], ends[i / 9]};
        EXPECT_FALSE(std::isfinite(line.distance(p))) << i;
        EXPECT_FALSE(std::isfinite(spline.distance(p))) << i;
    }
}

template <class Curve>
double microsecondsPerQuery(const Curve& curve)
{
    const Points queries = positions({{0, 0, 0}}, 5000, 18);
    double best = std::numeric_limits<double>::infinity();
    double sum = 0;
    for (int round = 0; round < 5; ++round) {
        const std::clock_t start = std::clock(); // of this process, however busy the machine is
        for (const Vector3& p : queries) {
            sum += curve.closestParameter(p);
        }
        best = std::min(best, static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC);
    }
    EXPECT_TRUE(std::isfinite(sum));
    return best * 1e6 / static_cast<double>(queries.size());
}

// Walking 10,000 segments takes some 20 microseconds; the margin is for slow and instrumented builds.
TEST(Curves, DontWalkAllSegments)
{
    Points coil;
    for (int i = 0; i <= 10000; ++i) {
        const double a = 0.02 * i;
        const double ring = 1 + 0.4 * std::cos(a * 0.31);
        coil.push_back({std::cos(a) * ring, std::sin(a) * ring, 0.4 * std::sin(a * 0.31)});
    }
    const double line = microsecondsPerQuery(Polyline(coil, false));
    const double spline = microsecondsPerQuery(Spline(coil, false));
    RecordProperty("polylineMicroseconds", std::to_string(line));
    RecordProperty("splineMicroseconds", std::to_string(spline));
#if defined(__OPTIMIZE__) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    EXPECT_LT(line, 8);
    EXPECT_LT(spline, 8);
#endif
}

TEST(Curves, AnswerTheSameOnManyThreads)
{
    const Points points = randomWalk(1000, 19);
    const Spline spline(points, true);
    const Points queries = positions(points, 2000, 20);
    const auto answers = [&] {
        std::vector<double> values;
        for (const Vector3& p : queries) {
            const double t = spline.closestParameter(p);
            Vector3 tangent, normal, binormal;
            spline.frame(t, tangent, normal, binormal);
            values.insert(values.end(), {t, spline.arcLength(t), normal[0], binormal[1]});
        }
        return values;
    };
    const std::vector<double> expected = answers();
    std::vector<std::vector<double>> found(4);
    std::vector<std::thread> threads;
    for (auto& values : found) {
        threads.emplace_back([&] { values = answers(); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (const auto& values : found) {
        EXPECT_EQ(values, expected);
    }
}

} // namespace
} // namespace zrk
