#pragma once

#include "core/picture/depth_picture.h"
#include "core/picture/light_map.h"
#include "core/picture/picture_work.h"

namespace zrk::picture {

/// What reaches a place of the light.
struct Reach {
    float key; ///< share of the key light, 0 to 1
    float sky; ///< share of the light from all around
};
inline constexpr Reach kUnhindered{1, 1};

/// A place seen in a picture.
struct Place {
    Float3 seen;   ///< along right, up and forward of the camera
    Float3 normal; ///< likewise
    PixelKind kind;
};

/// How much light reaches the pixels of a picture: shadows from the light map, and occlusion of the sky from
/// the depths of the picture itself. Computed at every other pixel of every other row, in four turns side by
/// side, blurred among alike pixels and spread to the others; a pixel without an alike neighbour is computed
/// itself. Safe from many threads once it is filled.
///
/// Source of the occlusion: McGuire, Osman, Bukowski, Hennessy, "The alchemy screen-space ambient obscurance
/// algorithm", High Performance Graphics 2011. Here: two radii, a small and a large share of the solid.
class ScreenLight {
public:
    /// All must outlive this object.
    ScreenLight(const Camera& camera, const DepthPicture& picture, const LightMap& lights, double diagonal);

    /// Computes all pixels. False if it was interrupted.
    bool fill(PictureWork& work);

    const Reach& at(std::size_t pixel) const { return _all[pixel]; }
    /// For a place of another picture of nearly the same view, seen at pixel (x, y): from an alike pixel
    /// beside it, or computed.
    Reach near(std::int32_t x, std::int32_t y, const Place& place) const;

private:
    const Camera& _camera;
    const DepthPicture& _picture;
    const LightMap& _lights;
    float _radii[2];
    std::int32_t _halfWidth;
    std::int32_t _halfHeight;
    PixelArray<Place> _places; ///< of every other pixel
    PixelArray<Reach> _half;
    PixelArray<Reach> _blurred;
    PixelArray<Reach> _all;

    Reach compute(double x, double y, const Place& place, std::size_t turn) const;
    float occlusion(double x, double y, const Place& place, std::size_t turn) const;
    void computeRow(std::int32_t row);
    void blurRow(std::int32_t row);
    void spreadRow(std::int32_t row);
    bool isAlike(const Place& a, const Place& b) const;
    std::size_t halfAt(std::int32_t x, std::int32_t y) const
    {
        return static_cast<std::size_t>(y) * static_cast<std::size_t>(_halfWidth) +
               static_cast<std::size_t>(x);
    }
};

/// The place that a pixel of a picture shows.
Place placeIn(const Camera& camera, const DepthPicture& picture, std::int32_t x, std::int32_t y);

} // namespace zrk::picture
