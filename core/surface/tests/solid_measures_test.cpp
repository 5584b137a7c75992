#include "core/surface/solid_measures.h"

#include "core/engine/progress.h"
#include "core/surface/passages.h"
#include "testing/picture_fields.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

namespace zrk {
namespace {

using picture::Ball;
using picture::prepared;

/// The distance to boxes with the same half sides, the exact one outside and inside.
struct Blocks {
    Tensor<3, double> half;
    double between; ///< between the middles of two of them along x; 0 for one

    template <class V>
    V operator()(const Tensor<3, V>& p) const
    {
        const V x = abs(abs(p[0]) - between / 2) - half[0];
        const V y = abs(p[1]) - half[1];
        const V z = abs(p[2]) - half[2];
        const V out[3] = {maximum(x, V(0.0)), maximum(y, V(0.0)), maximum(z, V(0.0))};
        return sqrt(out[0] * out[0] + out[1] * out[1] + out[2] * out[2]) +
               minimum(maximum(x, maximum(y, z)), V(0.0));
    }
};

SurfaceSettings within(double half)
{
    SurfaceSettings settings;
    settings.lower = {-half, -half, -half};
    settings.upper = {half, half, half};
    return settings;
}

SolidMeasures measured(const PreparedField& field, const SurfaceSettings& settings, double accuracy = 1e-3)
{
    return measureSolid(field, settings, {.accuracy = accuracy}).value();
}

void expectWithin(const Measured& found, double truth)
{
    EXPECT_NEAR(found.value, truth, found.error + 1e-9 * truth);
}

TEST(SolidMeasures, HoldTheTruthWithinTheirErrors)
{
    const double r = 0.7;
    const SolidMeasures ball = measured(prepared(Ball{{0.1, -0.05, 0.02}, r}), within(1), 2e-4);
    EXPECT_TRUE(ball.isAccurate);
    expectWithin(ball.volume, 4.0 / 3 * std::numbers::pi * r * r * r);
    expectWithin(ball.area, 4 * std::numbers::pi * r * r);
    EXPECT_DOUBLE_EQ(ball.fraction.value, ball.volume.value / 8);
    EXPECT_LE(ball.volume.error, 2e-4 * ball.volume.value);
    EXPECT_NEAR(ball.center[0], 0.1, ball.centerError + 1e-9);
    EXPECT_NEAR(ball.lower[1], -0.75, ball.boxError);
    EXPECT_NEAR(ball.upper[2], 0.72, ball.boxError);
    EXPECT_EQ(ball.cutArea, 0);
}

// Edges and corners are kept, so that a box has no error; off the grid and cut by the bounds.
TEST(SolidMeasures, OfABoxAreExact)
{
    SurfaceSettings settings = within(1);
    settings.upper[0] = 0.3;
    const SolidMeasures box = measured(prepared(Blocks{{0.61, 0.47, 0.33}, 0}), settings);
    const double sides[3] = {0.91, 0.94, 0.66};
    EXPECT_NEAR(box.volume.value, sides[0] * sides[1] * sides[2], 1e-9);
    EXPECT_NEAR(box.area.value, 2 * (sides[0] * sides[1] + sides[1] * sides[2] + sides[2] * sides[0]), 1e-9);
    EXPECT_NEAR(box.cutArea, sides[1] * sides[2], 1e-9);
    EXPECT_NEAR(box.upper[0], 0.3, 1e-12);
    EXPECT_NEAR(box.center[0], (0.3 - 0.61) / 2, 1e-9);
    EXPECT_NEAR(box.fraction.value, box.volume.value / (1.3 * 2 * 2), 1e-12);
}

TEST(SolidMeasures, TakeTheSideOfADensity)
{
    SurfaceSettings settings = within(0.5);
    settings.iso = 0;
    settings.solid = SolidSide::Above; // what lies outside of the ball
    const double ball = 4.0 / 3 * std::numbers::pi * 0.4 * 0.4 * 0.4;
    const SolidMeasures rest = measured(prepared(Ball{{}, 0.4}), settings);
    expectWithin(rest.volume, 1 - ball);
    EXPECT_NEAR(rest.cutArea, 6, 1e-9);
}

TEST(SolidMeasures, OfNothingAndOfAllAreThatAtOnce)
{
    const SolidMeasures nothing = measured(prepared(Ball{{5, 0, 0}, 1}), within(1));
    EXPECT_TRUE(nothing.isEmpty());
    EXPECT_EQ(nothing.area.value, 0);
    const SolidMeasures all = measured(prepared(Ball{{}, 9}), within(1));
    EXPECT_NEAR(all.volume.value, 8, 1e-9);
    EXPECT_NEAR(all.cutArea, 24, 1e-9);
}

TEST(SolidMeasures, SayWhenTheCellsEndTooSoon)
{
    const SolidMeasures ball =
        measureSolid(prepared(Ball{}), within(1), {.accuracy = 1e-6, .mostCells = 64}).value();
    EXPECT_FALSE(ball.isAccurate);
    EXPECT_EQ(ball.cells[0], 64);
    EXPECT_GT(ball.volume.error, 1e-6 * ball.volume.value);
}

struct Stopping final : ProgressMonitor {
    double last = 0;
    bool isRising = true;
    int untilStop = 1 << 20;
    void progress(double fraction) override
    {
        isRising = isRising && fraction >= last && fraction <= 1;
        last = fraction;
    }
    bool interruptRequested() override { return --untilStop < 0; }
};

TEST(SolidMeasures, TellProgressAndStop)
{
    Stopping monitor;
    ASSERT_TRUE(measureSolid(prepared(Ball{}), within(1), {}, &monitor));
    EXPECT_TRUE(monitor.isRising);
    EXPECT_GT(monitor.last, 0);
    monitor.untilStop = 0;
    EXPECT_FALSE(measureSolid(prepared(Ball{}), within(1), {}, &monitor));
    EXPECT_TRUE(monitor.isInterruptAcknowledged());
}

Passages passagesOf(const PreparedField& field, SurfaceSettings settings)
{
    settings.cells = {64, 64, 64};
    return narrowestPassages(extractSurface(field, settings).value(), field, settings).value();
}

TEST(Passages, FindTheThinnestWallAndTheNarrowestGap)
{
    // Two blocks, 0.3 thick along x and 0.11 apart.
    const Passages blocks = passagesOf(prepared(Blocks{{0.15, 0.4, 0.5}, 0.41}), within(1));
    ASSERT_TRUE(blocks.isDistance);
    ASSERT_TRUE(blocks.wall && blocks.gap);
    EXPECT_NEAR(blocks.wall->length, 0.3, 1e-6);
    EXPECT_NEAR(blocks.gap->length, 0.11, 1e-6);
    EXPECT_NEAR(std::abs(blocks.gap->from[0]), 0.055, 1e-6);
    EXPECT_NEAR(blocks.gap->to[0], -blocks.gap->from[0], 1e-6);
}

/// A wedge 1 wide along z, whose edge points along x; the distance within it.
struct Wedge {
    double halfAngle;

