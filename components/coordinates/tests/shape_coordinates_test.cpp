#include "components/coordinates/cylinder_uvw_formula.h"
#include "components/coordinates/sphere_uvw_formula.h"
#include "components/coordinates/torus_uvw_formula.h"
#include "testing/formula_agreement.h"
#include "testing/special_values.h"

namespace zrk {
namespace {

using Vector = Tensor<3, double>;
using Infinite = CylinderCoordinates<CylinderEnds::Infinite>;
using Round = CylinderCoordinates<CylinderEnds::Round>;

using zrk::testing::kNaN;
using zrk::testing::kPi;
constexpr double kRounding = 1e-14; // a few roundings of angles and products around 1 to 10

void expectNear(const Vector& found, const Vector& expected, double tolerance = kRounding)
{
    for (std::size_t i = 0; i < 3; ++i) {
        const bool equal =
            std::isnan(expected[i]) ? std::isnan(found[i]) : std::abs(found[i] - expected[i]) <= tolerance;
        EXPECT_TRUE(equal) << "component " << i << ": " << found[i] << ", expected " << expected[i];
    }
}

template <class Visit>
void forRandomPositions(Visit visit)
{
    agreement::Random random(11);
    for (int i = 0; i < 1000 && !::testing::Test::HasFailure(); ++i) {
        const Vector p{agreement::uniform(random, -3, 3), agreement::uniform(random, -3, 3),
                       agreement::uniform(random, -3, 3)};
        SCOPED_TRACE(::testing::Message() << "p = (" << p[0] << ", " << p[1] << ", " << p[2] << ")");
        visit(p);
    }
}

TEST(SphereCoordinates, AtPointsWithKnownAnswers)
{
    const SphereCoordinates sphere{{1, 2, 3}, 2};
    struct Case {
        const char* name;
        Vector p;
        Vector expected;
    };
    const Case cases[] = {
        {"centre", {1, 2, 3}, {0, kNaN, -2}},
        {"on the axis, above", {1, 2, 8}, {0, 0.5, 3}},
        {"on the axis, below", {1, 2, 2}, {0, -0.5, -1}},
        {"+x", {4, 2, 3}, {0, 0, 1}},
        {"+y", {1, 5, 3}, {0.5, 0, 1}},
        {"-x, from above the cut", {-1, 2, 3}, {1, 0, 0}},
        {"-y", {1, 1, 3}, {-0.5, 0, -1}},
        {"30 degrees up", {1, 2 - std::sqrt(3.0), 4}, {-0.5, 1.0 / 6, 0}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        expectNear(sphere(c.p), c.expected);
    }
    const SphereCoordinates unit{{0, 0, 0}, 1};
    EXPECT_EQ(unit(Vector{-1, -0.0, 0})[0], -1) << "the cut from below";
    EXPECT_TRUE(std::isnan(unit(Vector{0, kNaN, 0})[2]));
}

TEST(SpherePosition, UndoesTheCoordinatesOfAPointSphereOnly)
{
    const Vector center{0.5, -1, 0.25};
    const SphereCoordinates coordinates{center, 0};
    const SpherePosition position{center, 0};
    forRandomPositions([&](const Vector& p) { expectNear(position(coordinates(p)), p); });

    // W = 0 lies opposite the surface point of these angles.
    const SpherePosition antipode{{1, 1, 1}, 2};
    expectNear(antipode(Vector{0, 0, 0}), {-1, 1, 1});
    expectNear(antipode(Vector{0.5, 0, 0}), {1, -1, 1});
    expectNear(antipode(Vector{0.25, 0.5, 3}), {1, 1, 2});
}

TEST(TorusCoordinates, AtPointsWithKnownAnswers)
{
    const TorusCoordinates torus{{1, 1, 1}, 5, 2};
    struct Case {
        const char* name;
        Vector p;
        Vector expected;
    };
    const Case cases[] = {
        {"centre", {1, 1, 1}, {0, 1, 3}},
        {"outer side", {9, 1, 1}, {0, 0, 1}},
        {"top", {1, 6, 5}, {0.5, 0.5, 2}},
        {"bottom", {-4, 1, -1}, {1, -0.5, 0}},
        {"inner side", {1, -3, 1}, {-0.5, 1, -1}},
        {"between", {1 + 6 / std::sqrt(2.0), 1 + 6 / std::sqrt(2.0), 2}, {0.25, 0.25, std::sqrt(2.0) - 2}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        expectNear(torus(c.p), c.expected);
    }
}

TEST(CylinderAxis, HasTwoDirectionsAcross)
{
    struct Case {
        const char* name;
        Vector direction;
        Vector a;
        Vector b;
    };
    const Case cases[] = {
        {"up", {0, 0, 2}, {1, 0, 0}, {0, 1, 0}},        {"down", {0, 0, -2}, {-1, 0, 0}, {0, 1, 0}},
        {"x", {3, 0, 0}, {0, 1, 0}, {0, 0, 1}},         {"y", {0, 3, 0}, {-1, 0, 0}, {0, 0, 1}},
        {"no length", {0, 0, 0}, {0, 0, 0}, {0, 0, 0}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const CylinderAxis axis = CylinderAxis::between({1, 2, 3}, Vector{1, 2, 3} + c.direction);
        expectNear(axis.a, c.a, 0);
        expectNear(axis.b, c.b, 0);
    }
    // The reference changes beyond 0.9, not at 0.9.
    EXPECT_EQ(sideOf({std::sqrt(0.19), 0, 0.9})[1], 1);
    EXPECT_LT(sideOf({std::sqrt(0.18), 0, std::nextafter(0.9, 1)})[1], 0.5);
}

TEST(CylinderCoordinates, AtPointsWithKnownAnswers)
{
    const CylinderAxis up = CylinderAxis::between({0, 0, 0}, {0, 0, 1});
    const CylinderAxis tall = CylinderAxis::between({1, 1, 1}, {1, 1, 5});
    const CylinderAxis none = CylinderAxis::between({1, 1, 1}, {1, 1, 1});
    struct Case {
        const char* name;
        Vector p;
        Vector none;  ///< without caps
        Vector round; ///< with round ends
    };
    const Case cone[] = {
        {"on +x, halfway", {2, 0, 0.5}, {0.5, 0.75, 1.8}, {0.5, 0.75, 1.8}},
        {"on +y, at the start", {0, 2, 0}, {0, kPi / 2, 1.9}, {0, kPi / 2, 1.9}},
        {"beyond the end: the radius goes on",
         {0, -1, 2},
         {2, 3 - kPi / 2, 0.5},
         {2, 3 - kPi / 2, std::sqrt(2.0) - 0.5}},
        {"before the start", {-3, 0, -4}, {-4, kPi - 6, 3.7}, {-4, kPi - 6, 5.7}},
        {"NaN", {kNaN, 0, 0.5}, {kNaN, kNaN, kNaN}, {kNaN, kNaN, kNaN}},
    };
    for (const Case& c : cone) {
        SCOPED_TRACE(c.name);
        expectNear(Infinite{up, 0.1, 0.3, 1.5}(c.p), c.none);
        expectNear(Round{up, 0.1, 0.3, 1.5}(c.p), c.round);
    }
    // U is a length, while the radius and the twist depend on the share of the axis.
    expectNear(Round{tall, 1, 3, 0.5}(Vector{1, 4, 3}), {2, kPi / 2 + 0.25, 1});
    expectNear(Round{none, 1, 1, 0}(Vector{2, 3, 4}), {0, kNaN, kNaN});
}

// Turned as a whole, a cylinder gives the same height and distance, and the angle moves by a constant.
TEST(CylinderCoordinates, DontDependOnTheDirectionOfTheAxis)
{
    const Vector start{0.5, -0.25, 1};
    const Vector toEnd{1, -2, 0.5};
    const Round cylinder{CylinderAxis::between(start, start + toEnd), 0.5, 1, 0.75};
    const Round upright{CylinderAxis::between({0, 0, 0}, {0, 0, std::sqrt(5.25)}), 0.5, 1, 0.75};
    const Vector& n = cylinder.axis.direction;
    const Vector& a = cylinder.axis.a;
    const Vector& b = cylinder.axis.b;
    forRandomPositions([&](const Vector& p) {
        expectNear(cylinder(start + a * p[0] + b * p[1] + n * p[2]), upright(p), 1e-13); // two ways around
    });
}

TEST(ShapeCoordinates, AgreeInAllValueTypes)
{
    const CylinderAxis axis = CylinderAxis::between({0.5, 0, 1}, {1, -0.5, 3});
    agreement::expectAgreement(SphereCoordinates{{0.5, 0, 1}, 1.25}, kRounding);
    agreement::expectAgreement(SpherePosition{{0.5, 0, 1}, 1.25}, kRounding);
    agreement::expectAgreement(TorusCoordinates{{0.5, 0, 1}, 1, 0.25}, kRounding);
    agreement::expectAgreement(Infinite{axis, 0.25, 0.5, 1.5}, kRounding);
    agreement::expectAgreement(Round{axis, 0.25, 0.5, 1.5}, kRounding);
    agreement::expectAgreement(Round{CylinderAxis::between({0, 0, 0}, {0, 0, 0}), 1, 1, 0}, kRounding);
}

// Every point of a box without the centre has a latitude, and the bounds show it.
TEST(SphereCoordinates, HaveBoundedLatitudeAwayFromTheCentre)
{
    using Range = Interval<double>;
    const SphereCoordinates sphere{{0, 0, 0}, 1};
    const auto bounds = sphere(Tensor<3, Range>{Range{-0.5, 0.5}, Range{-0.5, 0.5}, Range{0.5, 1}});
    EXPECT_GT(bounds[1].lower, 0.1); // of 0.196, at the lower corners
    EXPECT_NEAR(bounds[1].upper, 0.5, kRounding);
}

} // namespace
} // namespace zrk
