#include "components/patterns/cross_formula.h"
#include "components/patterns/gyroid_formula.h"
#include "testing/formula_agreement.h"

namespace zrk {
namespace {

using Vector = Tensor<3, double>;

const CrossBars kEvenBars = CrossBars::withThickness({1, 1, 1});

TEST(GyroidDensity, AtPointsWithKnownAnswers)
{
    const GyroidDensity gyroid = GyroidDensity::withContour(0);
    EXPECT_EQ(gyroid(Vector{0, 0, 0}), 0.5);
    EXPECT_EQ(gyroid(Vector{0.25, 0, 0}), 0.333333333 + 0.5);
    EXPECT_EQ(GyroidDensity::withContour(2)(Vector{0, 0, 0}), 2.5);
    // Which sine meets which cosine: sin x cos y, sin y cos z, sin z cos x.
    EXPECT_NEAR(gyroid(Vector{0.25, 0.5, 0}), 0.5 - 0.333333333, 1e-15);
    EXPECT_NEAR(gyroid(Vector{0, 0.25, 0.5}), 0.5 - 0.333333333, 1e-15);
    EXPECT_NEAR(gyroid(Vector{0.5, 0, 0.25}), 0.5 - 0.333333333, 1e-15);
}

TEST(HardCrossDensity, AtPointsWithKnownAnswers)
{
    struct Case {
        const char* name;
        Vector ratios;
        Vector p;
        double expected;
    };
    const double root2 = std::numbers::sqrt2;
    const Case cases[] = {
        {"centre of a cell", {1, 1, 1}, {0.5, 0.5, 0.5}, 1},
        {"corner of a cell", {1, 1, 1}, {0, 0, 0}, 1 - root2 * std::sqrt(0.5)},
        {"on the bar along x", {1, 1, 1}, {0.1, 0.5, 0.5}, 1},
        {"a quarter beside the bar along y", {1, 1, 1}, {0.75, 2.0, 3.5}, 1 - root2 * 0.25},
        {"negative coordinates fold the same way", {1, 1, 1}, {-0.25, -2.0, -3.5}, 1 - root2 * 0.25},
        {"thin bar along z", {1, 1, 0}, {0.5, 0.5, 0.0}, 1 - root2 * 0.25},
        {"thin bars, thickest nearest", {-1, 0, -3}, {0.5, 0.5, 0.5}, 1 - root2 * 0.25},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ((HardCrossDensity{CrossBars::withThickness(c.ratios)}(c.p)), c.expected);
    }
}

TEST(SmoothCrossDensity, AtPointsWithKnownAnswers)
{
    const SmoothCrossDensity smooth = SmoothCrossDensity::withSmoothness(kEvenBars, 0.5);
    EXPECT_EQ(smooth(Vector{0.5, 0.5, 0.5}), 3);
    EXPECT_DOUBLE_EQ(smooth(Vector{0.25, 0.5, 0.5}), 1 + 2 * std::exp(-50 / 16.0));
    const CrossBars thinX = CrossBars::withThickness({0, 1, 1});
    EXPECT_DOUBLE_EQ(SmoothCrossDensity::withSmoothness(thinX, 0.5)(Vector{0.5, 0.5, 0.5}),
                     2 + std::exp(-50 / 16.0));
}

template <class Pattern>
void expectPeriodOfOne(const Pattern& pattern)
{
    agreement::Random random(5);
    for (int i = 0; i < 300; ++i) {
        const Vector p{agreement::uniform(random, -3, 3), agreement::uniform(random, -3, 3),
                       agreement::uniform(random, -3, 3)};
        for (std::size_t axis = 0; axis < 3; ++axis) {
            Vector moved = p;
            moved[axis] += axis == 1 ? -2 : 1;
            // Rounding of the moved coordinate times the steepest slope.
            EXPECT_NEAR(pattern(moved), pattern(p), 2e-14) << p[0] << " " << p[1] << " " << p[2];
        }
    }
}

TEST(Patterns, RepeatAlongEveryAxis)
{
    expectPeriodOfOne(GyroidDensity::withContour(0.25));
    expectPeriodOfOne(HardCrossDensity{CrossBars::withThickness({1, 0.5, 0})});
    expectPeriodOfOne(SmoothCrossDensity::withSmoothness(CrossBars::withThickness({1, 0.5, 0}), 0.3));
}

// A minimum by comparison would drop a NaN of x.
TEST(Patterns, HandOnNaNOfEveryCoordinate)
{
    for (std::size_t axis = 0; axis < 3; ++axis) {
        Vector p{0.25, 0.5, 0.75};
        p[axis] = std::numeric_limits<double>::quiet_NaN();
        EXPECT_TRUE(std::isnan(GyroidDensity::withContour(0)(p))) << "axis " << axis;
        EXPECT_TRUE(std::isnan(HardCrossDensity{kEvenBars}(p))) << "axis " << axis;
        EXPECT_TRUE(std::isnan(SmoothCrossDensity::withSmoothness(kEvenBars, 1)(p))) << "axis " << axis;
    }
}

TEST(Patterns, AgreeInAllValueTypes)
{
    constexpr double kTolerance = 4e-15;
    const CrossBars bars = CrossBars::withThickness({1, 0.5, 0});
    agreement::expectAgreement(GyroidDensity::withContour(0.25), kTolerance);
    agreement::expectAgreement(HardCrossDensity{bars}, 0);
    agreement::expectAgreement(SmoothCrossDensity::withSmoothness(bars, 0.5), kTolerance);
}

} // namespace
} // namespace zrk
