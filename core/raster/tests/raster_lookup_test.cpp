#include "core/raster/raster_lookup.h"
#include "testing/special_values.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <random>

namespace zrk {
namespace {

using zrk::testing::kInfinity;
using zrk::testing::kNaN;

/// Pixels of random size; a lookup that swaps two of them gives another value.
template <int C, int D>
std::shared_ptr<const Raster<C, D, double>> randomRaster(const std::int32_t (&dims)[D], unsigned seed)
{
    auto raster = std::make_shared<Raster<C, D, double>>();
    raster->resize(dims);
    std::mt19937_64 random(seed);
    for (double& value : raster->data) {
        value = std::uniform_real_distribution<double>(-1, 1)(random);
    }
    return raster;
}

/// The sum over the neighbours, in whole-number indices. For coordinates within the integer range.
template <int C, int D>
Tensor<C, double> literalLookup(const Raster<C, D, double>& raster, Border border, const Tensor<D, double>& u)
{
    Tensor<C, double> sum{};
    for (unsigned corner = 0; corner < 1u << D; ++corner) {
        double weight = 1;
        std::size_t pixel = 0;
        for (unsigned d = 0; d < D; ++d) {
            const double x = (raster.dims[d] - 1) * u[d];
            const auto x0 = static_cast<std::int32_t>(std::floor(x));
            const double share = x - std::floor(x);
            const auto step = static_cast<std::int32_t>(corner >> d & 1u);
            std::int32_t index = x0 + step;
            if (border == Border::Clamp) {
                index = std::clamp(index, 0, raster.dims[d] - 1);
            } else {
                index %= raster.dims[d];
                index += index < 0 ? raster.dims[d] : 0;
            }
            weight *= step == 1 ? share : 1 - share;
            pixel += static_cast<std::size_t>(index) * static_cast<std::size_t>(raster.strides[d]);
        }
        for (std::size_t c = 0; c < C; ++c) {
            sum[c] += raster.data[pixel * C + c] * weight;
        }
    }
    return sum;
}

std::uint64_t bits(double x) { return std::bit_cast<std::uint64_t>(std::isnan(x) ? kNaN : x); }

/// Coordinates in, at and around the raster; on pixels as often as between them.
double randomCoordinate(std::mt19937_64& random, std::int32_t pixels)
{
    const double far = random() % 8 == 0 ? 1e6 : 3;
    const double u = std::uniform_real_distribution<double>(-far, far)(random);
    return random() % 2 == 0 || pixels == 1 ? u : std::round(u * (pixels - 1)) / (pixels - 1);
}

template <int C, int D, Border kBorder>
void expectLiteralValues(const std::int32_t (&dims)[D], unsigned seed)
{
    const auto raster = randomRaster<C, D>(dims, seed);
    const RasterLookup<C, D, kBorder> lookup(raster);
    std::mt19937_64 random(seed);
    for (int round = 0; round < 500; ++round) {
        Tensor<D, double> u[Batch::size];
        Tensor<D, Batch> batch;
        for (std::size_t d = 0; d < D; ++d) {
            double lanes[Batch::size];
            for (std::size_t lane = 0; lane < Batch::size; ++lane) {
                lanes[lane] = u[lane][d] = randomCoordinate(random, dims[d]);
            }
            batch[d] = Batch::load(lanes);
        }
        const Tensor<C, Batch> values = lookup(batch);
        for (std::size_t lane = 0; lane < Batch::size; ++lane) {
            const Tensor<C, double> expected = literalLookup<C, D>(*raster, kBorder, u[lane]);
            const Tensor<C, double> one = lookup(u[lane]);
            for (std::size_t c = 0; c < C; ++c) {
                ASSERT_EQ(bits(one[c]), bits(expected[c]))
                    << "seed " << seed << " u " << u[lane][0] << " " << u[lane][1];
                ASSERT_EQ(bits(values[c].lane(lane)), bits(expected[c]))
                    << "seed " << seed << " lane " << lane;
            }
        }
    }
}

template <Border kBorder>
void expectLiteralValuesOfAllShapes()
{
    expectLiteralValues<1, 2, kBorder>({4, 3}, 1);
    expectLiteralValues<3, 2, kBorder>({5, 2}, 2);
    expectLiteralValues<4, 2, kBorder>({2, 7}, 3);
    expectLiteralValues<1, 3, kBorder>({4, 3, 5}, 4);
    expectLiteralValues<1, 3, kBorder>({49, 1, 2}, 5);
    expectLiteralValues<1, 2, kBorder>({1, 1}, 6);
}

TEST(RasterLookup, IsTheSumOverTheNeighboursInEveryLane)
{
    expectLiteralValuesOfAllShapes<Border::Clamp>();
    expectLiteralValuesOfAllShapes<Border::Wrap>();
}

TEST(RasterLookup, AtPlacesWithExactAnswers)
{
    const auto row = std::make_shared<Raster<1, 2, double>>(4, 1);
    row->data = {1, 2, 4, 8};
    const RasterLookup<1, 2, Border::Clamp> clamp(row);
    const RasterLookup<1, 2, Border::Wrap> wrap(row);
    struct Case {
        const char* name;
        double u, clamped, wrapped;
    };
    const Case cases[] = {
        {"first pixel", 0, 1, 1},
        {"last pixel", 1, 8, 8},
        {"half a cell past the last", 3.5 / 3, 8, 4.5},
        {"far to the left", -3, 1, 8}, // pixel -9
        {"far to the right", 7, 8, 2}, // pixel 21
        {"one period on", 4.0 / 3, 8, 1},
        {"beyond all integers", 1e300, 8, row->data[static_cast<std::size_t>(std::fmod(3e300, 4))]},
        {"beyond them to the left", -1e18 / 3, 1, 1},
        {"not a number", kNaN, kNaN, kNaN},
        {"infinity", kInfinity, kNaN, kNaN},
        {"minus infinity", -kInfinity, kNaN, kNaN},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const Tensor<2, double> u{c.u, 0.25};
        const Tensor<2, Batch> lanes{c.u, 0.25};
        EXPECT_EQ(bits(clamp(u)[0]), bits(c.clamped));
        EXPECT_EQ(bits(wrap(u)[0]), bits(c.wrapped));
        EXPECT_EQ(bits(clamp(lanes)[0].lane(0)), bits(c.clamped));
        EXPECT_EQ(bits(wrap(lanes)[0].lane(Batch::size - 1)), bits(c.wrapped));
    }
}

/// On every pixel of a raster, in reach of u = i / (n - 1) without rounding, the lookup is the pixel itself;
/// along an axis of one pixel, any coordinate is on it.
template <int D, Border kBorder>
void expectPixels(const std::int32_t (&dims)[D])
{
    const auto raster = randomRaster<1, D>(dims, 21);
    const RasterLookup<1, D, kBorder> lookup(raster);
    for (std::size_t pixel = 0; pixel < raster->data.size(); ++pixel) {
        Tensor<D, double> u;
        std::size_t rest = pixel;
        for (std::size_t d = 0; d < D; ++d) {
            const auto n = static_cast<std::size_t>(dims[d]);
            u[d] = n == 1 ? 7.25 : static_cast<double>(rest % n) / static_cast<double>(n - 1);
            rest /= n;
        }
        ASSERT_EQ(lookup(u)[0], raster->data[pixel]) << "pixel " << pixel;
    }
}

TEST(RasterLookup, IsExactOnPixels)
{
    expectPixels<2, Border::Clamp>({5, 3});
    expectPixels<2, Border::Wrap>({3, 9});
    expectPixels<2, Border::Wrap>({1, 2});
    expectPixels<3, Border::Clamp>({2, 5, 3});
    expectPixels<3, Border::Wrap>({9, 3, 2});
    expectPixels<3, Border::Clamp>({1, 3, 1});
    expectPixels<3, Border::Wrap>({3, 1, 5});
    expectPixels<3, Border::Wrap>({1, 1, 1});
}

// An index that isn't computed in double, or not kept within the raster, reads outside here.
TEST(RasterLookup, ReadsNothingOutsideForAnyCoordinate)
{
    const auto volume = randomRaster<1, 3>({7, 3, 5}, 11);
    const RasterLookup<1, 3, Border::Clamp> clamp(volume);
    const RasterLookup<1, 3, Border::Wrap> wrap(volume);
    const auto [least, most] = std::minmax_element(volume->data.begin(), volume->data.end());
    std::mt19937_64 random(12);
    for (int round = 0; round < 20000; ++round) {
        Tensor<3, double> u;
        Tensor<3, Batch> lanes;
        for (std::size_t d = 0; d < 3; ++d) {
            u[d] = std::bit_cast<double>(random());
            lanes[d] = u[d];
        }
        const bool isFinite = std::isfinite(6 * u[0]) && std::isfinite(2 * u[1]) && std::isfinite(4 * u[2]);
        for (const double value :
             {clamp(u)[0], wrap(u)[0], clamp(lanes)[0].lane(0), wrap(lanes)[0].lane(0)}) {
            if (isFinite) {
                ASSERT_GE(value, *least - 1e-15);
                ASSERT_LE(value, *most + 1e-15);
            } else {
                ASSERT_TRUE(std::isnan(value));
            }
        }
    }
}

TEST(RasterLookup, KeepsItsRasterAlive)
{
    auto raster = randomRaster<1, 2>({64, 64}, 13);
    const std::weak_ptr<const Raster<1, 2, double>> watch = raster;
    const double corner = raster->data.back();
    auto lookup = std::make_unique<RasterLookup<1, 2, Border::Clamp>>(std::move(raster));
    EXPECT_EQ((*lookup)(Tensor<2, double>{1, 1})[0], corner);
    EXPECT_EQ(watch.use_count(), 1) << "shared, not copied";
    lookup.reset();
    EXPECT_TRUE(watch.expired());
}

/// Over random boxes, from a hundredth of a pixel to many times the raster, each value lies within the
/// bounds, and the bounds of a small box come from the pixels around it.
template <int C, int D, Border kBorder>
void expectContained(const std::int32_t (&dims)[D])
{
    const auto raster = randomRaster<C, D>(dims, 23);
    const RasterLookup<C, D, kBorder> lookup(raster);
    std::mt19937_64 random(29);
    const auto uniform = [&](double from, double to) {
        return std::uniform_real_distribution<double>(from, to)(random);
    };
    for (int round = 0; round < 300; ++round) {
        Tensor<D, Interval<double>> box;
        Tensor<D, IntervalBatch> boxes;
        for (std::size_t d = 0; d < D; ++d) {
            const double lower = uniform(-2, 2);
            box[d] = {lower, lower + std::pow(10.0, uniform(-4, 1))};
            boxes[d] = IntervalBatch(box[d]);
        }
        const auto bounds = lookup(boxes);
        for (int i = 0; i < 50; ++i) {
            Tensor<D, double> u;
            for (std::size_t d = 0; d < D; ++d) {
                u[d] =
                    i < 4 ? (i >> d & 1 ? box[d].upper : box[d].lower) : uniform(box[d].lower, box[d].upper);
            }
            const auto value = lookup(u);
            for (std::size_t c = 0; c < C; ++c) {
                const Interval<double> range = bounds[c].lane(Batch::size - 1);
                ASSERT_TRUE(range.contains(value[c]))
                    << value[c] << " in [" << range.lower << ", " << range.upper << "], round " << round;
            }
        }
    }
}

TEST(RasterLookup, BoundsHoldEveryValue)
{
    expectContained<1, 2, Border::Clamp>({37, 5});
    expectContained<1, 2, Border::Wrap>({37, 5});
    expectContained<3, 2, Border::Wrap>({1, 9});
    expectContained<4, 2, Border::Clamp>({64, 64});
    expectContained<1, 3, Border::Wrap>({20, 7, 33});
    expectContained<1, 3, Border::Clamp>({2, 1, 130});
}

TEST(RasterLookup, BoundsOfASmallBoxAreThoseOfTheNearestPixels)
{
    auto raster = std::make_shared<Raster<1, 2, double>>(100, 100);
    for (std::size_t i = 0; i < raster->data.size(); ++i) {
        raster->data[i] = static_cast<double>(i % 100); // the column
    }
    raster->data[9050] = kNaN;
    raster->data[9494] = kInfinity;
    const RasterLookup<1, 2, Border::Wrap> lookup(raster);
    const auto boundsAt = [&](double from, double to, double row) {
        return lookup(Tensor<2, IntervalBatch>{IntervalBatch(Interval<double>{from / 99, to / 99}),
                                               IntervalBatch(row / 99)})[0]
            .lane(0);
    };
    EXPECT_NEAR(boundsAt(20.25, 20.75, 10.5).lower, 20, 1e-12);
    EXPECT_NEAR(boundsAt(20.25, 20.75, 10.5).upper, 21, 1e-12);
    EXPECT_NEAR(boundsAt(99.25, 99.75, 10.5).lower, 0, 1e-12); // over the seam, from the last to the first
    EXPECT_NEAR(boundsAt(99.25, 99.75, 10.5).upper, 99, 1e-12);
    EXPECT_NEAR(boundsAt(-100, 300, 10.5).upper, 99, 1e-11);
    EXPECT_LT(boundsAt(30, 60, 10.5).upper, 66);      // by blocks, so a little more than 61
    EXPECT_TRUE(boundsAt(49.5, 49.6, 90).isEntire()); // the column of the NaN
    EXPECT_TRUE(boundsAt(0, 99, 94).isEntire());
    EXPECT_FALSE(boundsAt(40.5, 41.5, 90).isEntire());
    EXPECT_TRUE(boundsAt(kInfinity, kInfinity, 50).isEntire());
}

} // namespace
} // namespace zrk
