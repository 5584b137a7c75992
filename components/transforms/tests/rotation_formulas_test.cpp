#include "components/transforms/bend_transform_formula.h"
#include "components/transforms/twist_transform_formula.h"
#include "testing/formula_agreement.h"

namespace zrk {
namespace {

using Vector = Tensor<3, double>;

double length(const Vector& v) { return std::sqrt(dot(v, v)); }

/// Cosines of right angles and similar values are rounding errors of this size instead of 0.
void expectNear(const Vector& result, const Vector& expected, double tolerance = 1e-14)
{
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_NEAR(result[i], expected[i], tolerance) << "component " << i;
    }
}

template <class Visit>
void forRandomPositions(Visit visit)
{
    agreement::Random random(11);
    for (int i = 0; i < 500 && !::testing::Test::HasFailure(); ++i) {
        const Vector p{agreement::uniform(random, -3, 3), agreement::uniform(random, -3, 3),
                       agreement::uniform(random, -3, 3)};
        SCOPED_TRACE(::testing::Message() << "p = (" << p[0] << ", " << p[1] << ", " << p[2] << ")");
        visit(p);
    }
}

TEST(TwistPosition, TurnsByTheHeightAlongItsAxis)
{
    struct Case {
        const char* name;
        TwistPosition twist;
        Vector p;
        Vector expected;
    };
    const Case cases[] = {
        {"right angle at height 18", TwistPosition::about({0, 0, 0}, {0, 0, 1}, 5), {1, 0, 18}, {0, 1, 18}},
        {"turns back below the centre",
         TwistPosition::about({0, 0, 0}, {0, 0, 1}, 5),
         {1, 0, -18},
         {0, -1, -18}},
        {"axis of twice the length, half the angle",
         TwistPosition::about({0, 0, 0}, {0, 0, 2}, 5),
         {1, 0, 18},
         {std::sqrt(0.5), std::sqrt(0.5), 18}},
        {"about another centre", TwistPosition::about({1, 2, 3}, {0, 4, 0}, 360), {1, 3, 5}, {3, 3, 3}},
        {"on the axis", TwistPosition::about({1, 1, 0}, {0, 0, 1}, 50), {1, 1, 4}, {1, 1, 4}},
        {"zero axis", TwistPosition::about({1, 2, 3}, {0, 0, 0}, 5), {7, 8, 9}, {1, 2, 3}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        expectNear(c.twist(c.p), c.expected);
    }
}

TEST(BendPosition, TurnsByTheWayAlongItsSecondDirection)
{
    struct Case {
        const char* name;
        BendPosition bend;
        Vector p;
        Vector expected;
    };
    const Vector x{1, 0, 0};
    const Vector z{0, 0, 1};
    const Case cases[] = {
        {"right angle at 18", BendPosition::about({0, 0, 0}, x, z, 5), {0, 1, 18}, {0, -18, 1}},
        {"length of the axis doesn't count",
         BendPosition::about({0, 0, 0}, {9, 0, 0}, z, 5),
         {0, 1, 18},
         {0, -18, 1}},
        {"length of the direction does",
         BendPosition::about({0, 0, 0}, x, {0, 0, 2}, 10),
         {0, 1, 18},
         {0, -18, 1}},
        {"at the centre", BendPosition::about({1, 2, 3}, x, z, 50), {1, 2, 3}, {1, 2, 3}},
        {"zero direction changes nothing",
         BendPosition::about({1, 2, 3}, x, {0, 0, 0}, 50),
         {7, 8, 9},
         {7, 8, 9}},
        {"zero axis", BendPosition::about({1, 2, 3}, {0, 0, 0}, z, 5), {7, 8, 9}, {1, 2, 3}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        expectNear(c.bend(c.p), c.expected);
    }
}

TEST(TwistPosition, KeepsDistancesFromTheCentreAndIsUndoneByTheOppositeAngle)
{
    const Vector center{0.5, -1, 0.25};
    const Vector axis{1, 2, -2};
    const TwistPosition twist = TwistPosition::about(center, axis, 70);
    const TwistPosition back = TwistPosition::about(center, axis, -70);
    forRandomPositions([&](const Vector& p) {
        const Vector turned = twist(p);
        EXPECT_NEAR(length(turned - center), length(p - center), 1e-14);
        EXPECT_NEAR(dot(turned - p, axis), 0, 1e-13);
        expectNear(back(turned), p);
    });
}

TEST(BendPosition, IsATwistWhereItsDirectionsAreParallel)
{
    const Vector center{0.5, -1, 0.25};
    const BendPosition bend = BendPosition::about(center, {2, 4, -4}, {1, 2, -2}, 70);
    const TwistPosition twist = TwistPosition::about(center, {1, 2, -2}, 70);
    forRandomPositions([&](const Vector& p) { EXPECT_EQ(bend(p), twist(p)); });
}

TEST(BendPosition, KeepsDistancesFromTheCentreAndHeightsAlongTheAxis)
{
    const Vector center{0.5, -1, 0.25};
    const Vector axis{1, 2, -2};
    const BendPosition bend = BendPosition::about(center, axis, {0, 3, 1}, 40);
    forRandomPositions([&](const Vector& p) {
        EXPECT_NEAR(length(bend(p) - center), length(p - center), 1e-14);
        EXPECT_NEAR(dot(bend(p) - p, axis), 0, 1e-13);
    });
}

TEST(RotationFormulas, AgreeInAllValueTypes)
{
    constexpr double kTolerance = 4e-15;
    agreement::expectAgreement(TwistPosition::about({0.5, 0, 1}, {0, 0, 1}, 60), kTolerance);
    agreement::expectAgreement(TwistPosition::about({0.5, 0, 1}, {1, 2, -2}, 60), kTolerance);
    agreement::expectAgreement(BendPosition::about({0.5, 0, 1}, {1, 0, 0}, {0, 0, 1}, 60), kTolerance);
    agreement::expectAgreement(BendPosition::about({0.5, 0, 1}, {1, 2, -2}, {0, 3, 1}, 60), kTolerance);
}

} // namespace
} // namespace zrk
