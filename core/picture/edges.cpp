#include "core/picture/edges.h"

#include <algorithm>
#include <cmath>

namespace zrk::picture {

namespace {

constexpr float kAlikeNormals = 0.88F;
constexpr double kJump = 2.5; ///< pixels, where the surface faces the viewer
constexpr double kLeastFacing = 0.1;

bool isEdge(const Camera& camera, const DepthPicture& picture, std::size_t a, std::size_t b)
{
    const bool isSolidA = isSolid(picture.kinds[a]);
    if (!isSolidA && !isSolid(picture.kinds[b])) {
        return false;
    }
    if (picture.kinds[a] != picture.kinds[b]) {
        return true;
    }
    const Float3& n = picture.normals[a];
    const Float3& m = picture.normals[b];
    if (dot(n, m) < kAlikeNormals) {
        return true;
    }
    const Float3 both = n + m; // the same for both orders
    const double facing =
        std::max(-0.5 * dot(Vector3{both[0], both[1], both[2]}, camera.forward), kLeastFacing);
    const double depth = std::min(picture.depths[a], picture.depths[b]);
    return std::abs(picture.depths[a] - picture.depths[b]) > kJump * camera.pixelAt(depth) / facing;
}

} // namespace

PixelMask edgesOf(const Camera& camera, const DepthPicture& picture, PictureWork& work)
{
    PixelMask mask(picture.width, picture.height);
    work.forEach(static_cast<std::size_t>(picture.height), [&](std::size_t row, std::size_t) {
        const auto y = static_cast<std::int32_t>(row);
        const std::int32_t neighbours[4][2] = {{1, 0}, {-1, 0}, {0, 1}, {0, -1}};
        for (std::int32_t x = 0; x < picture.width; ++x) {
            for (const auto& step : neighbours) {
                const std::int32_t nx = x + step[0];
                const std::int32_t ny = y + step[1];
                if (picture.contains(nx, ny) &&
                    isEdge(camera, picture, picture.at(x, y), picture.at(nx, ny))) {
                    mask.set(x, y);
                    break;
                }
            }
        }
    });
    return mask;
}

} // namespace zrk::picture
