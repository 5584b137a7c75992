#include "host/slice_picture.h"
#include "testing/special_values.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <memory>
#include <random>
#include <vector>

namespace zrkmodel {
namespace {

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
using zrk::testing::kInfinity;

using Color = std::vector<int>;

// A square slice of f(x, y), x and y in pixels, y upwards, with what the pixels show.
struct Drawn {
    int size;
    SlicePicture slice;

    Color at(int x, int yUp) const
    {
        const std::size_t pixel = static_cast<std::size_t>((size - 1 - yUp) * size + x);
        const auto first = slice.picture.data.begin() + static_cast<std::ptrdiff_t>(3 * pixel);
        return {first, first + 3};
    }
    int light(int x, int yUp) const
    {
        const Color c = at(x, yUp);
        return c[0] + c[1] + c[2];
    }
};

using Field = std::function<std::vector<double>(int x, int y)>;

Drawn draw(int size, int components, const SliceStyle& style, const Field& field)
{
    std::vector<double> values;
    for (int y = 0; y < size; ++y) {
        for (int x = 0; x < size; ++x) {
            const std::vector<double> record = field(x, y);
            values.insert(values.end(), record.begin(), record.end());
        }
    }
    return {size, drawSlice({size, size, components, values}, style)};
}

bool isGrey(const Color& c) { return std::abs(c[0] - c[1]) < 6 && std::abs(c[1] - c[2]) < 6; }

TEST(SlicePicture, UpIsUpAndRightIsRight)
{
    const SliceStyle unit = {{{0, 1}}, {}};
    const Drawn vector = draw(9, 3, unit, [](int x, int y) { return std::vector{x / 8.0, y / 8.0, 0.0}; });
    EXPECT_EQ(vector.at(0, 0), (Color{0, 0, 0}));
    EXPECT_EQ(vector.at(8, 0), (Color{255, 0, 0}));
    EXPECT_EQ(vector.at(0, 8), (Color{0, 255, 0}));
    EXPECT_EQ(vector.slice.picture.data[1], 255) << "the top row is the highest";
    const Drawn scalar = draw(9, 1, unit, [](int, int y) { return std::vector{y / 8.0}; });
    EXPECT_LT(scalar.light(4, 0), scalar.light(4, 8));
}

// A tilted plane has its contour where its level is, as wide everywhere and dark on light.
TEST(SlicePicture, DrawsTheContourAtItsLevel)
{
    for (const double level : {0.0, 0.5, -3.0}) {
        const double slope = 0.01;
        const auto distance = [](int x, int y) { return (x - 50.0) * 0.8 + (y - 50.0) * 0.6; };
        const Drawn drawn = draw(101, 1, {{}, level},
                                 [&](int x, int y) { return std::vector{level + slope * distance(x, y)}; });
        for (int y = 0; y < 101; ++y) {
            for (int x = 0; x < 101; ++x) {
                const double d = std::abs(distance(x, y));
                const Color c = drawn.at(x, y);
                SCOPED_TRACE(::testing::Message() << "level " << level << " at " << x << ", " << y);
                if (d < 0.3) {
                    ASSERT_LT(drawn.light(x, y), 100);
                } else if (d > 2) {
                    ASSERT_GT(drawn.light(x, y), 220);
                    ASSERT_EQ(c[0] > c[2], distance(x, y) > 0) << "warm above the level, cold below";
                }
            }
        }
    }
}

// The inside has one colour whether it lies below the level or above it.
TEST(SlicePicture, ShowsTheInsideOfADensityLikeThatOfADistance)
{
    std::vector<double> distances;
    std::vector<double> densities;
    for (int i = 0; i < 32 * 8; ++i) {
        distances.push_back((i % 32) / 16.0 - 0.75);
        densities.push_back(0.5 - distances.back());
    }
    SliceStyle density;
    density.contour = 0.5;
    density.insideAbove = true;
    SliceStyle distance;
    distance.contour = 0.0;
    const SlicePicture a = drawSlice({32, 8, 1, distances}, distance);
    const SlicePicture b = drawSlice({32, 8, 1, densities}, density);
    EXPECT_EQ(a.picture.data, b.picture.data);
    density.insideAbove = false;
    EXPECT_NE(drawSlice({32, 8, 1, densities}, density).picture.data, a.picture.data);
}

// Lines are as wide to the eye on a screen with twice as many pixels.
TEST(SlicePicture, LinesAreAsWideAsTheScaleSays)
{
    std::vector<double> distances;
    for (int i = 0; i < 64 * 8; ++i) {
        distances.push_back(i % 64 - 31.5);
    }
    const auto darkPixels = [&](double scale) {
        SliceStyle style;
        style.contour = 0;
        style.scale = scale;
        const SlicePicture slice = drawSlice({64, 8, 1, distances}, style);
        int dark = 0;
        for (std::size_t x = 0; x < 64; ++x) {
            const auto* pixel = slice.picture.data.data() + 3 * x;
            dark += *std::max_element(pixel, pixel + 3) < 110 ? 1 : 0; // blue and orange are lighter
        }
        return dark;
    };
    EXPECT_EQ(darkPixels(1), 2);
    EXPECT_EQ(darkPixels(2), 4);
}

// At a jump the slope says little; the change of sign tells where the contour is.
TEST(SlicePicture, DrawsTheContourAlongAJump)
{
    const Drawn drawn = draw(32, 1, {{}, 0.5}, [](int x, int) { return std::vector{x < 16 ? 0.0 : 1.0}; });
    for (const int x : {15, 16}) {
        EXPECT_LT(drawn.light(x, 10), drawn.light(31 - 31 * (x == 15), 10) / 2) << x;
    }
    EXPECT_EQ(drawn.at(13, 10), drawn.at(0, 10));
    EXPECT_EQ(drawn.at(18, 10), drawn.at(31, 10));
}

// Lines stand at whole multiples of the step that is reported, away from the contour.
TEST(SlicePicture, DrawsFaintLinesAtEvenSteps)
{
    const Drawn drawn = draw(201, 1, {{}, 0.0}, [](int x, int) { return std::vector{(x - 100) / 100.0}; });
    ASSERT_GT(drawn.slice.lineStep, 0);
    const double pixels = 100 * drawn.slice.lineStep;
    ASSERT_EQ(pixels, std::round(pixels)) << "the step is 1, 2 or 5 times a power of ten";
    for (int x = 3; x < 198; ++x) {
        if (std::abs(x - 100) > 4) {
            const Color here = drawn.at(x, 7);
            const Color before = drawn.at(x - 2, 7);
            const Color after = drawn.at(x + 2, 7);
            const bool onLine = std::fmod(std::abs(x - 100), pixels) == 0;
            const bool nearLine = std::fmod(std::abs(x - 100) + 2, pixels) < 5;
            if (onLine || !nearLine) {
                const int step = std::abs(2 * here[1] - before[1] - after[1]);
                EXPECT_EQ(step > 15, onLine) << x << ": " << step;
            }
        }
    }
}

TEST(SlicePicture, HatchesNanAndClampsInfinity)
{
    const Drawn scalar = draw(40, 1, {{}, 0.0}, [](int x, int y) {
        return std::vector{x < 10 ? kNan : y < 10 ? -kInfinity : y > 30 ? kInfinity : (y - 20) * 0.1};
    });
    EXPECT_TRUE(isGrey(scalar.at(4, 20)));
    EXPECT_NE(scalar.at(4, 20), scalar.at(8, 20)) << "stripes";
    EXPECT_FALSE(isGrey(scalar.at(25, 5)));
    EXPECT_GT(scalar.at(25, 5)[2], scalar.at(25, 5)[0]);
    EXPECT_GT(scalar.at(25, 35)[0], scalar.at(25, 35)[2]);
    EXPECT_NEAR(scalar.slice.range.low, -1, 1e-12);
    EXPECT_NEAR(scalar.slice.range.high, 1, 1e-12);
    EXPECT_LT(scalar.light(25, 20), 100) << "the contour beside infinities";
    for (const int components : {3, 4}) {
        const Drawn drawn = draw(16, components, {}, [&](int, int) {
            std::vector<double> record(static_cast<std::size_t>(components), 1.0);
            record[1] = kNan;
            return record;
        });
        EXPECT_TRUE(isGrey(drawn.at(3, 3))) << components;
    }
}

TEST(SlicePicture, ShowsColorsOverAChequeredGround)
{
    const Drawn drawn = draw(16, 4, {}, [](int x, int y) {
        return std::vector{2.0, 0.25, -1.0, y < 8 ? 1.0 : x < 4 ? 0.5 : 0.0};
    });
    EXPECT_EQ(drawn.at(5, 3), (Color{255, 64, 0}));
    EXPECT_NE(drawn.at(7, 12), drawn.at(9, 12)) << "two fields of the ground";
    EXPECT_TRUE(isGrey(drawn.at(7, 12)));
    EXPECT_NEAR(drawn.at(1, 12)[1], (drawn.at(7, 12)[1] + 64) / 2.0, 1.5) << "half of each";
}

TEST(SlicePicture, ChoosesARange)
{
    struct Case {
        const char* name;
        int components;
        SliceStyle style;
        Field field; // over 50 by 50
        ValueRange expected;
    };
    const auto ramp = [](double low, double high) {
        return [=](int x, int) { return std::vector{low + (high - low) * x / 49}; };
    };
    const Case cases[] = {
        {"all values", 1, {}, ramp(-1, 3), {-1, 3}},
        {"level inside", 1, {{}, 0.0}, ramp(-1, 3), {-3, 3}},
        {"level outside", 1, {{}, 0.0}, ramp(1, 3), {1, 3}},
        {"given", 1, {{{0, 2}}, 1.0}, ramp(-1, 3), {0, 2}},
        {"one value far out",
         1,
         {},
         [&](int x, int y) { return x + y == 98 ? std::vector{1e30} : ramp(0, 1)(x, y); },
         {0, 1}},
        {"constant", 1, {{}, 0.0}, ramp(5, 5), {5, 5}},
        {"constant at the level", 1, {{}, 0.0}, ramp(0, 0), {0, 0}},
        {"nothing finite",
         1,
         {{}, 0.0},
         [](int x, int) { return std::vector{x % 2 ? kNan : kInfinity}; },
         {0, 1}},
        {"widest numbers",
         1,
         {{}, 0.0},
         [](int x, int) { return std::vector{x % 2 ? -1.7e308 : 1.7e308}; },
         {-1.7e308, 1.7e308}},
        {"unit vectors",
         3,
         {},
         [](int x, int) {
             return std::vector{x / 49.0, 0.2, 1.0};
         },
         {0, 1}},
        {"signed vectors",
         3,
         {},
         [](int x, int) {
             return std::vector{x / 49.0, -4.0, kInfinity};
         },
         {-4, 4}},
        {"colours",
         4,
         {},
         [](int, int) {
             return std::vector{9.0, -9.0, 1.0, 1.0};
         },
         {0, 1}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const SlicePicture slice = draw(50, c.components, c.style, c.field).slice;
        EXPECT_EQ(slice.range.low, c.expected.low);
        EXPECT_EQ(slice.range.high, c.expected.high);
    }
}

// Rounding noise around a constant must not become a pattern of lines, nor an odd shape a crash.
TEST(SlicePicture, StaysCalmOverFlatAndTinySlices)
{
    const Drawn flat =
        draw(20, 1, {{}, 0.0}, [](int x, int y) { return std::vector{7.0 + 1e-15 * ((x ^ y) & 1)}; });
    EXPECT_EQ(flat.slice.lineStep, 0);
    const Drawn level = draw(20, 1, {{}, 7.0}, [](int, int) { return std::vector{7.0}; });
    for (const unsigned char value : level.slice.picture.data) {
        EXPECT_GT(value, 20) << "no contour where all is level";
    }
    EXPECT_EQ(draw(1, 1, {{}, 0.0}, [](int, int) { return std::vector{0.0}; }).slice.picture.pixelCount(),
              1u);
    EXPECT_EQ(draw(0, 1, {{}, 0.0}, [](int, int) { return std::vector{0.0}; }).slice.picture.pixelCount(),
              0u);
}

} // namespace
} // namespace zrkmodel
