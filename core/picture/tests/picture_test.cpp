#include "core/picture/picture.h"

#include "testing/ball_union.h"
#include "testing/picture_fields.h"
#include "testing/sanitized.h"

#include <gtest/gtest.h>

#include <chrono>
#include <stdexcept>
#include <thread>

namespace zrk::picture {
namespace {

PictureSettings settingsOf(std::int32_t size, double half = 1.3)
{
    PictureSettings settings;
    settings.region = cube(half);
    settings.width = size;
    settings.height = size;
    settings.threads = 1;
    return settings;
}

struct Drawn {
    PictureOutcome outcome;
    std::vector<ShadedPicture> pictures;
    std::vector<PictureStep> steps;

    const ShadedPicture& last() const { return pictures.back(); }
};

Drawn drawn(const PreparedField& field, const PictureSettings& settings, ProgressMonitor* monitor = nullptr)
{
    Drawn result;
    result.outcome = drawPictures(
        field, settings,
        [&](const ShadedPicture& picture, const PictureStep& step) {
            result.pictures.push_back(picture);
            result.steps.push_back(step);
        },
        monitor);
    return result;
}

struct Color {
    int red;
    int green;
    int blue;
    int opacity;

    int sum() const { return red + green + blue; }
};

Color at(const ShadedPicture& picture, std::int32_t x, std::int32_t y)
{
    const unsigned char* const p = &picture.data[static_cast<std::size_t>(4 * (y * picture.dims[0] + x))];
    return {p[0], p[1], p[2], p[3]};
}

/// Colour of a position, and a weight that falls along x.
struct Painted {
    template <class V>
    Tensor<3, V> operator()(const Tensor<3, V>& p) const
    {
        return {V(1.0), V(0.0), p[2] * 0.0};
    }
};

PreparedField painted()
{
    return PreparedField(literal::node(3, evaluator(Painted{}), {literal::position()}));
}

TEST(Picture, IsTheSameForAnyNumberOfThreads)
{
    for (const Projection projection : {Projection::Orthographic, Projection::Perspective}) {
        PictureSettings settings = settingsOf(200);
        settings.height = 150;
        settings.projection = projection;
        const Drawn one = drawn(prepared(TwistedGyroid{}), settings);
        for (const std::size_t threads : {2, 3, 8}) {
            settings.threads = threads;
            EXPECT_EQ(drawn(prepared(TwistedGyroid{}), settings).last().data, one.last().data) << threads;
        }
    }
}

// What bounds prove needs no samples: a field that can't be bounded gives the same picture, but for rays that
// graze the outline, which look more closely where more samples are known.
TEST(Picture, IsTheSameWithoutBounds)
{
    const PictureSettings settings = settingsOf(120);
    const ShadedPicture with = drawn(prepared(Ball{}), settings).last();
    const ShadedPicture without = drawn(unbounded(Ball{}), settings).last();
    std::size_t different = 0;
    for (std::size_t i = 0; i < with.data.size(); ++i) {
        different += std::abs(with.data[i] - without.data[i]) > 2 ? 1 : 0;
    }
    EXPECT_LE(different, with.data.size() / 500);
}

// Slabs are looked at by what is left of the field there. Fails where that is used outside of its slab: for
// normals, for samples between two slabs, for hits of a slab before.
TEST(Picture, IsTheSameWhateverIsLeftOut)
{
    const PreparedField chain(chains::unionOfBalls(64, 0.3));
    const PreparedField formula = prepared(chains::BallUnion{chains::manyBalls(64, 0.3)});
    for (const Projection projection : {Projection::Orthographic, Projection::Perspective}) {
        for (const std::int32_t size : {zrktest::isSanitized() ? 60 : 150, 400}) { // small and large tiles
            if (size == 400 && zrktest::isSanitized()) {
                continue;
            }
            PictureSettings settings = settingsOf(size, 0.9);
            settings.projection = projection;
            EXPECT_EQ(drawn(chain, settings).last().data, drawn(formula, settings).last().data) << size;
        }
    }
}

TEST(Picture, ComesCoarseFirst)
{
    PictureSettings settings = settingsOf(100);
    settings.height = 50;
    settings.firstSize = 32;
    settings.views.push_back({0, -1, 0});
    const Drawn result = drawn(prepared(Ball{}), settings);
    ASSERT_EQ(result.pictures.size(), 6U);
    const std::int32_t widths[] = {32, 64, 100};
    for (std::size_t i = 0; i < 6; ++i) {
        EXPECT_EQ(result.pictures[i].dims[0], widths[i % 3]);
        EXPECT_EQ(result.pictures[i].dims[1], widths[i % 3] / 2);
        EXPECT_EQ(result.steps[i].view, i / 3);
        EXPECT_EQ(result.steps[i].isFinal, i % 3 == 2);
    }
    // The same scene in all: the ball's middle is at the picture's, and lighter than its lower right.
    for (const ShadedPicture& picture : result.pictures) {
        const std::int32_t w = picture.dims[0];
        const std::int32_t h = picture.dims[1];
        EXPECT_GT(at(picture, w / 2, h / 2).sum(), at(picture, w / 2 + h / 6, h / 2 + h / 6).sum());
    }
}

// A given camera draws its coarse pictures before the solid is looked for; what comes last is the same.
TEST(Picture, OfACameraIsTheSameWithCoarseOnesBefore)
{
    PictureSettings settings = settingsOf(100);
    settings.camera = cameraFrom({0.5, -1, 0.6}, 100, 100);
    settings.camera->origin = {0.2, 0.4, 0};
    settings.camera->pixel = 0.03;
    const ShadedPicture alone = drawn(prepared(Ball{}), settings).last();
    settings.firstSize = 40;
    const Drawn result = drawn(prepared(Ball{}), settings);
    ASSERT_EQ(result.pictures.size(), 3U);
    EXPECT_EQ(result.last().data, alone.data);
    EXPECT_EQ(result.outcome, PictureOutcome::Drawn);
    EXPECT_EQ(drawn(prepared(Ball{{9, 9, 9}, 1}), settings).outcome, PictureOutcome::NoSolid);
}

TEST(Picture, TellsThatThereIsNoSolid)
{
    PictureSettings beyondTheHole = settingsOf(64);
    beyondTheHole.region[0] = {0.9, 1.1}; // NaN everywhere
    const struct {
        const char* name;
        PreparedField field;
        PictureSettings settings;
    } cases[] = {
        {"a ball elsewhere", prepared(Ball{{9, 9, 9}, 1}), settingsOf(64)},
        {"NaN", prepared(Holed{}), beyondTheHole},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const Drawn result = drawn(c.field, c.settings);
        EXPECT_EQ(result.outcome, PictureOutcome::NoSolid);
        EXPECT_TRUE(result.pictures.empty());
    }
}

// A look at the whole region sees a few pixels of it at most.
TEST(Picture, FindsASolidThatIsSmall)
{
    PictureSettings settings = settingsOf(64);
    settings.backdrop = Backdrop::Transparent;
    settings.hasGround = false;
    const Drawn result = drawn(prepared(Ball{{0.31, 0.52, -0.17}, 0.006}), settings);
    ASSERT_EQ(result.outcome, PictureOutcome::Drawn);
    // It fills the picture as a large one does: a tenth is free on each side.
    const ShadedPicture& picture = result.last();
    std::int32_t wide = 0;
    for (std::int32_t x = 0; x < 64; ++x) {
        wide += at(picture, x, 32).opacity == 255 ? 1 : 0;
    }
    EXPECT_NEAR(wide, 51, 3);
}

TEST(Picture, HasSoftEdges)
{
    PictureSettings settings = settingsOf(64);
    settings.backdrop = Backdrop::Transparent;
    settings.hasGround = false;
    const ShadedPicture picture = drawn(prepared(Ball{}), settings).last();
    double covered = 0;
    int partly = 0;
    for (std::int32_t y = 0; y < 64; ++y) {
        for (std::int32_t x = 0; x < 64; ++x) {
            const int opacity = at(picture, x, y).opacity;
            covered += opacity / 255.0;
            partly += opacity > 0 && opacity < 255 ? 1 : 0;
        }
    }
    // A disc that leaves a tenth free on each side; the looks at it know its radius to a hundredth or two.
    const double radius = 0.4 * 64;
    EXPECT_NEAR(covered, 3.14159 * radius * radius, 0.05 * 3.14159 * radius * radius);
    EXPECT_GT(partly, 80);
}

TEST(Picture, ShadowsFallAwayFromTheLight)
{
    PictureSettings settings = settingsOf(128);
    settings.backdrop = Backdrop::Plain;
    const ShadedPicture picture = drawn(prepared(Ball{{}, 0.5}), settings).last();
    EXPECT_EQ(at(picture, 3, 60).sum(), 3 * 255);
    EXPECT_LT(at(picture, 115, 95).sum(), 3 * 255 - 40); // the light is at the upper left
    settings.hasGround = false;
    const ShadedPicture without = drawn(prepared(Ball{{}, 0.5}), settings).last();
    EXPECT_EQ(at(without, 115, 95).sum(), 3 * 255);
}

TEST(Picture, CutsAreBlueWithInkAtTheSurface)
{
    PictureSettings settings = settingsOf(200);
    settings.region[1] = {0, 1.3};
    settings.views = {{0, -1, 0}};
    const ShadedPicture picture = drawn(prepared(Ball{}), settings).last();
    const Color deep = at(picture, 100, 100);
    const Color shallow = at(picture, 165, 100);
    EXPECT_GT(deep.blue, deep.red + 60);
    EXPECT_GT(shallow.red, deep.red + 30);
    // The darkest pixel of a row is where the surface is, and nearly grey.
    Color darkest = deep;
    std::int32_t place = 100;
    for (std::int32_t x = 100; x < 200; ++x) {
        if (at(picture, x, 100).sum() < darkest.sum()) {
            darkest = at(picture, x, 100);
            place = x;
        }
    }
    EXPECT_NEAR(place, 180, 3);
    EXPECT_LT(darkest.blue - darkest.red, 50);
}

TEST(Picture, TakesColoursFromAField)
{
    PictureSettings settings = settingsOf(64);
    settings.paint = painted();
    const Color middle = at(drawn(prepared(Ball{}), settings).last(), 30, 30);
    EXPECT_GT(middle.red, 150);
    EXPECT_LT(middle.green, 80);
}

/// Weight 1/4 everywhere.
struct Faint {
    template <class V>
    Record<1, V> operator()(const Tensor<3, V>& p) const
    {
        return {{Ball{}(p)}, V(0.25)};
    }
};

/// A height, unknown in a strip.
struct Height {
    template <class V>
    V operator()(const Tensor<3, V>& p) const
    {
        return select(abs(p[0]) < 0.1, V(std::numeric_limits<double>::quiet_NaN()), p[2]);
    }
};

// A ball coloured by height, seen from the front: dark violet below, yellow above, grey where the height is
// unknown.
TEST(Picture, ShowsTheValuesOfAScalarByColours)
{
    PictureSettings settings = settingsOf(96);
    settings.views = {{0, -1, 0}};
    settings.paint = prepared(Height{});
    const Drawn found = drawn(prepared(Ball{{}, 1}), settings);
    ASSERT_TRUE(found.steps.back().paintRange);
    EXPECT_NEAR(found.steps.back().paintRange->lower, -1, 0.02);
    EXPECT_NEAR(found.steps.back().paintRange->upper, 1, 0.02);
    const Color high = at(found.last(), 38, 16);
    const Color low = at(found.last(), 38, 80);
    const Color unknown = at(found.last(), 48, 48);
    EXPECT_GT(std::min(high.red, high.green), high.blue + 60);
    EXPECT_GT(low.blue, low.green + 30);
    EXPECT_LT(std::abs(unknown.red - unknown.blue), 25);

    settings.paintRange = Interval<double>(2, 3); // all is below
    const Drawn given = drawn(prepared(Ball{{}, 1}), settings);
    EXPECT_EQ(given.steps.back().paintRange->lower, 2);
    const Color top = at(given.last(), 38, 16);
    EXPECT_GT(top.blue, top.green + 30);
    settings.paint = painted();
    EXPECT_FALSE(drawn(prepared(Ball{{}, 1}), settings).steps.back().paintRange) << "three components";
}

TEST(Picture, FadesByWeightIfAsked)
{
    PictureSettings settings = settingsOf(64);
    settings.backdrop = Backdrop::Transparent;
    settings.hasGround = false;
    EXPECT_EQ(at(drawn(prepared(Faint{}), settings).last(), 32, 32).opacity, 255);
    settings.fadesByWeight = true;
    EXPECT_EQ(at(drawn(prepared(Faint{}), settings).last(), 32, 32).opacity, 64);
}

/// A closure of somebody else's that fails on one side.
struct Failing {
    template <class V>
    V operator()(const Tensor<3, V>& p) const
    {
        if (p[0] > 0.9) {
            throw std::runtime_error("no value");
        }
        return Ball{}(p);
    }
};

TEST(Picture, HandsOnWhatAFieldThrows)
{
    for (const std::size_t threads : {1, 2, 4}) {
        PictureSettings settings = settingsOf(200);
        settings.threads = threads;
        EXPECT_THROW(drawn(unbounded(Failing{}), settings), std::runtime_error);
    }
}

/// Each sample takes some time.
struct Slow {
    template <class V>
    V operator()(const Tensor<3, V>& p) const
    {
        volatile double sum = 0;
        for (int i = 0; i < 1000; ++i) {
            sum = sum + i;
        }
        return Ball{}(p);
    }
};

/// Interrupts after a while, and measures how long that takes.
class Impatient final : public ProgressMonitor {
public:
    using Clock = std::chrono::steady_clock;

