#include "core/mesh/search/closest_point.h"

#include "core/mesh/winding/solid_angle.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

namespace zrk {
namespace {

using Point = Tensor<3, double>;

TEST(ClosestPoint, OnASegment)
{
    struct Case {
        const char* name;
        Point p, a, b, closest;
        double distance;
    };
    const Case cases[] = {
        {"beside it", {1, 3, 0}, {0, 0, 0}, {2, 0, 0}, {1, 0, 0}, 3},
        {"before its start", {-3, 4, 0}, {0, 0, 0}, {2, 0, 0}, {0, 0, 0}, 5},
        {"beyond its end", {5, 0, 4}, {0, 0, 0}, {2, 0, 0}, {2, 0, 0}, 5},
        {"on it", {1, 1, 1}, {0, 0, 0}, {2, 2, 2}, {1, 1, 1}, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Point closest;
        EXPECT_EQ(closestPointOnSegment(c.p.begin(), c.a.begin(), c.b.begin(), closest.begin()), c.distance);
        EXPECT_EQ(closest, c.closest);
    }
    const Point a{1, 1, 1};
    Point closest;
    EXPECT_TRUE(
        std::isnan(closestPointOnSegment(Point{2, 0, 0}.begin(), a.begin(), a.begin(), closest.begin())));
}

TEST(ClosestPoint, OnATriangle)
{
    const Point a{0, 0, 0};
    const Point b{4, 0, 0};
    const Point c{0, 4, 0};
    struct Case {
        const char* name;
        Point p, closest;
        double distance;
    };
    const Case cases[] = {
        {"over its inside", {1, 1, 2}, {1, 1, 0}, 2},
        {"over corner a", {0, 0, 3}, {0, 0, 0}, 3},
        {"beyond corner a", {-3, -4, 0}, {0, 0, 0}, 5},
        {"beyond corner b", {7, -4, 0}, {4, 0, 0}, 5},
        {"beyond corner c", {-4, 7, 0}, {0, 4, 0}, 5},
        {"beyond edge a-b", {1, -2, 0}, {1, 0, 0}, 2},
        {"beyond edge a-c", {-2, 1, 0}, {0, 1, 0}, 2},
        {"beyond edge b-c", {5, 5, 0}, {2, 2, 0}, std::sqrt(18.0)},
    };
    for (const Case& k : cases) {
        SCOPED_TRACE(k.name);
        Point closest;
        EXPECT_EQ(closestPointOnTriangle(k.p.begin(), a.begin(), b.begin(), c.begin(), closest.begin()),
                  k.distance);
        EXPECT_EQ(closest, k.closest);
    }
}

// Against a fine net of points over the triangle, which the answer can't be farther than, and against the
// answer itself, which must lie on the triangle. Fails for a region of the plane given to the wrong edges.
TEST(ClosestPoint, OnATriangleIsTheNearestOfAll)
{
    std::mt19937 random(5);
    std::uniform_real_distribution<double> coordinate(-1.0, 1.0);
    for (int i = 0; i < 400; ++i) {
        Point corners[3];
        for (Point& corner : corners) {
            corner = {coordinate(random), coordinate(random), coordinate(random)};
        }
        const Point p{2 * coordinate(random), 2 * coordinate(random), 2 * coordinate(random)};
        Point closest;
        const double distance = closestPointOnTriangle(p.begin(), corners[0].begin(), corners[1].begin(),
                                                       corners[2].begin(), closest.begin());
        double fromNet = 1e300;
        double toClosest = 1e300;
        constexpr int kSteps = 60;
        for (int u = 0; u <= kSteps; ++u) {
            for (int v = 0; v + u <= kSteps; ++v) {
                const Point q = corners[0] + (corners[1] - corners[0]) * (u / double{kSteps}) +
                                (corners[2] - corners[0]) * (v / double{kSteps});
                fromNet = std::min(fromNet, length(p - q));
                toClosest = std::min(toClosest, length(closest - q));
            }
        }
        EXPECT_LE(distance, fromNet + 1e-12) << "seed 5, triangle " << i;
        EXPECT_LE(toClosest, 3.5 / kSteps) << "seed 5, triangle " << i;
        EXPECT_NEAR(distance, length(p - closest), 1e-15);
    }
}

TEST(ClosestPoint, OnADegenerateTriangleIsFinite)
{
    const Point corners[] = {{1, 1, 1}, {2, 2, 2}, {3, 3, 3}};
    const Point p{1, 4, 1};
    Point closest;
    const auto distance = [&](int a, int b, int c) {
        return closestPointOnTriangle(p.begin(), corners[a].begin(), corners[b].begin(), corners[c].begin(),
                                      closest.begin());
    };
    EXPECT_TRUE(std::isfinite(distance(0, 1, 2)));
    EXPECT_TRUE(std::isfinite(distance(0, 0, 2)));
    EXPECT_EQ(distance(1, 1, 1), std::sqrt(6.0));
}

TEST(ClosestPoint, OfABox)
{
    const Box<double> box{{0, 0, 0}, {1, 2, 3}};
    EXPECT_EQ(squaredDistanceToBox(box, Point{0.5, 2, 3}.begin()), 0.0);
    EXPECT_EQ(squaredDistanceToBox(box, Point{-1, 4, 6}.begin()), 1.0 + 4.0 + 9.0);
}

TEST(SolidAngle, OfAnOctantAndItsSign)
{
    const Point x{1, 0, 0};
    const Point y{0, 1, 0};
    const Point z{0, 0, 1};
    const auto angle = [](const Point& a, const Point& b, const Point& c, const Point& p) {
        return triangleSolidAngle(a.begin(), b.begin(), c.begin(), p.begin());
    };
    // From the origin the triangle fills an eighth of the sphere; its normal points away from there.
    EXPECT_NEAR(angle(x, y, z, {0, 0, 0}), std::acos(-1.0) / 2, 1e-15);
    EXPECT_NEAR(angle(x, z, y, {0, 0, 0}), -std::acos(-1.0) / 2, 1e-15);
    EXPECT_LT(angle(x, y, z, {1, 1, 1}), 0.0);
    EXPECT_EQ(angle(x, y, z, y), 0.0);
    EXPECT_EQ(angle(x, y, {0, 0, 0}, {5, 5, 0}), 0.0);
    EXPECT_EQ(angle(x, x, x, {5, 5, 0}), 0.0);
}

} // namespace
} // namespace zrk
