#include "components/primitives/plane_sdf_formula.h"

#include "components/primitives/tests/distance_laws.h"
#include "testing/formula_agreement.h"

namespace zrk {
namespace {

TEST(PlaneDistance, AtPointsWithExactAnswers)
{
    struct Case {
        const char* name;
        Tensor<3, double> origin;
        Tensor<3, double> normal;
        Tensor<3, double> p;
        double expected;
    };
    const Case cases[] = {
        {"above", {0, 0, 0}, {0, 0, 1}, {5, -7, 2}, 2},
        {"below", {0, 0, 1}, {0, 0, 1}, {5, -7, -2}, -3},
        {"long normal", {0, 0, 0}, {0, 0, 2}, {5, -7, 2}, 2},
        {"along x", {1, 0, 0}, {4, 0, 0}, {3, 9, 9}, 2},
        {"along negative y", {0, 1, 0}, {0, -0.5, 0}, {3, 3, 9}, -2},
        {"zero normal", {1, 2, 3}, {0, 0, 0}, {8, -5, 2}, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(PlaneDistance::through(c.origin, c.normal)(c.p), c.expected);
    }
}

// x and y are added first and z last, which decides whether a small number beside a large z survives.
TEST(PlaneDistance, AddsTheAxesInItsOwnOrder)
{
    const PlaneDistance plane{{0, 0, 0}, {1, 1, 1}};
    EXPECT_EQ(plane(Tensor<3, double>{1e16, -1e16, 1}), 1);
    EXPECT_EQ(plane(Tensor<3, double>{1e16, 1, -1e16}), 0);
}

TEST(PlaneDistance, HasTheSlopeOfADistance)
{
    expectSlopeOfDistance(PlaneDistance::through({0.5, 1, 0}, {1, -2, 3}));
}

TEST(PlaneDistance, AgreesInAllValueTypes)
{
    agreement::expectAgreement(PlaneDistance::through({0.5, 1, 0}, {1, -2, 3}), 0);
    agreement::expectAgreement(PlaneDistance::through({0.5, 1, 0}, {0, 0, 0}), 0);
}

} // namespace
} // namespace zrk
