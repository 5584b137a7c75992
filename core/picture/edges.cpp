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
    if (dot(n, picture.normals[b]) < kAlikeNormals) {
        return true;
    }
    const double facing = std::max(-dot(Vector3{n[0], n[1], n[2]}, camera.forward), kLeastFacing);
    const double depth = std::min(picture.depths[a], picture.depths[b]);
    return std::abs(picture.depths[a] - picture.depths[b]) > kJump * camera.pixelAt(depth) / facing;
}

} // namespace

PixelMask edgesOf(const Camera& camera, const DepthPicture& picture)
{
    PixelMask mask(picture.width, picture.height);
    for (std::int32_t y = 0; y < picture.height; ++y) {
        for (std::int32_t x = 0; x < picture.width; ++x) {
            const std::size_t here = picture.at(x, y);
            if (x + 1 < picture.width && isEdge(camera, picture, here, here + 1)) {
                mask.set(x, y);
                mask.set(x + 1, y);
            }
            if (y + 1 < picture.height && isEdge(camera, picture, here, picture.at(x, y + 1))) {
                mask.set(x, y);
                mask.set(x, y + 1);
            }
        }
    }
    return mask;
}

} // namespace zrk::picture
