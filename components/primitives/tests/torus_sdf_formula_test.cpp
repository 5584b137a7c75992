#include "components/primitives/torus_sdf_formula.h"

#include "components/primitives/tests/distance_laws.h"
#include "testing/formula_agreement.h"

namespace zrk {
namespace {

TEST(TorusDistance, AtPointsWithExactAnswers)
{
    const TorusDistance torus{{1, 1, 1}, 5, 2};
    struct Case {
        const char* name;
        Tensor<3, double> p;
        double expected;
    };
    const Case cases[] = {
        {"at the centre", {1, 1, 1}, 3},
        {"on the ring", {4, 5, 1}, -2},
        {"outside in the ring's plane", {1, 13, 1}, 5},
        {"above the ring", {6, 1, 4}, 1},
        {"3-4-5 triangle from the ring", {10, 1, -2}, 3},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(torus(c.p), c.expected);
    }
}

TEST(TorusDistance, IsSymmetricAboutZ)
{
    const TorusDistance torus{{0, 0, 0}, 1.5, 0.25};
    forRandomPositions([&](const Tensor<3, double>& p) {
        EXPECT_EQ(torus(p), torus(Tensor<3, double>{p[1], -p[0], -p[2]}));
    });
}

TEST(TorusDistance, HasTheSlopeOfADistance)
{
    expectSlopeOfDistance(TorusDistance{{0.5, -0.25, 0.125}, 1.5, 0.5});
}

TEST(TorusDistance, AgreesInAllValueTypes)
{
    agreement::expectAgreement(TorusDistance{{0.5, 0, 1}, 1, 0.25}, 0);
}

} // namespace
} // namespace zrk
