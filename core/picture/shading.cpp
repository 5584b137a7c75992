#include "core/picture/shading.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

namespace zrk::picture {

namespace {

constexpr Float3 kKeyColor = {1, 0.955F, 0.89F};
constexpr float kKeyStrength = 1.09F;
constexpr Float3 kSky = {0.84F, 0.94F, 1.10F};
constexpr float kSkyStrength = 0.46F;
constexpr Float3 kGroundColor = {1, 0.95F, 0.90F};
constexpr float kGroundStrength = 0.24F;
constexpr float kHeadlight = 0.14F;
constexpr float kRoughness = 0.32F;
constexpr float kReflectance = 0.04F;
constexpr float kHighlight = 0.35F;
constexpr float kRim = 0.3F;

Float3 unit(const Float3& v)
{
    const float size = std::sqrt(dot(v, v));
    return size > 0 ? v * (1 / size) : v;
}

Float3 times(const Float3& a, const Float3& b) { return {a[0] * b[0], a[1] * b[1], a[2] * b[2]}; }

Float3 toned(const Float3& light)
{
    return {picture::toned(light[0]), picture::toned(light[1]), picture::toned(light[2])};
}

float highlight(const Float3& normal, const Float3& viewer, const Float3& light)
{
    const float facing = std::max(dot(normal, viewer), 0.05F);
    const float lit = dot(normal, light);
    if (lit <= 0) {
        return 0;
    }
    const Float3 half = unit(viewer + light);
    const float a = kRoughness * kRoughness;
    const float cosine = std::max(dot(normal, half), 0.0F);
    const float d = cosine * cosine * (a * a - 1) + 1;
    const float spread = a * a / (std::numbers::pi_v<float> * d * d);
    const auto masked = [a](float c) { return 2 * c / (c + std::sqrt(a * a + (1 - a * a) * c * c)); };
    const float grazing = 1 - std::max(dot(viewer, half), 0.0F);
    const float fresnel = kReflectance + (1 - kReflectance) * std::pow(grazing, 5.0F);
    return spread * masked(facing) * masked(lit) * fresnel / (4 * facing);
}

} // namespace

float toned(float light)
{
    constexpr float kUnchanged = 0.55F;
    constexpr float kRest = 1 - kUnchanged;
    return light <= kUnchanged ? std::max(light, 0.0F)
                               : kUnchanged + kRest * (1 - std::exp(-(light - kUnchanged) / kRest));
}

Studio::Studio(const Camera& camera) : _isPerspective(camera.isPerspective())
{
    const Vector3 key = camera.right * -0.62 + camera.up * 0.62 + Vector3{0, 0, 0.55} - camera.forward * 0.55;
    _key = normalized(key);
    const auto seen = [&camera](const Vector3& v) {
        return Float3{static_cast<float>(dot(v, camera.right)), static_cast<float>(dot(v, camera.up)),
                      static_cast<float>(dot(v, camera.forward))};
    };
    _keySeen = seen(_key);
    _skyward = seen({0, 0, 1});
}

Float3 Studio::viewerFrom(const Place& place) const
{
    return _isPerspective ? unit(place.seen * -1.0F) : Float3{0, 0, -1};
}

Float3 Studio::shade(const Place& place, const Material& material, const Reach& reach) const
{
    const Float3& n = place.normal;
    const Float3 viewer = viewerFrom(place);
    const float facing = std::clamp(dot(n, viewer), 0.0F, 1.0F);
    const float lit = std::max(dot(n, _keySeen), 0.0F) * reach.key;
    const float upwards = 0.5F + 0.5F * dot(n, _skyward);
    const Float3 around = kSky * (kSkyStrength * upwards) + kGroundColor * (kGroundStrength * (1 - upwards));
    const Float3 diffuse = kKeyColor * (kKeyStrength * lit) + around * reach.sky +
                           Float3{1, 1, 1} * (kHeadlight * facing * reach.sky);
    Float3 light = times(material.color, diffuse);
    if (material.isGlossy) {
        const float grazing = (1 - facing) * (1 - facing);
        light = light + kKeyColor * (kHighlight * kKeyStrength * reach.key * std::numbers::pi_v<float> *
                                     highlight(n, viewer, _keySeen));
        light = light + kSky * (kRim * kSkyStrength * grazing * grazing * upwards * reach.sky);
    }
    return toned(light);
}

Float3 Studio::preview(const Place& place, const Material& material) const
{
    const float upwards = 0.5F + 0.5F * dot(place.normal, _skyward);
    const float lit = std::max(dot(place.normal, _keySeen), 0.0F);
    const Float3 around = kSky * (kSkyStrength * upwards) + kGroundColor * (kGroundStrength * (1 - upwards));
    const float facing = std::clamp(dot(place.normal, viewerFrom(place)), 0.0F, 1.0F);
    return toned(times(material.color,
                       kKeyColor * (kKeyStrength * lit) + around + Float3{1, 1, 1} * (kHeadlight * facing)));
}

float Studio::groundShade(const Reach& reach)
{
    constexpr float kShadow = 0.52F;
    constexpr float kContact = 0.55F;
    return 1 - (1 - kShadow * (1 - reach.key)) * (1 - kContact * (1 - reach.sky));
}

float linear(double component)
{
    const double c = std::clamp(component, 0.0, 1.0);
    return static_cast<float>(c <= 0.04045 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4));
}

Float3 linear(const Tensor<3, double>& color)
{
    return {linear(color[0]), linear(color[1]), linear(color[2])};
}

std::uint8_t srgbByte(float light)
{
    constexpr int kSteps = 1 << 14;
    static const std::vector<std::uint8_t> table = [] {
        std::vector<std::uint8_t> bytes(kSteps + 1);
        for (int i = 0; i <= kSteps; ++i) {
            const double c = static_cast<double>(i) / kSteps;
            const double coded = c <= 0.0031308 ? 12.92 * c : 1.055 * std::pow(c, 1 / 2.4) - 0.055;
            bytes[static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(std::lround(255 * coded));
        }
        return bytes;
    }();
    return table[static_cast<std::size_t>(std::clamp(light, 0.0F, 1.0F) * kSteps + 0.5F)];
}

} // namespace zrk::picture
