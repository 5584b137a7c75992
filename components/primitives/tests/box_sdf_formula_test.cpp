#include "components/primitives/box_sdf_formula.h"

#include "components/primitives/tests/distance_laws.h"
#include "testing/formula_agreement.h"
#include "testing/special_values.h"

namespace zrk {
namespace {

using zrk::testing::kNaN;

TEST(BoxDistance, AtPointsWithExactAnswers)
{
    const BoxDistance unit = BoxDistance::rounded({0.5, 0.5, 0.5}, {1, 1, 1}, 0);
    const BoxDistance brick = BoxDistance::rounded({1, 0, 0}, {2, 4, 6}, 0);
    const BoxDistance pill = BoxDistance::rounded({0, 0, 0}, {2, 2, 4}, 1);
    struct Case {
        const char* name;
        BoxDistance box;
        Tensor<3, double> p;
        double expected;
    };
    const Case cases[] = {
        {"centre", unit, {0.5, 0.5, 0.5}, -0.5},
        {"corner", unit, {0, 0, 0}, 0},
        {"inside, nearest to a face", brick, {1, 1.75, 0}, -0.25},
        {"beside a face", brick, {1, 0, -5}, 2},
        {"beside an edge", brick, {5, 6, 0}, 5},
        {"beside a corner", brick, {3, 4, 5}, 3},
        {"radius of half the smallest side keeps the outer size", pill, {0, 1, 0}, 0},
        {"and along the longest side", pill, {0, 0, 2}, 0},
        {"round end", pill, {3, 0, 5}, 4},
        {"negative dimensions", BoxDistance::rounded({0, 0, 0}, {-2, -2, -2}, 0), {0, 2, 1}, std::sqrt(14.0)},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(c.box(c.p), c.expected);
    }
}

TEST(BoxDistance, KeepsItsOuterSizeForEveryRadius)
{
    for (const double radius : {0.0, 0.25, 1.0}) {
        const BoxDistance box = BoxDistance::rounded({0, 0, 0}, {2, 3, 4}, radius);
        EXPECT_EQ(box(Tensor<3, double>{1, 0, 0}), 0);
        EXPECT_EQ(box(Tensor<3, double>{0, -1.5, 0}), 0);
        EXPECT_EQ(box(Tensor<3, double>{0, 0, 2}), 0);
    }
}

// A NaN isn't positive, so it adds nothing to the length outside; the largest is found by comparisons.
TEST(BoxDistance, TreatsNaNAsNotPositive)
{
    const BoxDistance box = BoxDistance::rounded({0, 0, 0}, {2, 2, 2}, 0);
    EXPECT_EQ(box(Tensor<3, double>{kNaN, 4, 5}), 5);
    EXPECT_EQ(box(Tensor<3, double>{4, kNaN, 5}), 5);
    EXPECT_TRUE(std::isnan(box(Tensor<3, double>{4, 5, kNaN})));
    EXPECT_TRUE(std::isnan(box(Tensor<3, double>{kNaN, kNaN, kNaN})));
}

TEST(WireframeBoxDistance, AtPointsWithExactAnswers)
{
    const WireframeBoxDistance frame = WireframeBoxDistance::around({1, 1, 1}, {8, 8, 8}, 0.5);
    struct Case {
        const char* name;
        Tensor<3, double> p;
        double expected;
    };
    const Case cases[] = {
        {"corner", {5, 5, 5}, 0},
        {"middle of a bar along x", {1, 4.5, 4.5}, -0.5},
        {"middle of a bar along y", {4.5, 1, -2.5}, -0.5},
        {"middle of a bar along z", {-2.5, 4.5, 1}, -0.5},
        {"beside a bar, outside", {1, 5, 7}, 2},
        {"beside a bar's edge, outside", {1, 8, 9}, 5},
        {"beyond the corner", {6, 7, 7}, 3},
        {"centre of a face", {1, 1, 4.5}, 3},
        {"centre of the box, nearest to an edge of a bar", {1, 1, 1}, std::sqrt(18.0)},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(frame(c.p), c.expected);
    }
}

// No point of the frame lies outside the box, and a frame whose bars meet in the middle fills the box.
TEST(WireframeBoxDistance, LiesWithinItsBox)
{
    const Tensor<3, double> center{0.25, 0, -0.5};
    const BoxDistance box = BoxDistance::rounded(center, {2, 2, 2}, 0);
    const WireframeBoxDistance thin = WireframeBoxDistance::around(center, {2, 2, 2}, 0.125);
    const WireframeBoxDistance thick = WireframeBoxDistance::around(center, {2, 2, 2}, 0.5);
    forRandomPositions([&](const Tensor<3, double>& p) {
        EXPECT_GE(thin(p), box(p));
        EXPECT_NEAR(std::max(thick(p), 0.0), std::max(box(p), 0.0),
                    1e-14); // different sums, so different rounding
    });
}

TEST(BoxDistances, HaveTheSlopeOfADistance)
{
    expectSlopeOfDistance(BoxDistance::rounded({0.5, -0.25, 0}, {1, 2, 3}, 0.25));
    expectSlopeOfDistance(WireframeBoxDistance::around({0.5, -0.25, 0}, {2, 3, 4}, 0.25));
}

TEST(BoxDistances, AgreeInAllValueTypes)
{
    agreement::expectAgreement(BoxDistance::rounded({0.5, 0, 1}, {1, 2, 3}, 0.25), 0);
    agreement::expectAgreement(WireframeBoxDistance::around({0.5, 0, 1}, {1, 2, 3}, 0.25), 0);
}

} // namespace
} // namespace zrk