    explicit Impatient(std::chrono::milliseconds patience) : _end(Clock::now() + patience) {}
    void progress(double fraction) override
    {
        EXPECT_GE(fraction, _last);
        EXPECT_LE(fraction, 1.0);
        _last = fraction;
    }
    bool interruptRequested() override { return Clock::now() >= _end; }
    double millisecondsSinceEnd() const
    {
        return std::chrono::duration<double, std::milli>(Clock::now() - _end).count();
    }

private:
    Clock::time_point _end;
    double _last = 0;
};

TEST(Picture, StopsSoonAfterAnInterrupt)
{
    for (const int patience : {0, 5, 60, 300}) {
        for (const std::size_t threads : {1, 2}) {
            SCOPED_TRACE(patience);
            PictureSettings settings = settingsOf(800);
            settings.threads = threads;
            Impatient monitor{std::chrono::milliseconds(patience)};
            const Drawn result = drawn(unbounded(Slow{}), settings, &monitor);
            EXPECT_EQ(result.outcome, PictureOutcome::Interrupted);
            EXPECT_TRUE(monitor.isInterruptAcknowledged());
            EXPECT_TRUE(result.pictures.empty());
            EXPECT_LT(monitor.millisecondsSinceEnd(), 200); // some ms but for other work on the machine
        }
    }
}

} // namespace
} // namespace zrk::picture