    template <class V>
    V operator()(const Tensor<3, V>& p) const
    {
        const V slanted = (p[0] - 0.8) * std::sin(halfAngle) + abs(p[1]) * std::cos(halfAngle);
        return maximum(maximum(slanted, -0.6 - p[0]), abs(p[2]) - 0.5);
    }
};

TEST(Passages, CountWhereTheSidesFaceEachOther)
{
    const double degree = std::numbers::pi / 180;
    const Passages wedge = passagesOf(prepared(Wedge{25 * degree}), within(1));
    ASSERT_TRUE(wedge.wall);
    EXPECT_NEAR(wedge.wall->length, 1, 1e-6);
    const Passages blade = passagesOf(prepared(Wedge{10 * degree}), within(1));
    ASSERT_TRUE(blade.wall);
    EXPECT_LT(blade.wall->length, 0.05);
}

TEST(Passages, EndAtTheBounds)
{
    // One block that the bounds cut on both sides along z: its walls run along x and y, and there is no gap.
    SurfaceSettings settings = within(1);
    settings.lower[2] = -0.1;
    settings.upper[2] = 0.1;
    const Passages block = passagesOf(prepared(Blocks{{0.3, 0.4, 0.9}, 0}), settings);
    ASSERT_TRUE(block.wall);
    EXPECT_NEAR(block.wall->length, 0.6, 1e-6);
    EXPECT_FALSE(block.gap);
}

TEST(Passages, AreThoseOfTheSolidAtItsIsoValue)
{
    SurfaceSettings settings = within(1.2);
    settings.iso = 0.1;
    const Passages ball = passagesOf(prepared(Ball{{}, 0.5}), settings);
    ASSERT_TRUE(ball.wall);
    EXPECT_NEAR(ball.wall->length, 1.2, 1e-5);
}

TEST(Passages, AreNotToldOfAFieldThatIsNoDistance)
{
    const Passages waves = passagesOf(prepared(picture::TwistedGyroid{}), within(1));
    EXPECT_FALSE(waves.isDistance);
    EXPECT_FALSE(waves.wall || waves.gap);
}

} // namespace
} // namespace zrk
