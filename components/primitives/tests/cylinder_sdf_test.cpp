#include "components/primitives/cylinder_sdf.h"

#include "components/primitives/cylinder_sdf_formula.h"
#include "components/primitives/pipe_sdf.h"
#include "components/primitives/tests/distance_laws.h"
#include "testing/component_checks.h"
#include "testing/formula_agreement.h"
#include "testing/special_values.h"

namespace zrk {
namespace {

using zrk::testing::kNaN;

using Vector = Tensor<3, double>;

/// The distances of one cylinder with each of the three kinds of ends.
struct Answers {
    double open;
    double flat;
    double round;
};

Answers answersAt(const TaperedCylinder& c, const Vector& p)
{
    return {OpenCylinderDistance{c}(p), FlatCylinderDistance{c}(p), RoundCylinderDistance(c)(p)};
}

bool same(double a, double b) { return a == b || (std::isnan(a) && std::isnan(b)); }

TEST(CylinderDistance, AtPointsWithExactAnswers)
{
    const TaperedCylinder upright = TaperedCylinder::between({1, 2, 3}, {1, 2, 7}, 1, 1);
    const TaperedCylinder cone = TaperedCylinder::between({0, 0, 0}, {4, 0, 0}, 2, 1);
    const TaperedCylinder point = TaperedCylinder::between({1, 1, 1}, {1, 1, 1}, 1, 1);
    struct Case {
        const char* name;
        TaperedCylinder cylinder;
        Vector p;
        Answers expected;
    };
    const Case cases[] = {
        {"on the axis at mid-height", upright, {1, 2, 5}, {-1, -1, -1}},
        {"nearer to a flat cap", upright, {1, 2, 6.5}, {-1, -0.5, -1}},
        {"beside", upright, {4, 6, 4}, {4, 4, 4}},
        {"on the axis beyond the start", upright, {1, 2, 1}, {-1, 2, 1}},
        {"on the axis beyond the end", upright, {1, 2, 9}, {-1, 2, 1}},
        {"beyond the edge of a flat cap", upright, {5, 2, 11}, {3, 5, std::sqrt(32.0) - 1}},
        {"at the start exactly, the side counts", cone, {0, 5, 0}, {3, 3, 3}},
        {"at the end exactly", cone, {4, 0, 5}, {4, 4, 4}},
        {"radius between the ends", cone, {2, 3, 4}, {3.5, 3.5, 3.5}},
        {"the taper goes on beyond the ends", cone, {8, 3, 4}, {5, std::sqrt(41.0), std::sqrt(41.0) - 1}},
        {"its radius turns negative", cone, {12, 0, 0}, {1, std::sqrt(65.0), 7}},
        {"equal ends", point, {1, 5, 1}, {kNaN, kNaN, kNaN}},
        {"equal ends, at the point", point, {1, 1, 1}, {kNaN, kNaN, kNaN}},
        {"NaN", upright, {1, kNaN, 5}, {kNaN, kNaN, kNaN}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const Answers answers = answersAt(c.cylinder, c.p);
        EXPECT_TRUE(same(answers.open, c.expected.open)) << answers.open;
        EXPECT_TRUE(same(answers.flat, c.expected.flat)) << answers.flat;
        EXPECT_TRUE(same(answers.round, c.expected.round)) << answers.round;
    }
}

TEST(CylinderDistance, HasTheSlopeOfADistance)
{
    const auto oblique = TaperedCylinder::between({-1, 0.5, 0.25}, {1, -0.75, 1.5}, 0.7, 0.7);
    expectSlopeOfDistance(OpenCylinderDistance{oblique});
    expectSlopeOfDistance(FlatCylinderDistance{oblique});
    expectSlopeOfDistance(RoundCylinderDistance(oblique));
}

// Except for rounding, it doesn't matter which end is the start.
TEST(CylinderDistance, IsTheSameFromBothEnds)
{
    const Vector a{-1, 0.5, 0.25};
    const Vector b{1, -0.75, 1.5};
    const auto there = TaperedCylinder::between(a, b, 0.7, 0.2);
    const auto back = TaperedCylinder::between(b, a, 0.2, 0.7);
    forRandomPositions([&](const Vector& p) {
        const Answers x = answersAt(there, p);
        const Answers y = answersAt(back, p);
        EXPECT_NEAR(x.open, y.open, 1e-13);
        EXPECT_NEAR(x.flat, y.flat, 1e-13);
        EXPECT_NEAR(x.round, y.round, 1e-13);
    });
}

TEST(CylinderDistance, AgreesInAllValueTypes)
{
    for (const auto& c : {TaperedCylinder::between({-1, 0.5, 0.25}, {1, -0.75, 1.5}, 0.7, 0.2),
                          TaperedCylinder::between({0, 0, 0}, {0, 0, 1}, 0.5, 0.5),
                          TaperedCylinder::between({0, 1, 0}, {0, 1, 0}, 0.5, 0.5)}) {
        agreement::expectAgreement(OpenCylinderDistance{c}, 0);
        agreement::expectAgreement(FlatCylinderDistance{c}, 0);
        agreement::expectAgreement(RoundCylinderDistance(c), 0);
    }
}

} // namespace
} // namespace zrk

namespace zrkmodel {
namespace {

using namespace zrkmodel::testing;

constexpr const char* kCylinder =
    R"({"start point":[1.0,2.0,3.0],"end point":[1.0,2.0,7.0],"start radius":1.0,"end radius":2.0,"cap style":1})";

TEST(Cylinder, HasItsStoredForm)
{
    expectStoredForm<ZRKCylinderSDF>(
        R"({"start point":[0.0,0.0,0.0],"end point":[0.0,0.0,1.0],"start radius":0.1,"end radius":0.1,"cap style":2})",
        kCylinder);
    expectForwardedWeight<ZRKCylinderSDF>();
    expectEditsReachOnlyNewEvaluators<ZRKCylinderSDF>(kCylinder, {0, 0, 0});
}

TEST(Cylinder, ChoosesItsEndsByNumber)
{
    const auto component = std::make_shared<ZRKCylinderSDF>();
    load(*component, ZRKJson::parse(kCylinder));
    const Vector beyond{1, 2, 11}; // the radius has grown to 3 there
    const std::pair<const char*, double> cases[] = {{"0", -3}, {"1", 4},  {"2", 2},
                                                    {"7", 2},  {"-1", 2}, {"0.9", -3}};
    for (const auto& [style, expected] : cases) {
        load(*component, ZRKJson::parse(std::string(R"({"cap style": )") + style + "}"));
        EXPECT_EQ(sample(component, beyond).front(), expected) << style;
    }
}

TEST(Pipe, StoresItsValuesAndWritesNothing)
{
    const std::string edited =
        R"({"radius":2.0,"pathCurve":"0b0e0000-0000-4000-8000-000000000001","cap style":0,"scaling":[[0.0,3.0,2]]})";
    const auto pipe = std::make_shared<ZRKPipeSDF>();
    EXPECT_EQ(stored(*pipe),
              R"({"radius":0.1,"pathCurve":"","cap style":2,"scaling":[[0.0,1.0,0],[1.0,1.0,0]]})");
    EXPECT_EQ(sample(pipe, {1, 2, 3}), (std::vector<double>{0, 0}));
    load(*pipe, ZRKJson::parse(edited));
    EXPECT_EQ(stored(*pipe), edited);
    EXPECT_EQ(stored(dynamic_cast<ZRKPipeSDF&>(*pipe->clone())), edited);
    EXPECT_EQ(sample(pipe, {1, 2, 3}), (std::vector<double>{0, 0}));
    load(*pipe, ZRKJson::parse(R"({"pathCurve": "", "radius": 3})"));
    EXPECT_EQ(pipe->scaling.value().points.size(), 0u) << "a missing curve is an empty one";
    EXPECT_EQ(pipe->radius.value(), 3);
}

} // namespace
} // namespace zrkmodel
