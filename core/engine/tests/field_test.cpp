#include "core/engine/evaluation_domain.h"
#include "core/engine/field_generator.h"
#include "core/engine/rasterize.h"
#include "core/values/fault.h"
#include "testing/random_chain.h"

#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <random>
#include <stdexcept>
#include <string>

namespace zrk {
namespace {

using Grid = Region<3, 3, double, 1>;

/// A property that counts its changes, and answers with one more than it stores.
struct CountedProperty final : FieldProperty<double> {
    using FieldProperty::FieldProperty;
    int changes = 0;
    double lastOld = 0;
    double get() const override { return FieldProperty::get() + 1; }
    void onChanged(const double& old, const double&) override
    {
        ++changes;
        lastOld = old;
    }
};

TEST(FieldGenerator, CloneKeepsTheProperties)
{
    const SolidField<1, 3> solid(2.5);
    for (const bool deep : {false, true}) {
        const std::shared_ptr<IFieldGenerator> copy = solid.clone(deep);
        EXPECT_EQ(chains::records(IField(copy), chains::grid(2, 2, 2))[0], 2.5);
        EXPECT_EQ(copy->descriptor().name, "solid");
        static_cast<SolidField<1, 3>&>(*copy).fillValue.set({9});
        EXPECT_EQ(solid.fillValue.get()[0], 2.5);
    }
    EXPECT_EQ(PassThroughField<3>().clone(true)->descriptor().name, "pass through");
    EXPECT_THROW(literal::node(1, {}, {}).generator()->clone(true), std::bad_function_call);
}

TEST(FieldGenerator, TypedFieldsTakeOnlyTheirShape)
{
    const IField solid(std::make_shared<SolidField<1, 3>>());
    EXPECT_TRUE((Field<1, 3>(solid)));
    EXPECT_FALSE((Field<3, 3>(solid)));
    EXPECT_TRUE((Field<3, 3>(literal::position())));
    EXPECT_FALSE((Field<1, 3>(IField())));
}

TEST(FieldProperty, ValuesComeAndGoWithoutTheirType)
{
    FieldProperties owner;
    CountedProperty property(owner, "level", 1.0);
    FieldPropertyBase& base = *owner.find("level");
    EXPECT_EQ(owner.find("Level"), nullptr);
    EXPECT_NE(base.setValue(std::string("2")), PropertyErrorCode::None);
    EXPECT_NE(base.setValue(2), PropertyErrorCode::None);
    EXPECT_NE(base.setValue({}), PropertyErrorCode::None);
    EXPECT_EQ(property.changes, 0);
    EXPECT_EQ(base.setValue(3.0), PropertyErrorCode::None);
    EXPECT_EQ(property.changes, 1);
    EXPECT_EQ(property.lastOld, 1.0);
    EXPECT_EQ(std::any_cast<double>(base.value()), 4.0);
    EXPECT_EQ(base.setValue(3.0), PropertyErrorCode::None);
    EXPECT_EQ(property.changes, 1);
}

TEST(FieldProperty, AssignTakesTheSameTypeOnly)
{
    FieldProperties owner;
    CountedProperty from(owner, "a", 5.0);
    FieldProperty<double> to(owner, "b", 1.0);
    FieldProperty<float> other(owner, "c", 7.0F);
    to.assign(&other, true);
    to.assign(nullptr, true);
    EXPECT_EQ(to.get(), 1.0);
    to.assign(&from, false);
    EXPECT_EQ(to.get(), 5.0);
    to.assign(&from, true);
    EXPECT_EQ(to.get(), 6.0);
}

TEST(LinearGridDomain, XRunsFastestThenYThenZ)
{
    const GridDomain domain(Grid({-1, 0, 2}, {1, 4, 8}, 2, 3, 4));
    EXPECT_EQ(domain.sampleCount(), 24);
    EXPECT_EQ(domain.position(0), (Tensor<4, double>{-1, 0, 2, 1}));
    EXPECT_EQ(domain.position(1), (Tensor<4, double>{1, 0, 2, 1}));
    EXPECT_EQ(domain.position(2), (Tensor<4, double>{-1, 2, 2, 1}));
    EXPECT_EQ(domain.position(6), (Tensor<4, double>{-1, 0, 4, 1}));
    EXPECT_EQ(domain.position(23), (Tensor<4, double>{1, 4, 8, 1}));
}

Grid skewedGrid(std::mt19937& random, bool mayBeFlat)
{
    std::uniform_real_distribution<double> number(-3, 3);
    const auto extent = [&] { return static_cast<int>(random() % 7) + (mayBeFlat ? 1 : 2); };
    Grid grid({number(random), number(random), number(random)},
              {number(random), number(random), number(random)}, extent(), extent(), extent());
    for (int c = 0; c < 3; ++c) {
        grid.origin[c] = number(random);
        for (auto& axis : grid.axes) {
            axis[c] = number(random);
        }
    }
    return grid;
}

// All ways to the positions of a grid give the same bits, and those of the region.
TEST(LinearGridDomain, RunsOfPositionsHaveTheBitsOfSinglePositions)
{
    std::mt19937 random(4);
    for (int round = 0; round < 200; ++round) {
        const Grid grid = skewedGrid(random, true);
        GridDomain domain(grid);
        const auto& n = grid.dimensions();
        const std::int32_t first = static_cast<std::int32_t>(random() % domain.sampleCount());
        const std::int32_t count = static_cast<std::int32_t>(random() % (domain.sampleCount() - first + 1));
        std::vector<double> rows[3];
        for (auto& row : rows) {
            row.assign(count + 1, -77);
        }
        domain.positions(first, count, rows[0].data(), rows[1].data(), rows[2].data());
        const auto samples = domain.samples();
        for (std::int32_t i = 0; i < count; ++i) {
            const Tensor<4, double> p = domain.position(first + i);
            const Tensor<4, double> expected = [&] {
                const std::int32_t k = first + i;
                const auto q = grid.localToWorld(k % n[0], k / n[0] % n[1], k / (n[0] * n[1]));
                return Tensor<4, double>{q[0], q[1], q[2], 1};
            }();
            const double row[4] = {rows[0][i], rows[1][i], rows[2][i], 1.0};
            ASSERT_TRUE(chains::sameBits(p.begin(), expected.begin(), 4)) << "round " << round << ", " << i;
            ASSERT_TRUE(chains::sameBits(row, expected.begin(), 4)) << "round " << round << ", " << i;
            ASSERT_TRUE(chains::sameBits(samples->record(first + i), expected.begin(), 4))
                << "round " << round;
        }
        for (const auto& row : rows) {
            EXPECT_EQ(row[count], -77);
        }
    }
}

// A row that is said to repeat serves a block elsewhere in its place.
TEST(LinearGridDomain, RepeatedPositionsHaveTheSameBits)
{
    std::mt19937 random(9);
    int repetitions = 0;
    for (int round = 0; round < 2000; ++round) {
        Grid grid = skewedGrid(random, true);
        if (round % 4 > 0) {
            const double zeros[] = {0.0, -0.0, 1.5, -2.0};
            grid = Grid({-1, -2, -0.5}, {1, 0, 0.5}, 1 + static_cast<int>(random() % 4),
                        1 + static_cast<int>(random() % 4), 1 + static_cast<int>(random() % 3));
            for (int c = 0; c < 3; ++c) {
                grid.origin[c] = zeros[random() % 4];
                grid.axes[c][c] = random() % 2 ? -1.0 : 1.0;
            }
        }
        const GridDomain domain(grid);
        const auto n = static_cast<unsigned>(domain.sampleCount());
        const auto count = static_cast<std::int32_t>(1 + random() % n);
        const auto earlier = static_cast<std::int32_t>(random() % (n - count + 1));
        const auto first = static_cast<std::int32_t>(random() % (n - count + 1));
        const auto repeated = domain.repeatedPositions(earlier, first, count);
        for (std::size_t c = 0; c < 3; ++c) {
            for (std::int32_t i = 0; repeated[c] && i < count; ++i) {
                ASSERT_TRUE(
                    chains::sameBits(&domain.position(earlier + i)[c], &domain.position(first + i)[c], 1))
                    << "round " << round << ", component " << c << ", from " << earlier << " to " << first;
                ++repetitions;
            }
        }
    }
    EXPECT_GT(repetitions, 1000);
    const GridDomain plain(Grid({-1, -1, -1}, {1, 1, 1}, 16, 16, 16));
    EXPECT_EQ(plain.repeatedPositions(0, 64, 64), (std::array<bool, 3>{true, false, true}));
    EXPECT_EQ(plain.repeatedPositions(0, 256, 64), (std::array<bool, 3>{true, true, false}));
}

TEST(LinearGridDomain, BoundsHoldEveryPositionAndTouchTheCorners)
{
    std::mt19937 random(5);
    for (int round = 0; round < 50; ++round) {
        const GridDomain domain(skewedGrid(random, false));
        const Corners<double> box = *domain.bounds();
        Corners<double> seen{{1e9, 1e9, 1e9}, {-1e9, -1e9, -1e9}};
        for (std::int32_t i = 0; i < domain.sampleCount(); ++i) {
            const Tensor<4, double> p = domain.position(i);
            for (int c = 0; c < 3; ++c) {
                seen.first[c] = std::min(seen.first[c], p[c]);
                seen.second[c] = std::max(seen.second[c], p[c]);
            }
        }
        for (int c = 0; c < 3; ++c) {
            // Linear over the grid, so extremes lie in corners, up to a rounding of an inner node.
            EXPECT_NEAR(seen.first[c], box.first[c], 1e-13);
            EXPECT_NEAR(seen.second[c], box.second[c], 1e-13);
        }
    }
}

TEST(LinearGridDomain, TooLargeGridsAreRefused)
{
    struct Case {
        const char* name;
        int n[3];
        std::int64_t count;
    };
    const Case cases[] = {
        {"the most samples", {2147483647, 1, 1}, 2147483647},
        {"one too many", {65536, 32768, 1}, -1},
        {"64 bits overflow", {2147483647, 2147483647, 2147483647}, -1},
        {"32 bits overflow to a small number", {65536, 65536, 1}, -1},
        {"an axis without nodes", {0, 2147483647, 2147483647}, 0},
        {"a negative axis", {3, -4, 5}, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        if (c.count < 0) {
            EXPECT_THROW(gridSampleCount(c.n[0], c.n[1], c.n[2]), FaultError);
            Raster<1, 3, double> raster(2, 2, 2);
            EXPECT_THROW(rasterizeField(literal::position(), Grid({}, {}, c.n[0], c.n[1], c.n[2]), raster),
                         FaultError);
            EXPECT_EQ(raster.data.size(), 8u);
        } else {
            EXPECT_EQ(gridSampleCount(c.n[0], c.n[1], c.n[2]), c.count);
        }
    }
}

struct CountingDomain final : EvaluationDomain<3, double> {
    using EvaluationDomain::position;
    mutable int fills = 0;
    std::int32_t n = 5;
    std::optional<Corners<double>> bounds() const override { return {}; }
    std::int32_t sampleCount() const override { return n; }
    Tensor<4, double> position(std::int32_t i) const override { return {1.0 * i, 2, 3, 1}; }
    std::int32_t fill(SampleBufferData<double>& buffer) const override
    {
        ++fills;
        return EvaluationDomain::fill(buffer);
    }
};

TEST(EvaluationDomain, SamplesAreFilledOnceUntilTheyAreStale)
{
    CountingDomain domain;
    const auto samples = domain.samples();
    EXPECT_EQ(domain.samples(), samples);
    EXPECT_EQ(domain.fills, 1);
    EXPECT_EQ(samples->stride, 4u);
    EXPECT_EQ(samples->record(4)[0], 4.0);
    domain.n = 7;
    domain.stale = true;
    EXPECT_EQ(domain.samples(), samples);
    EXPECT_EQ(domain.fills, 2);
    EXPECT_EQ(samples->count, 7u);
    EXPECT_EQ(samples->record(6)[0], 6.0);
}

TEST(RasterizeField, StoresComponentZeroAndTakesTheExtents)
{
    const Grid grid({0, 0, 0}, {2, 3, 4}, 3, 4, 5);
    Raster<1, 3, double> raster(7, 1, 2);
    for (int round = 0; round < 2; ++round) {
        rasterizeField(literal::position(), grid, raster);
        ASSERT_EQ(raster.data.size(), 60u);
        EXPECT_EQ(raster.dims[2], 5);
        EXPECT_EQ(raster.strides[2], 12);
        for (std::size_t i = 0; i < 60; ++i) {
            EXPECT_EQ(raster.data[i], static_cast<double>(i % 3));
        }
        raster.data.clear(); // extents without their data
    }
}

TEST(RasterizeField, AFieldWithoutGeneratorLeavesTheValues)
{
    Raster<1, 3, double> raster(2, 1, 1);
    raster.data = {5, 6};
    rasterizeField(IField(), Grid({0, 0, 0}, {1, 1, 1}, 2, 1, 1), raster);
    EXPECT_EQ(raster.data, (std::vector<double>{5, 6}));
    rasterizeField(IField(), Grid({0, 0, 0}, {1, 1, 1}, 2, 2, 1), raster);
    EXPECT_EQ(raster.data, (std::vector<double>{5, 6, 0, 0}));
    rasterizeField(literal::position(), Grid({0, 0, 0}, {1, 1, 1}, 0, 2, 1), raster);
    EXPECT_TRUE(raster.data.empty());
}

} // namespace
} // namespace zrk
