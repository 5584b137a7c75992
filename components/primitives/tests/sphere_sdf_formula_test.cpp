#include "components/primitives/sphere_sdf_formula.h"

#include "components/primitives/tests/distance_laws.h"
#include "testing/formula_agreement.h"

namespace zrk {
namespace {

TEST(SphereDistance, AtPointsWithExactAnswers)
{
    struct Case {
        const char* name;
        SphereDistance sphere;
        Tensor<3, double> p;
        double expected;
    };
    const Case cases[] = {
        {"at the centre", {{1, 2, 3}, 2}, {1, 2, 3}, -2},
        {"3-4-5 triangle, outside", {{0, 0, 0}, 2}, {3, 4, 0}, 3},
        {"on the surface", {{0, 0, 0}, 5}, {0, -3, 4}, 0},
        {"all axes count", {{1, 1, 1}, 1}, {3, 4, 7}, 6},
        {"negative radius", {{0, 0, 0}, -1}, {0, 0, 0}, 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(c.sphere(c.p), c.expected);
    }
}

TEST(SphereDistance, HasTheSlopeOfADistance)
{
    expectSlopeOfDistance(SphereDistance{{0.5, -0.25, 0.125}, 1.5});
}

TEST(SphereDistance, AgreesInAllValueTypes)
{
    agreement::expectAgreement(SphereDistance{{0.5, 0, 1}, 1.25}, 0);
}

} // namespace
} // namespace zrk
