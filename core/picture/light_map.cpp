#include "core/picture/light_map.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

namespace zrk::picture {

namespace {

constexpr std::size_t kTaps = 28;
constexpr double kPenumbra = 0.11;    ///< radius of a penumbra over the distance from what casts it
constexpr double kMostPenumbra = 0.1; ///< of the map's edge
constexpr float kBias = 1.6F;         ///< pixels of the map
constexpr float kBiasAPixel = 0.55F;
constexpr double kStart = 1.2; ///< pixels off the surface

const DiscTaps<kTaps>& taps()
{
    static const DiscTaps<kTaps> all;
    return all;
}

} // namespace

template <std::size_t N>
DiscTaps<N>::DiscTaps()
{
    const double golden = std::numbers::pi * (3 - std::sqrt(5.0));
    for (std::size_t turn = 0; turn < kTurns; ++turn) {
        for (std::size_t i = 0; i < N; ++i) {
            const double radius = std::sqrt((static_cast<double>(i) + 0.5) / static_cast<double>(N));
            const double angle = golden * (static_cast<double>(i) + static_cast<double>(turn) / kTurns) +
                                 std::numbers::pi / 2 * static_cast<double>(turn);
            x[turn][i] = static_cast<float>(radius * std::cos(angle));
            y[turn][i] = static_cast<float>(radius * std::sin(angle));
        }
    }
}

template struct DiscTaps<14>;
template struct DiscTaps<28>;

bool LightMap::build(Tracer& tracer, const SolidExtent& extent, const Vector3& towardsLight,
                     std::int32_t size)
{
    constexpr double kMargin = 0.03; // the extent is known to a hundredth
    _camera = cameraFrom(towardsLight, size, size);
    fitTo(_camera, extent.points, kMargin);
    DepthPicture picture(size, size);
    if (!tracer.trace(_camera, Normals::LeftOut, picture)) {
        return false;
    }
    _depths.resize(picture.pixelCount());
    _nearest = std::numeric_limits<double>::infinity();
    for (std::size_t i = 0; i < _depths.size(); ++i) {
        _depths[i] = static_cast<float>(picture.depths[i]);
        _nearest = std::min(_nearest, picture.depths[i]);
    }
    return true;
}

float LightMap::depthAt(double x, double y) const
{
    const auto i = static_cast<std::int32_t>(x + 0.5);
    const auto j = static_cast<std::int32_t>(y + 0.5);
    if (!(x > -0.5 && y > -0.5 && i < _camera.width && j < _camera.height)) {
        return std::numeric_limits<float>::infinity();
    }
    return _depths[static_cast<std::size_t>(j) * static_cast<std::size_t>(_camera.width) +
                   static_cast<std::size_t>(i)];
}

float LightMap::lightAt(const Vector3& position, const Float3& normal, std::size_t turn) const
{
    const double pixel = _camera.pixel;
    const Vector3 n = {normal[0], normal[1], normal[2]};
    const Vector3 start = position + n * (kStart * pixel);
    const Tensor<2, double> place = _camera.placeOf(start);
    const double depth = _camera.depthOf(start);
    const auto bias = [pixel](float offset) {
        return static_cast<float>(pixel) * (kBias + kBiasAPixel * offset);
    };
    const double most = kMostPenumbra * _camera.width;
    const double search = std::clamp(kPenumbra * (depth - _nearest) / pixel, 1.0, most);
    const auto receiver = static_cast<float>(depth);
    float sum = 0;
    float count = 0;
    for (std::size_t i = 0; i < kTaps; ++i) {
        const double x = search * taps().x[turn][i];
        const double y = search * taps().y[turn][i];
        const float blocker = depthAt(place[0] + x, place[1] + y);
        const float offset = static_cast<float>(search) * std::sqrt((static_cast<float>(i) + 0.5F) / kTaps);
        if (blocker < receiver - bias(offset)) {
            sum += blocker;
            count += 1;
        }
    }
    if (count == 0) {
        return 1;
    }
    const double radius = std::clamp(kPenumbra * (depth - sum / count) / pixel, 1.0, most);
    float lit = 0;
    for (std::size_t i = 0; i < kTaps; ++i) {
        const double x = radius * taps().x[turn][i];
        const double y = radius * taps().y[turn][i];
        const float offset = static_cast<float>(radius) * std::sqrt((static_cast<float>(i) + 0.5F) / kTaps);
        lit += depthAt(place[0] + x, place[1] + y) < receiver - bias(offset) ? 0.0F : 1.0F;
    }
    return lit / kTaps;
}

} // namespace zrk::picture
