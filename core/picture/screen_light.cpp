#include "core/picture/screen_light.h"

#include <algorithm>
#include <cmath>

namespace zrk::picture {

namespace {

constexpr std::size_t kNearTaps = 14;
constexpr float kLeastCosine = 0.06F;
constexpr double kRadii[2] = {0.027, 0.094}; ///< of the solid's diagonal
constexpr float kStrength = 2.6F;
constexpr float kLeastAlike = 0.9F;
constexpr float kAlikePixels = 2.0F; ///< off each other's planes

const DiscTaps<kNearTaps>& nearTaps()
{
    static const DiscTaps<kNearTaps> all;
    return all;
}

Float3 narrowed(const Vector3& v)
{
    return {static_cast<float>(v[0]), static_cast<float>(v[1]), static_cast<float>(v[2])};
}

Float3 seenFrom(const Camera& camera, double x, double y, double depth)
{
    const double scale = camera.isPerspective() ? depth : 1.0;
    return {static_cast<float>(camera.across(x) * scale), static_cast<float>(camera.upwards(y) * scale),
            static_cast<float>(depth)};
}

} // namespace

Place placeIn(const Camera& camera, const DepthPicture& picture, std::int32_t x, std::int32_t y)
{
    const std::size_t at = picture.at(x, y);
    const Float3& n = picture.normals[at];
    const Vector3 normal = {n[0], n[1], n[2]};
    return {seenFrom(camera, x, y, picture.depths[at]),
            narrowed({dot(normal, camera.right), dot(normal, camera.up), dot(normal, camera.forward)}),
            picture.kinds[at]};
}

ScreenLight::ScreenLight(const Camera& camera, const DepthPicture& picture, const LightMap& lights,
                         double diagonal)
    : _camera(camera),
      _picture(picture),
      _lights(lights),
      _halfWidth((picture.width + 1) / 2),
      _halfHeight((picture.height + 1) / 2)
{
    _radii[0] = static_cast<float>(kRadii[0] * diagonal);
    _radii[1] = static_cast<float>(kRadii[1] * diagonal);
}

bool ScreenLight::fill(PictureWork& work)
{
    const auto halves = static_cast<std::size_t>(_halfWidth) * static_cast<std::size_t>(_halfHeight);
    _places = PixelArray<Place>(halves);
    _half = PixelArray<Reach>(halves);
    _blurred = PixelArray<Reach>(halves);
    _all = PixelArray<Reach>(_picture.pixelCount());
    const auto rows = static_cast<std::size_t>(_halfHeight);
    const auto all = static_cast<std::size_t>(_picture.height);
    return work.forEach(rows,
                        [&](std::size_t y, std::size_t) { computeRow(static_cast<std::int32_t>(y)); }) &&
           work.forEach(rows, [&](std::size_t y, std::size_t) { blurRow(static_cast<std::int32_t>(y)); }) &&
           work.forEach(all, [&](std::size_t y, std::size_t) { spreadRow(static_cast<std::int32_t>(y)); });
}

Reach ScreenLight::compute(double x, double y, const Place& place, std::size_t turn) const
{
    const Vector3 position = _camera.origin + _camera.right * double{place.seen[0]} +
                             _camera.up * double{place.seen[1]} + _camera.forward * double{place.seen[2]};
    const Vector3 normal = _camera.right * double{place.normal[0]} + _camera.up * double{place.normal[1]} +
                           _camera.forward * double{place.normal[2]};
    return {_lights.lightAt(position, narrowed(normal), turn), occlusion(x, y, place, turn)};
}

float ScreenLight::occlusion(double x, double y, const Place& place, std::size_t turn) const
{
    constexpr float kOffset = 32768.5F; // rounds to the nearest by cutting off
    const DiscTaps<kNearTaps>& disc = nearTaps();
    const auto pixel = static_cast<float>(_camera.pixel);
    const auto left = static_cast<float>(_camera.across(0));
    const auto top = static_cast<float>(_camera.upwards(0));
    const bool isPerspective = _camera.isPerspective();
    float sum = 0;
    for (const float radius : _radii) {
        const auto pixels = static_cast<float>(radius / _camera.pixelAt(place.seen[2]));
        const float inverseSquare = 1 / (radius * radius);
        for (std::size_t i = 0; i < kNearTaps; ++i) {
            const auto px =
                static_cast<std::int32_t>(static_cast<float>(x) + pixels * disc.x[turn][i] + kOffset) - 32768;
            const auto py =
                static_cast<std::int32_t>(static_cast<float>(y) + pixels * disc.y[turn][i] + kOffset) - 32768;
            if (!_picture.contains(px, py)) {
                continue;
            }
            const auto depth = static_cast<float>(_picture.depths[_picture.at(px, py)]);
            const float scale = isPerspective ? depth : 1.0F;
            const Float3 between = {(left + static_cast<float>(px) * pixel) * scale - place.seen[0],
                                    (top - static_cast<float>(py) * pixel) * scale - place.seen[1],
                                    depth - place.seen[2]};
            const float square = dot(between, between); // infinite where nothing is seen
            const float rise = dot(between, place.normal);
            if (rise > 0 && square * inverseSquare < 1) {
                const float cosine = rise / std::sqrt(square);
                sum += std::max(0.0F, cosine - kLeastCosine) * (1 - square * inverseSquare);
            }
        }
    }
    const float a = kStrength * sum / kNearTaps;
    return 1 / (1 + 1.6F * a + 1.1F * a * a);
}

void ScreenLight::computeRow(std::int32_t row)
{
    for (std::int32_t column = 0; column < _halfWidth; ++column) {
        const std::size_t at = halfAt(column, row);
        _places[at] = placeIn(_camera, _picture, 2 * column, 2 * row);
        if (_places[at].kind != PixelKind::Nothing) {
            _half[at] = compute(2 * column, 2 * row, _places[at],
                                static_cast<std::size_t>(column % 2 + 2 * (row % 2)));
        }
    }
}

bool ScreenLight::isAlike(const Place& a, const Place& b) const
{
    const float off = std::abs(dot(a.seen - b.seen, a.normal));
    return a.kind == b.kind && dot(a.normal, b.normal) > kLeastAlike &&
           off < kAlikePixels * static_cast<float>(_camera.pixelAt(a.seen[2]));
}

void ScreenLight::blurRow(std::int32_t row)
{
    constexpr float kWeights[5] = {0.5F, 1, 1, 1, 0.5F}; // every turn weighs the same
    for (std::int32_t column = 0; column < _halfWidth; ++column) {
        const Place& place = _places[halfAt(column, row)];
        if (place.kind == PixelKind::Nothing) {
            continue;
        }
        Reach sum{0, 0};
        float weights = 0;
        for (std::int32_t y = std::max(0, row - 2); y <= std::min(_halfHeight - 1, row + 2); ++y) {
            for (std::int32_t x = std::max(0, column - 2); x <= std::min(_halfWidth - 1, column + 2); ++x) {
                const std::size_t at = halfAt(x, y);
                if (isAlike(place, _places[at])) {
                    const float weight = kWeights[y - row + 2] * kWeights[x - column + 2];
                    sum.key += weight * _half[at].key;
                    sum.sky += weight * _half[at].sky;
                    weights += weight;
                }
            }
        }
        _blurred[halfAt(column, row)] = {sum.key / weights, sum.sky / weights};
    }
}

void ScreenLight::spreadRow(std::int32_t row)
{
    for (std::int32_t column = 0; column < _picture.width; ++column) {
        const std::size_t pixel = _picture.at(column, row);
        if (_picture.kinds[pixel] == PixelKind::Nothing) {
            continue;
        }
        if (row % 2 == 0 && column % 2 == 0) {
            _all[pixel] = _blurred[halfAt(column / 2, row / 2)];
            continue;
        }
        const Place place = placeIn(_camera, _picture, column, row);
        Reach sum{0, 0};
        float count = 0;
        for (std::int32_t y = row / 2; y <= std::min((row + 1) / 2, _halfHeight - 1); ++y) {
            for (std::int32_t x = column / 2; x <= std::min((column + 1) / 2, _halfWidth - 1); ++x) {
                const std::size_t at = halfAt(x, y);
                if (isAlike(place, _places[at])) {
                    sum.key += _blurred[at].key;
                    sum.sky += _blurred[at].sky;
                    count += 1;
                }
            }
        }
        _all[pixel] = count > 0 ? Reach{sum.key / count, sum.sky / count} : compute(column, row, place, 0);
    }
}

Reach ScreenLight::near(std::int32_t x, std::int32_t y, const Place& place) const
{
    const std::int32_t around[9][2] = {{0, 0}, {1, 0},  {-1, 0}, {0, 1},  {0, -1},
                                       {1, 1}, {-1, 1}, {1, -1}, {-1, -1}};
    for (const auto& step : around) {
        const std::int32_t px = x + step[0];
        const std::int32_t py = y + step[1];
        if (_picture.contains(px, py) && isAlike(place, placeIn(_camera, _picture, px, py))) {
            return _all[_picture.at(px, py)];
        }
    }
    return compute(x, y, place, 0);
}

} // namespace zrk::picture
