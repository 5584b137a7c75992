#include "testing/ball_union.h"
#include "testing/picture_fields.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <type_traits>

namespace zrk::picture {
namespace {

DepthPicture traced(const InsideField& field, const PositionBox& region, const Camera& camera,
                    std::size_t threads = 1)
{
    PictureWork work(threads, nullptr);
    Tracer tracer(field, region, work);
    DepthPicture picture(camera.width, camera.height);
    EXPECT_TRUE(tracer.trace(camera, Detail::Normals, picture));
    return picture;
}

struct Scene {
    const char* name;
    InsideField field;
    /// Pixels, of 99 % of the rays: of a coarse picture, whose pixels see much of the solid, and of a fine
    /// one.
    double depthErrors[2] = {0.4, 0.1};
    double wrong = 0; ///< share of rays that may hit what a dense march doesn't, or otherwise
};

std::vector<Scene> scenes()
{
    constexpr auto kBelow = SolidSide::Below;
    return {
        {"ball", {prepared(Ball{}), 0, kBelow}},
        {"ball, larger by the iso value", {prepared(Ball{}), 0.3, kBelow}},
        {"gyroid", {prepared(TwistedGyroid{}), 0, kBelow}},
        // A rim may slip between the quarters of a pixel at which the dense march looks.
        {"shells", {prepared(Shells{}), 0, kBelow}, {0.4, 0.1}, 0.001},
        {"density", {prepared(Waves{}), 0.6, SolidSide::Above}},
        {"unbounded", {unbounded(Ball{}), 0, kBelow}},
        // Without a slope nothing points to corners between two samples.
        {"jump at the surface", {prepared(Step{}), 0, kBelow}, {0.1, 0.1}, 0.01},
        {"NaN beyond a plane", {prepared(Holed{}), 0, kBelow}},
        {"solid everywhere", {prepared(Ball{{}, 9}), 0, kBelow}},
        {"nothing", {prepared(Ball{{9, 9, 9}, 1}), 0, kBelow}},
    };
}

struct Difference {
    std::size_t rays = 0;
    std::size_t wrong = 0;         ///< one hits and the other doesn't, or only one is a cut
    std::vector<double> depths{0}; ///< in pixels, where both hit
};

Difference differenceFromDenseMarch(const Scene& scene, const PositionBox& region, const Camera& camera,
                                    std::int32_t stride)
{
    const DepthPicture picture = traced(scene.field, region, camera);
    Difference difference;
    for (std::int32_t y = stride / 2; y < camera.height; y += stride) {
        for (std::int32_t x = stride / 2; x < camera.width; x += stride) {
            const Hit hit = denseHit(scene.field, region, camera, x, y, camera.isPerspective() ? 1e-6 : -1e9);
            const std::size_t place = picture.at(x, y);
            const bool isHit = picture.kinds[place] != PixelKind::Nothing;
            const bool shouldHit = hit.depth < DepthPicture::kNoDepth;
            ++difference.rays;
            if (isHit != shouldHit || (isHit && isCut(picture.kinds[place]) != hit.isCut)) {
                ++difference.wrong;
            } else if (isHit) {
                difference.depths.push_back(std::abs(picture.depths[place] - hit.depth) /
                                            camera.pixelAt(hit.depth));
            }
        }
    }
    std::sort(difference.depths.begin(), difference.depths.end());
    return difference;
}

void expectAsDense(const Scene& scene, const PositionBox& region, const Camera& camera, std::int32_t stride)
{
    const Difference found = differenceFromDenseMarch(scene, region, camera, stride);
    EXPECT_GT(found.rays, 1000U);
    EXPECT_LE(static_cast<double>(found.wrong), scene.wrong * static_cast<double>(found.rays));
    EXPECT_LE(found.depths[found.depths.size() * 99 / 100], scene.depthErrors[camera.width < 200 ? 0 : 1]);
}

TEST(Tracer, HitsWhatADenseMarchHits)
{
    for (const Scene& scene : scenes()) {
        SCOPED_TRACE(scene.name);
        const PositionBox region = cube(1.3);
        for (const std::int32_t size : {90, 400}) { // small tiles and large ones
            SCOPED_TRACE(size);
            expectAsDense(scene, region, viewOf(region, size), size / 45);
        }
    }
}

TEST(Tracer, HitsWhatADenseMarchHitsInPerspective)
{
    for (const Scene& scene : scenes()) {
        SCOPED_TRACE(scene.name);
        const PositionBox region = cube(1.3);
        Camera camera = cameraFrom({0.5, -0.75, 0.5}, 400, 300);
        camera.projection = Projection::Perspective;
        fitTo(camera, cornersOf(region), 0.02, 40);
        expectAsDense(scene, region, camera, 8);
    }
}

// Rays along the axes run along faces of the region and of boxes.
TEST(Tracer, HitsWhatADenseMarchHitsAlongTheAxes)
{
    for (const Vector3& from : {Vector3{0, 0, 1}, Vector3{0, 0, -1}, Vector3{-1, 0, 0}, Vector3{0, 1, 0}}) {
        const PositionBox region = cube(1.3);
        expectAsDense(scenes()[2], region, viewOf(region, 400, from), 8);
    }
}

TEST(Tracer, SeesFromWithin)
{
    Camera camera = cameraFrom({0.3, -0.8, 0.2}, 100, 100);
    camera.projection = Projection::Perspective;
    camera.pixel = 0.01;
    const PositionBox region = cube(1.3);
    // In the hollow of a shell: its inner wall is all around.
    const InsideField shell{prepared(Ball{{}, 1.0}), 0, SolidSide::Above};
    const DepthPicture walls = traced(shell, region, camera);
    for (std::size_t i = 0; i < walls.pixelCount(); ++i) {
        const Vector3 at =
            camera.position(static_cast<double>(i % 100), static_cast<double>(i / 100), walls.depths[i]);
        ASSERT_EQ(walls.kinds[i], PixelKind::Surface);
        ASSERT_NEAR(length(at), 1.0, 1e-3);
    }
    // In the solid: it is cut where the viewer stands.
    const InsideField ball{prepared(Ball{}), 0, SolidSide::Below};
    const DepthPicture inside = traced(ball, region, camera);
    for (std::size_t i = 0; i < inside.pixelCount(); ++i) {
        ASSERT_EQ(inside.kinds[i], PixelKind::CutByViewer);
        ASSERT_NEAR(inside.values[i], -0.8, 1e-3);
    }
}

TEST(Tracer, CutsKnowTheirFaceAndValue)
{
    const PositionBox region = {Interval<double>(-0.3, 0.4), {-0.2, 0.5}, {-0.5, 0.1}};
    const InsideField field{prepared(Ball{}), 0, SolidSide::Below};
    const struct {
        Vector3 from;
        PixelKind kind;
        Vector3 normal;
        Vector3 middle;
    } cases[] = {
        {{1, 0, 0}, PixelKind::CutUpperX, {1, 0, 0}, {0.4, 0.15, -0.2}},
        {{-1, 0, 0}, PixelKind::CutLowerX, {-1, 0, 0}, {-0.3, 0.15, -0.2}},
        {{0, 1, 0}, PixelKind::CutUpperY, {0, 1, 0}, {0.05, 0.5, -0.2}},
        {{0, -1, 0}, PixelKind::CutLowerY, {0, -1, 0}, {0.05, -0.2, -0.2}},
        {{0, 0, 1}, PixelKind::CutUpperZ, {0, 0, 1}, {0.05, 0.15, 0.1}},
        {{0, 0, -1}, PixelKind::CutLowerZ, {0, 0, -1}, {0.05, 0.15, -0.5}},
    };
    for (const auto& c : cases) {
        const DepthPicture picture = traced(field, region, viewOf(region, 101, c.from));
        const std::size_t middle = picture.at(50, 50);
        EXPECT_EQ(picture.kinds[middle], c.kind);
        EXPECT_NEAR(picture.values[middle], length(c.middle) - 0.8, 1e-6);
        for (std::size_t axis = 0; axis < 3; ++axis) {
            EXPECT_EQ(picture.normals[middle][axis], static_cast<float>(c.normal[axis]));
        }
    }
}

TEST(Tracer, NormalsPointOutOfTheSolid)
{
    const PositionBox region = cube(1.3);
    const Camera camera = viewOf(region, 400);
    const DepthPicture picture = traced({prepared(Ball{}), 0, SolidSide::Below}, region, camera);
    std::size_t seen = 0;
    for (std::int32_t y = 0; y < 400; ++y) {
        for (std::int32_t x = 0; x < 400; ++x) {
            const std::size_t at = picture.at(x, y);
            if (picture.kinds[at] == PixelKind::Surface) {
                const Vector3 radial = normalized(camera.position(x, y, picture.depths[at]));
                const Float3& n = picture.normals[at];
                ASSERT_GT(dot(radial, Vector3{n[0], n[1], n[2]}), 0.9999);
                ++seen;
            }
        }
    }
    EXPECT_GT(seen, 10000U);
}

bool isSame(const DepthPicture& a, const DepthPicture& b)
{
    for (std::size_t i = 0; i < a.pixelCount(); ++i) {
        const bool isHit = isSolid(a.kinds[i]);
        if (a.kinds[i] != b.kinds[i] || a.depths[i] != b.depths[i] ||
            (isHit && a.normals[i] != b.normals[i]) || (isCut(a.kinds[i]) && a.values[i] != b.values[i])) {
            return false;
        }
    }
    return true;
}

TEST(Tracer, GivesTheSameForAnyNumberOfThreads)
{
    const PositionBox region = cube(1.3);
    const InsideField field{prepared(TwistedGyroid{}), 0, SolidSide::Below};
    for (const std::int32_t size : {130, 500}) {
        const DepthPicture one = traced(field, region, viewOf(region, size));
        for (const std::size_t threads : {2, 3, 7}) {
            EXPECT_TRUE(isSame(one, traced(field, region, viewOf(region, size), threads))) << threads;
        }
    }
}

// A pixel's ray doesn't depend on which others are looked at, nor on the tile it is in.
TEST(Tracer, MaskedPixelsAreThoseOfTheWholePicture)
{
    const PositionBox region = cube(1.3);
    const InsideField field{prepared(TwistedGyroid{}), 0, SolidSide::Below};
    for (const std::int32_t size : {130, 500}) {
        const Camera camera = viewOf(region, size);
        const DepthPicture whole = traced(field, region, camera);
        PixelMask mask(size, size);
        for (std::int32_t i = 0; i < size * size; i += 7) {
            mask.set(i % size, i / size);
        }
        PictureWork work(1, nullptr);
        Tracer tracer(field, region, work);
        DepthPicture some(size, size);
        for (std::size_t i = 0; i < some.pixelCount(); ++i) {
            some.kinds[i] = PixelKind::CutByViewer;
        }
        ASSERT_TRUE(tracer.trace(camera, Detail::Normals, some, &mask));
        for (std::int32_t i = 0; i < size * size; ++i) {
            const auto at = static_cast<std::size_t>(i);
            if (mask.has(i % size, i / size)) {
                ASSERT_EQ(some.kinds[at], whole.kinds[at]);
                ASSERT_EQ(some.depths[at], whole.depths[at]);
            } else {
                ASSERT_EQ(some.kinds[at], PixelKind::CutByViewer) << "isn't its to write";
            }
        }
    }
}

// Boxes are looked at by what is left of the field there. Along the axes boxes of positions are no wider than
// those of pixels: fails where a field is used outside of its box, for normals and for samples between two.
TEST(Tracer, HitsTheSameWhateverIsLeftOut)
{
    const InsideField chain{PreparedField(chains::unionOfBalls(64, 0.3)), 0, SolidSide::Below};
    const InsideField formula{prepared(chains::BallUnion{chains::manyBalls(64, 0.3)}), 0, SolidSide::Below};
    const PositionBox region = cube(0.9);
    for (const Vector3& from : {Vector3{0, 0, 1}, Vector3{-1, 0, 0}, Vector3{0.5, -0.75, 0.5}}) {
        for (const std::int32_t size : {130, 500}) {
            const Camera camera = viewOf(region, size, from);
            EXPECT_TRUE(isSame(traced(chain, region, camera), traced(formula, region, camera))) << size;
        }
    }
}

/// Counts its samples.
struct Counted {
    std::shared_ptr<std::atomic<std::size_t>> samples;

