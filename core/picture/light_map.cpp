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
constexpr float kBiasAPixel = 0.55F;  ///< off the place
constexpr double kStart = 1.2;        ///< pixels off the surface

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
            const double away = std::sqrt((static_cast<double>(i) + 0.5) / static_cast<double>(N));
            const double angle = golden * (static_cast<double>(i) + static_cast<double>(turn) / kTurns) +
                                 std::numbers::pi / 2 * static_cast<double>(turn);
            x[turn][i] = static_cast<float>(away * std::cos(angle));
            y[turn][i] = static_cast<float>(away * std::sin(angle));
            radius[i] = static_cast<float>(away);
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
    if (!tracer.trace(_camera, Detail::RoughDepths, picture)) {
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

inline float LightMap::depthAt(float x, float y) const
{
    const auto i = static_cast<std::int32_t>(x + 0.5F);
    const auto j = static_cast<std::int32_t>(y + 0.5F);
    const bool isSeen = x > -0.5F && y > -0.5F && i < _camera.width && j < _camera.height;
    return isSeen ? _depths[static_cast<std::size_t>(j) * static_cast<std::size_t>(_camera.width) +
                            static_cast<std::size_t>(i)]
                  : std::numeric_limits<float>::infinity();
}

float LightMap::lightAt(const Vector3& position, const Float3& normal, std::size_t turn) const
{
    const DiscTaps<kTaps>& disc = taps();
    const auto pixel = static_cast<float>(_camera.pixel);
    const Vector3 start = position + Vector3{normal[0], normal[1], normal[2]} * (kStart * _camera.pixel);
    const Tensor<2, double> place = _camera.placeOf(start);
    const auto x = static_cast<float>(place[0]);
    const auto y = static_cast<float>(place[1]);
    const double depth = _camera.depthOf(start);
    const float limit = static_cast<float>(depth) - pixel * kBias;
    const double most = kMostPenumbra * _camera.width;
    const auto radiusAt = [&](double distance) {
        return static_cast<float>(std::clamp(kPenumbra * distance / _camera.pixel, 1.0, most));
    };
    const float search = radiusAt(depth - _nearest);
    float sum = 0;
    float count = 0;
    for (std::size_t i = 0; i < kTaps; ++i) {
        const float blocker = depthAt(x + search * disc.x[turn][i], y + search * disc.y[turn][i]);
        const bool isBlocked = blocker < limit - pixel * kBiasAPixel * search * disc.radius[i];
        sum += isBlocked ? blocker : 0.0F;
        count += isBlocked ? 1.0F : 0.0F;
    }
    if (count == 0) {
        return 1;
    }
    const float radius = radiusAt(depth - sum / count);
    float lit = 0;
    for (std::size_t i = 0; i < kTaps; ++i) {
        const float blocker = depthAt(x + radius * disc.x[turn][i], y + radius * disc.y[turn][i]);
        lit += blocker < limit - pixel * kBiasAPixel * radius * disc.radius[i] ? 0.0F : 1.0F;
    }
    return lit / kTaps;
}

} // namespace zrk::picture
