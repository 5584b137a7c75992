#include "core/picture/color_map.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <numbers>

namespace zrk {
namespace {

constexpr int kSteps = 1024;
constexpr double kMiddleGap = 0.2; // strength of the diverging map right beside its middle

Rgb fromHex(unsigned hex) { return {(hex >> 16) / 255.0, (hex >> 8 & 0xff) / 255.0, (hex & 0xff) / 255.0}; }

// CIELAB under the white of sRGB (IEC 61966-2-1, D65).
using Lab = Tensor<3, double>;
constexpr double kWhite[3] = {0.95047, 1.0, 1.08883};

Lab toLab(const Rgb& color)
{
    const auto linear = [](double c) {
        return c <= 0.04045 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
    };
    const double r = linear(color[0]);
    const double g = linear(color[1]);
    const double b = linear(color[2]);
    const double xyz[3] = {0.4124564 * r + 0.3575761 * g + 0.1804375 * b,
                           0.2126729 * r + 0.7151522 * g + 0.0721750 * b,
                           0.0193339 * r + 0.1191920 * g + 0.9503041 * b};
    double f[3];
    for (int i = 0; i < 3; ++i) {
        const double ratio = xyz[i] / kWhite[i];
        f[i] = ratio > 0.008856 ? std::cbrt(ratio) : 7.787 * ratio + 16.0 / 116.0;
    }
    return {116 * f[1] - 16, 500 * (f[0] - f[1]), 200 * (f[1] - f[2])};
}

Rgb fromLab(const Lab& lab)
{
    const double fy = (lab[0] + 16) / 116;
    const double f[3] = {fy + lab[1] / 500, fy, fy - lab[2] / 200};
    double xyz[3];
    for (int i = 0; i < 3; ++i) {
        const double cube = f[i] * f[i] * f[i];
        xyz[i] = kWhite[i] * (cube > 0.008856 ? cube : (f[i] - 16.0 / 116.0) / 7.787);
    }
    const double linear[3] = {3.2404542 * xyz[0] - 1.5371385 * xyz[1] - 0.4985314 * xyz[2],
                              -0.9692660 * xyz[0] + 1.8760108 * xyz[1] + 0.0415560 * xyz[2],
                              0.0556434 * xyz[0] - 0.2040259 * xyz[1] + 1.0572252 * xyz[2]};
    Rgb color;
    for (int i = 0; i < 3; ++i) {
        const double c = std::clamp(linear[i], 0.0, 1.0);
        color[i] = c <= 0.0031308 ? 12.92 * c : 1.055 * std::pow(c, 1 / 2.4) - 0.055;
    }
    return color;
}

// Moreland's polar form of CIELAB: magnitude, saturation angle, hue angle.
struct Msh {
    double magnitude;
    double saturation;
    double hue;
};

Msh toMsh(const Lab& lab)
{
    const double magnitude = std::sqrt(dot(lab, lab));
    return {magnitude, std::acos(lab[0] / magnitude), std::atan2(lab[2], lab[1])};
}

Lab fromMsh(const Msh& msh)
{
    const double chroma = msh.magnitude * std::sin(msh.saturation);
    return {msh.magnitude * std::cos(msh.saturation), chroma * std::cos(msh.hue), chroma * std::sin(msh.hue)};
}

// The hue that an unsaturated colour takes for an even path to `end` (the paper's AdjustHue).
double hueTowards(const Msh& end, double magnitude)
{
    if (end.magnitude >= magnitude) {
        return end.hue;
    }
    const double spin = end.saturation * std::sqrt(magnitude * magnitude - end.magnitude * end.magnitude) /
                        (end.magnitude * std::sin(end.saturation));
    return end.hue > -std::numbers::pi / 3 ? end.hue + spin : end.hue - spin;
}

// From the light middle (t = 0) to the end (t = 1).
Rgb fromMiddle(const Msh& end, double middleMagnitude, double t)
{
    const double hue = hueTowards(end, middleMagnitude);
    return fromLab(fromMsh({middleMagnitude + t * (end.magnitude - middleMagnitude), t * end.saturation,
                            hue + t * (end.hue - hue)}));
}

std::vector<Rgb> viridis()
{
    const unsigned anchors[] = {0x440154, 0x472d7b, 0x3b528b, 0x2c728e, 0x21918c,
                                0x28ae80, 0x5ec962, 0xaddc30, 0xfde725};
    const int spans = static_cast<int>(std::size(anchors)) - 1;
    std::vector<Rgb> colors;
    for (int i = 0; i <= kSteps; ++i) {
        const double place = static_cast<double>(i) / kSteps * spans;
        const int span = std::min(static_cast<int>(place), spans - 1);
        const double t = place - span;
        colors.push_back(
            fromLab(toLab(fromHex(anchors[span])) * (1 - t) + toLab(fromHex(anchors[span + 1])) * t));
    }
    return colors;
}

std::vector<Rgb> blueToOrange()
{
    const Msh low = toMsh(toLab(fromHex(0x2459a8)));
    const Msh high = toMsh(toLab(fromHex(0xc8571b)));
    const double middle = std::max({88.0, low.magnitude, high.magnitude});
    std::vector<Rgb> colors;
    for (int i = 0; i <= kSteps; ++i) {
        const double t = 2.0 * i / kSteps - 1;
        const double strength = kMiddleGap + (1 - kMiddleGap) * std::abs(t);
        colors.push_back(fromMiddle(t < 0 ? low : high, middle, strength));
    }
    return colors;
}

} // namespace

const Rgb& ColorMap::at(double t) const
{
    if (!(t > 0)) {
        return colors.front();
    }
    const double last = static_cast<double>(colors.size() - 1);
    return colors[static_cast<std::size_t>(std::min(t, 1.0) * last + 0.5)];
}

const ColorMap& sequentialMap()
{
    static const ColorMap map(viridis());
    return map;
}

const ColorMap& divergingMap()
{
    static const ColorMap map(blueToOrange());
    return map;
}

} // namespace zrk