    template <class V>
    V operator()(const Tensor<3, V>& p) const
    {
        if constexpr (std::is_same_v<V, Batch>) {
            *samples += Batch::size;
        }
        return Ball{}(p);
    }
};

// What makes pictures fast: a first form of it took 13 samples for each pixel that hits.
TEST(Tracer, BoundsSpareSamples)
{
    const auto samples = std::make_shared<std::atomic<std::size_t>>(0);
    const PositionBox region = cube(1.3);
    const DepthPicture picture =
        traced({prepared(Counted{samples}), 0, SolidSide::Below}, region, viewOf(region, 512));
    const auto hits =
        static_cast<std::size_t>(std::count(picture.kinds.begin(), picture.kinds.end(), PixelKind::Surface));
    EXPECT_LT(samples->load(), 15 * hits);
}

/// A plate that faces z.
struct Plate {
    double height;
    double half;

    template <class V>
    V operator()(const Tensor<3, V>& p) const
    {
        return abs(p[2] - height) - half;
    }
};

// Samples are two pixels apart, half a pixel where slopes point to a crossing.
TEST(Tracer, SeesATenthOfAPixel)
{
    const PositionBox region = cube(1.3);
    const Camera camera = viewOf(region, 130, {0, 0, 1});
    for (int part = 0; part < 10; ++part) {
        const Plate plate{0.1 + 0.23 * part * camera.pixel, 0.05 * camera.pixel};
        const DepthPicture picture = traced({prepared(plate), 0, SolidSide::Below}, region, camera);
        const DepthPicture thick = traced({prepared(Plate{0.1, 0.1}), 0, SolidSide::Below}, region, camera);
        EXPECT_TRUE(std::equal(picture.kinds.begin(), picture.kinds.end(), thick.kinds.begin())) << part;
    }
}

/// Counts the samples between two questions whether to stop.
class Looks final : public ProgressMonitor {
public:
    explicit Looks(const std::atomic<std::size_t>& samples) : _samples(samples) {}

    void progress(double) override {}
    bool interruptRequested() override
    {
        const std::size_t now = _samples;
        _most = std::max(_most, now - _last);
        _last = now;
        return false;
    }
    std::size_t most() const { return _most; }

private:
    const std::atomic<std::size_t>& _samples;
    std::size_t _last = 0;
    std::size_t _most = 0;
};

// A sample of a mesh may take microseconds.
TEST(Tracer, AsksAfterSomeHundredSamplesWhetherToStop)
{
    const auto samples = std::make_shared<std::atomic<std::size_t>>(0);
    Looks looks(*samples);
    const PositionBox region = cube(1.3);
    PictureWork work(1, &looks);
    Tracer tracer({prepared(Counted{samples}), 0, SolidSide::Below}, region, work);
    DepthPicture picture(512, 512);
    ASSERT_TRUE(tracer.trace(viewOf(region, 512), Detail::Normals, picture));
    EXPECT_GT(samples->load(), 100000U);
    EXPECT_LT(looks.most(), 400U);
}

} // namespace
} // namespace zrk::picture
