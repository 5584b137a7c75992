#include "testing/picture_fields.h"

#include <gtest/gtest.h>

namespace zrk::picture {
namespace {

DepthPicture traced(const SolidField& field, const PositionBox& region, const Camera& camera,
                    std::size_t threads = 1)
{
    PictureWork work(threads, nullptr);
    Tracer tracer(field, region, work);
    DepthPicture picture(camera.width, camera.height);
    EXPECT_TRUE(tracer.trace(camera, Normals::Found, picture));
    return picture;
}

struct Scene {
    const char* name;
    SolidField field;
    double depthError = 0.1; ///< pixels, of 99 % of the rays
    double wrong = 0;        ///< share of rays that may hit what others don't
};

std::vector<Scene> scenes()
{
    constexpr auto kBelow = SolidSide::Below;
    return {
        {"ball", {prepared(Ball{}), 0, kBelow}},
        {"ball, larger by the iso value", {prepared(Ball{}), 0.3, kBelow}},
        {"gyroid", {prepared(TwistedGyroid{}), 0, kBelow}},
        {"shells", {prepared(Shells{}), 0, kBelow}},
        {"density", {prepared(Waves{}), 0.6, SolidSide::Above}},
        {"unbounded", {unbounded(Ball{}), 0, kBelow}},
        {"jump at the surface", {prepared(Step{}), 0, kBelow}, 1.0},
        {"NaN beyond a plane", {prepared(Holed{}), 0, kBelow}, 1.0},
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
    EXPECT_LE(static_cast<double>(found.wrong), scene.wrong * static_cast<double>(found.rays));
    EXPECT_LE(found.depths[found.depths.size() * 99 / 100], scene.depthError);
    printf("%s: wrong %zu of %zu, 50 %% %.2g, 99 %% %.3g, max %.3g px\n", scene.name, found.wrong, found.rays,
           found.depths[found.depths.size() / 2], found.depths[found.depths.size() * 99 / 100],
           found.depths.back());
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

} // namespace
} // namespace zrk::picture
