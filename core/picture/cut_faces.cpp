#include "core/picture/cut_faces.h"

#include "core/picture/color_map.h"

#include <algorithm>
#include <cmath>

namespace zrk::picture {

namespace {

constexpr double kDeepShare = 0.98;
constexpr double kDepthPower = 0.8;
constexpr int kLines = 8; ///< at most, from the surface to the deep
constexpr double kLineWidth = 1.1;
constexpr double kLineOpacity = 0.34;
constexpr double kInkWidth = 1.9;
constexpr Tensor<3, double> kInk = {0.07, 0.08, 0.11};

/// From the surface, 0, to the deep, 1.
const Float3& blueAt(double inside)
{
    constexpr std::size_t kSteps = 512;
    static const std::vector<Float3> blues = [] {
        std::vector<Float3> colors;
        for (std::size_t i = 0; i <= kSteps; ++i) {
            const double place = std::pow(static_cast<double>(i) / kSteps, kDepthPower);
            colors.push_back(linear(divergingMap().at(0.5 - 0.5 * place)));
        }
        return colors;
    }();
    return blues[static_cast<std::size_t>(inside * kSteps + 0.5)];
}

} // namespace

double evenStep(double width, int steps)
{
    if (!(width > 0) || !std::isfinite(width)) {
        return 0;
    }
    const double least = width / steps;
    const double decade = std::pow(10, std::floor(std::log10(least)));
    for (const double factor : {1.0, 2.0, 5.0}) {
        if (factor * decade >= least) {
            return factor * decade;
        }
    }
    return 10 * decade;
}

CutFaces::CutFaces(const DepthPicture& picture) : _picture(picture)
{
    // A part of them is enough, and quick.
    constexpr std::size_t kEnough = std::size_t{1} << 20;
    const std::size_t stride = picture.pixelCount() / kEnough + 1;
    std::vector<float> depths;
    for (std::size_t i = 0; i < picture.pixelCount(); i += stride) {
        if (isCut(picture.kinds[i]) && std::isfinite(picture.values[i])) {
            depths.push_back(-picture.values[i]);
        }
    }
    if (depths.empty()) {
        return;
    }
    const auto place =
        depths.begin() + static_cast<std::ptrdiff_t>(kDeepShare * static_cast<double>(depths.size() - 1));
    std::nth_element(depths.begin(), place, depths.end());
    _deep = std::max(*place, 1e-30F);
    _lineStep = evenStep(_deep, kLines);
}

double CutFaces::slopeAt(std::int32_t x, std::int32_t y, PixelKind kind) const
{
    const auto at = [&](std::int32_t px, std::int32_t py, double& value) {
        if (!_picture.contains(px, py) || _picture.kinds[_picture.at(px, py)] != kind) {
            return false;
        }
        value = _picture.values[_picture.at(px, py)];
        return std::isfinite(value);
    };
    const auto along = [&](std::int32_t dx, std::int32_t dy) {
        double before = 0;
        double here = 0;
        double after = 0;
        const bool hasBefore = at(x - dx, y - dy, before);
        const bool hasHere = at(x, y, here);
        const bool hasAfter = at(x + dx, y + dy, after);
        return hasBefore && hasAfter  ? (after - before) / 2
               : hasHere && hasAfter  ? after - here
               : hasHere && hasBefore ? here - before
                                      : 0.0;
    };
    return std::hypot(along(1, 0), along(0, 1));
}

Float3 CutFaces::colorAt(std::int32_t x, std::int32_t y, PixelKind kind, float value,
                         const Float3* paint) const
{
    const auto mix = [](const Float3& a, const Float3& b, double share) {
        const auto t = static_cast<float>(share);
        return a * (1 - t) + b * t;
    };
    const auto covered = [](double distance, double width) {
        return std::clamp((width + 1) / 2 - distance, 0.0, std::min(width, 1.0));
    };
    const double inside = std::clamp(-static_cast<double>(value) / _deep, 0.0, 1.0);
    Float3 color = paint ? *paint : blueAt(inside);
    double slope = slopeAt(x, y, kind);
    for (int side = 0; side < 4 && !(slope > 0); ++side) { // the pixel itself may show something else
        slope = slopeAt(x + (side == 0) - (side == 1), y + (side == 2) - (side == 3), kind);
    }
    if (!(slope > 0) || !std::isfinite(value)) {
        return color;
    }
    if (_lineStep > 0 && !paint) {
        // Lines that crowd would turn into a pattern of their own.
        const double calm = std::clamp((_lineStep / slope - 4) / 6, 0.0, 1.0);
        const double off = std::abs(std::remainder(static_cast<double>(value), _lineStep)) / slope;
        const bool isSurface = -static_cast<double>(value) < 0.5 * _lineStep;
        color = mix(color, {1, 1, 1}, isSurface ? 0.0 : kLineOpacity * calm * covered(off, kLineWidth));
    }
    static const Float3 ink = linear(kInk);
    return mix(color, ink, covered(-static_cast<double>(value) / slope, 2 * kInkWidth - 1));
}

} // namespace zrk::picture
