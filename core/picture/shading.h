#pragma once

#include "core/picture/camera.h"
#include "core/picture/screen_light.h"

#include <array>
#include <cstdint>

namespace zrk::picture {

/// A colour between 0 and 1 in linear light, times its opacity.
struct Shade {
    Float3 color;
    float opacity;
};

/// What a place of the solid is made of.
struct Material {
    Float3 color{}; ///< linear
    float opacity = 1;
    bool isGlossy = true;
};

/// Studio light that turns with the viewer: a warm key light from the upper left with soft shadows, the sky
/// and the ground, a headlight, a weak highlight and a rim.
///
/// Source of the highlight: Walter, Marschner, Li, Torrance, "Microfacet models for refraction through rough
/// surfaces", Eurographics Symposium on Rendering 2007 (GGX).
class Studio {
public:
    explicit Studio(const Camera& camera);

    const Vector3& towardsKeyLight() const { return _key; }

    /// Light from a place, linear, toned down to 0 to 1.
    Float3 shade(const Place& place, const Material& material, const Reach& reach) const;
    /// The same without shadows, occlusion, highlight and rim.
    Float3 preview(const Place& place, const Material& material) const;
    /// By how much the ground is darker than the backdrop, from 0 to 1.
    static float groundShade(const Reach& reach);

private:
    bool _isPerspective;
    Vector3 _key;
    Float3 _keySeen; ///< along the camera's axes
    Float3 _skyward; ///< world z along the camera's axes

    Float3 viewerFrom(const Place& place) const;
};

/// Stays up to 0.55 and nears 1 from there.
float toned(float light);

/// From a component of sRGB, 0 to 1, to linear light.
float linear(double component);
Float3 linear(const Tensor<3, double>& color);

/// A byte of sRGB for linear light, 0 to 1.
std::uint8_t srgbByte(float light);

} // namespace zrk::picture
