#include "components/transforms/quantize_transform_formula.h"

#include "testing/formula_agreement.h"

namespace zrk {
namespace {

using Vector = Tensor<3, double>;

TEST(QuantizePosition, AtPointsWithExactAnswers)
{
    struct Case {
        const char* name;
        double strength;
        Vector step;
        Vector shift;
        Vector p;
        Vector expected;
    };
    const Case cases[] = {
        {"halves go away from zero", 1, {1, 1, 1}, {0, 0, 0}, {0.5, -0.5, 1.49}, {1, -1, 1}},
        {"step 0 leaves its axis alone", 1, {0, 1, 1}, {0.5, 0, 0}, {0.3, 0.3, 0.7}, {0.3, 0, 1}},
        {"and at any strength", 7, {0, 1, 1}, {0, 0, 0}, {0.3, 1, 2}, {0.3, 1, 2}},
        {"strength 0 stays", 0, {1, 2, 3}, {0.25, 0, 0}, {0.3, -0.7, 8}, {0.3, -0.7, 8}},
        {"half way", 0.5, {1, 1, 1}, {0, 0, 0}, {0.75, 0.25, -0.75}, {0.875, 0.125, -0.875}},
        {"beyond the lattice", 2, {1, 1, 1}, {0, 0, 0}, {0.75, 0.25, -0.75}, {1.25, -0.25, -1.25}},
        {"a step per axis", 1, {2, 4, 0.5}, {0, 0, 0}, {2.9, 2.1, 0.6}, {2, 4, 0.5}},
        {"negative step", 1, {-2, 1, 1}, {0.25, 0, 0}, {0, 0, 0}, {0.5, 0, 0}},
        {"lattice points at (n - shift) * step", 1, {2, 1, 1}, {0.25, 0.5, 0}, {0.4, 0.4, 0}, {-0.5, 0.5, 0}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(QuantizePosition::toLattice(c.strength, c.step, c.shift)(c.p), c.expected);
    }
}

TEST(QuantizePosition, IgnoresTheWholePartOfItsShift)
{
    agreement::Random random(3);
    const QuantizePosition plain = QuantizePosition::toLattice(0.75, {1, 0.5, 2}, {0.25, 0.75, 0});
    const QuantizePosition shifted = QuantizePosition::toLattice(0.75, {1, 0.5, 2}, {1.25, -0.25, -4});
    for (int i = 0; i < 200; ++i) {
        const Vector p{agreement::uniform(random, -3, 3), agreement::uniform(random, -3, 3),
                       agreement::uniform(random, -3, 3)};
        EXPECT_EQ(plain(p), shifted(p)) << p[0] << " " << p[1] << " " << p[2];
    }
}

TEST(QuantizePosition, TakesANaNStepAsAStep)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const Vector moved = QuantizePosition::toLattice(1, {nan, 1, 0}, {0, 0, nan})(Vector{1, nan, 2});
    EXPECT_TRUE(std::isnan(moved[0]) && std::isnan(moved[1]));
    EXPECT_EQ(moved[2], 2);
}

TEST(QuantizePosition, AgreesInAllValueTypes)
{
    agreement::expectAgreement(QuantizePosition::toLattice(1, {1, 0.5, 0}, {0, 0.25, 0.5}), 0);
    agreement::expectAgreement(QuantizePosition::toLattice(-0.5, {1, -0.3, 2}, {0.5, 0.25, 0.1}), 0);
}

} // namespace
} // namespace zrk
