#include "core/values/bbox.h"
#include "core/values/raster.h"
#include "core/values/region.h"
#include "core/values/tensor.h"
#include "core/values/tensor_variant.h"
#include "testing/special_values.h"

#include <gtest/gtest.h>

#include <cmath>

namespace zrk {
namespace {

using Point = Tensor<3, double>;
using zrk::testing::kInfinity;
using zrk::testing::kNaN;

TEST(ComponentCount, FollowsTheShapeCode)
{
    struct Case {
        std::uint32_t code;
        std::uint32_t count;
    };
    const Case cases[] = {
        {0, 0},          {1, 1},           {3, 3},           {15, 15},          {0x10000044, 16},
        {0x10000023, 6}, {0x20000432, 24}, {0x30001111, 1},  {0x35555555, 625}, {0x40000022, 0},
        {0x80000013, 3}, {0x90000003, 6},  {0x90000004, 10}, {0xA0000003, 10},  {0xB0000003, 15},
        {0xB0000002, 5}, {0xF0000003, 45}, {0x90000010, 0},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(componentCount(c.code), c.count) << std::hex << c.code;
    }
    static_assert(sizeof(Tensor<kMatrix4, double>) == 16 * sizeof(double));
}

TEST(Normalize, KeepsDirectionAndLeavesZeroAlone)
{
    Point v{3, -4, 12};
    EXPECT_EQ(normalize(v), 13);
    EXPECT_EQ(v, (Point{3 / 13.0, -4 / 13.0, 12 / 13.0}));

    Point zero{0, -0.0, 0};
    EXPECT_EQ(normalize(zero), 0);
    EXPECT_EQ(zero, (Point{0, 0, 0}));
    EXPECT_TRUE(std::signbit(zero[1]));
}

TEST(VectorOperations, GiveExactAnswers)
{
    const Point a{1, 2, 3};
    const Point b{-4, 5, 7};
    EXPECT_EQ(a + b, (Point{-3, 7, 10}));
    EXPECT_EQ(a - b, (Point{5, -3, -4}));
    EXPECT_EQ(2.0 * a, (Point{2, 4, 6}));
    EXPECT_EQ(dot(a, b), 27);
    EXPECT_EQ(cross(a, b), (Point{-1, -19, 13}));
}

TEST(TensorVariant, IsEmptyOrHoldsAShapeWithItsComponents)
{
    EXPECT_TRUE(TensorVariant<double>().isEmpty());
    EXPECT_EQ(TensorVariant<double>(2.5).shape, 1u);
    const TensorVariant<double> point(Point{1, 2, 3});
    EXPECT_EQ(point.shape, 3u);
    EXPECT_EQ(point.components, (std::vector<double>{1, 2, 3}));
    EXPECT_NE(point, TensorVariant<double>(1.0));
}

TEST(BBox, OrdersCornersAndDerivesSizes)
{
    BBox<double> box({4, 0, -1}, {0, 2, 1});
    EXPECT_TRUE(box.valid);
    EXPECT_EQ(box.min, (Point{0, 0, -1}));
    EXPECT_EQ(box.max, (Point{4, 2, 1}));
    EXPECT_EQ(box.size, (Point{4, 2, 2}));
    EXPECT_EQ(box.inverseSize, (Point{0.25, 0.5, 0.5}));

    box.set({0, 0, 0}, {1, 1, 0});
    EXPECT_TRUE(box.valid);
    EXPECT_EQ(box.inverseSize[2], kInfinity) << "flat";
}

TEST(BBox, NonFiniteNumbersClearValidAndKeepTheRest)
{
    for (double bad : {kNaN, kInfinity, -kInfinity}) {
        for (int i = 0; i < 6; ++i) {
            BBox<double> box({0, 0, 0}, {1, 2, 4});
            double c[6] = {5, 5, 5, 6, 6, 6};
            c[i] = bad;
            box.set(c[0], c[1], c[2], c[3], c[4], c[5]);
            EXPECT_FALSE(box.valid);
            EXPECT_EQ(box.min, (Point{0, 0, 0}));
            EXPECT_EQ(box.max, (Point{1, 2, 4}));
            EXPECT_EQ(box.inverseSize, (Point{1, 0.5, 0.25}));
            box.set(BBox<double>({7, 7, 7}, {8, 8, 8}));
            EXPECT_TRUE(box.valid) << "a later box counts again";
        }
    }
}

TEST(GridBox, KeepsItsNodeCountsThroughEveryWayOfSetting)
{
    GridBox<double> grid({0, 0, 0}, {1, 1, 1}, 3, 4, 5);
    BBox<double>& box = grid; // as seen by a caller that only knows the base
    box.set(BBox<double>({2, 0, 0}, {4, 3, 8}));
    EXPECT_EQ(grid.region.lower, (Point{2, 0, 0}));
    EXPECT_EQ(grid.region.upper, (Point{4, 3, 8}));
    EXPECT_EQ(grid.region.dimensions()[2], 5);
    EXPECT_EQ(grid.region.localToWorld(1, 3, 2), (Point{3, 3, 4}));
    box.set({0, 0, kNaN}, {1, 1, 1});
    EXPECT_EQ(grid.region.upper, (Point{4, 3, 8}));
}

TEST(Region, DerivesCellsStridesAndSpacing)
{
    Region<3, 3, double, 1> region;
    EXPECT_EQ(region.dimensions()[1], 2) << "by default";
    region.setDimensions(5, 3, 9);
    const int strides[] = {1, 5, 15};
    const int cellStrides[] = {1, 4, 8};
    const int cells[] = {4, 2, 8};
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(region.strides()[i], strides[i]);
        EXPECT_EQ(region.cellStrides()[i], cellStrides[i]);
        EXPECT_EQ(region.cellCounts()[i], cells[i]);
    }
    EXPECT_EQ(region.spacing(), (Point{0.25, 0.5, 0.125}));
}

TEST(Region, CarriesGridCoordinatesIntoSpace)
{
    Region<3, 3, double, 1> region({-1, 0, 2}, {1, 4, 10}, 5, 3, 9);
    EXPECT_EQ(region.localToWorld(0, 0, 0), (Point{-1, 0, 2}));
    EXPECT_EQ(region.localToWorld(4, 2, 8), (Point{1, 4, 10}));
    EXPECT_EQ(region.localToWorld(1, 0.5, 2), (Point{-0.5, 1, 4}));

    region.origin = {100, 200, 300};
    region.axes[0] = {0, 2, 0}; // x runs along y, doubled
    region.axes[1] = {0, 0, 1};
    region.axes[2] = {1, 0, 0};
    EXPECT_EQ(region.localToWorld(4, 2, 8), (Point{110, 202, 304}));
}

TEST(Raster, StridesCountPixelsAndDataCountsChannels)
{
    Raster<4, 3, double> image(3, 5, 7);
    EXPECT_EQ(image.strides[0], 1);
    EXPECT_EQ(image.strides[1], 3);
    EXPECT_EQ(image.strides[2], 15);
    EXPECT_EQ(image.pixelCount(), 105u);
    EXPECT_EQ(image.data.size(), 420u);

    image.data[419] = 9;
    const Raster<4, 3, double> copy = image;
    image.data[419] = 1;
    EXPECT_EQ(copy.data[419], 9);

    const Raster<1, 2, unsigned char> none(0, 4);
    EXPECT_EQ(none.pixelCount(), 0u);
    EXPECT_EQ((Raster<1, 2, double>(-3, 4).pixelCount()), 0u);
}

} // namespace
} // namespace zrk
