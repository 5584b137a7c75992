#include "host/slice_picture.h"

#include "core/engine/worker_team.h"
#include "core/picture/color_map.h"
#include "core/picture/cut_faces.h"
#include "core/values/large_pages.h"
#include "core/values/stop.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <cassert>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <limits>
#include <vector>

namespace zrkmodel {
namespace {

using zrk::divergingMap;
using zrk::Rgb;
using zrk::sequentialMap;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr Rgb kInk = {0.07, 0.08, 0.11};
constexpr Rgb kChalk = {1, 1, 1};
constexpr double kContourWidth = 1.75; // pixels
constexpr double kLineWidth = 1.0;
constexpr double kLineOpacity = 0.22;
constexpr int kLinesAcross = 16; // at most, over the whole range

Rgb mix(const Rgb& a, const Rgb& b, double t) { return a * (1 - t) + b * t; }

// --- ranges ---

std::vector<double> finiteValues(std::span<const double> values)
{
    std::vector<double> finite;
    zrk::reserveOnLargePages(finite, values.size());
    zrk::inPieces(std::size_t{0}, values.size(), [&](std::size_t first, std::size_t end) {
        std::copy_if(values.begin() + static_cast<std::ptrdiff_t>(first),
                     values.begin() + static_cast<std::ptrdiff_t>(end), std::back_inserter(finite),
                     [](double v) { return std::isfinite(v); });
    });
    return finite;
}

/// The bits of a number as an integer that is ordered as the numbers are.
std::uint64_t orderedBits(double value)
{
    const auto bits = std::bit_cast<std::uint64_t>(value + 0.0); // zeros of both signs are the same
    const std::uint64_t sign = std::uint64_t{1} << 63;
    return bits & sign ? ~bits : bits | sign;
}

/// The value below which this share of finite values lies. Counted by their upper bits first: selecting among
/// all at once takes seconds for a large picture, and can't be stopped.
double quantile(std::span<const double> values, double fraction)
{
    constexpr int kBits = 16;
    constexpr std::size_t kFew = 1 << 16;
    auto place = static_cast<std::size_t>(fraction * static_cast<double>(values.size() - 1));
    std::vector<double> left;
    for (int shift = 64 - kBits; shift >= 0 && values.size() > kFew; shift -= kBits) {
        const auto digitOf = [shift](double v) { return orderedBits(v) >> shift & ((1u << kBits) - 1); };
        std::vector<std::size_t> counts(std::size_t{1} << kBits);
        zrk::inPieces(std::size_t{0}, values.size(), [&](std::size_t first, std::size_t end) {
            for (std::size_t i = first; i < end; ++i) {
                ++counts[digitOf(values[i])];
            }
        });
        std::size_t digit = 0;
        for (; place >= counts[digit]; ++digit) {
            place -= counts[digit];
        }
        std::vector<double> alike;
        alike.reserve(counts[digit]);
        zrk::inPieces(std::size_t{0}, values.size(), [&](std::size_t first, std::size_t end) {
            std::copy_if(values.begin() + static_cast<std::ptrdiff_t>(first),
                         values.begin() + static_cast<std::ptrdiff_t>(end), std::back_inserter(alike),
                         [&](double v) { return digitOf(v) == digit; });
        });
        left = std::move(alike);
        values = left;
    }
    if (left.empty()) {
        left.assign(values.begin(), values.end());
    }
    const auto selected = left.begin() + static_cast<std::ptrdiff_t>(place);
    if (left.size() <= kFew) {
        std::nth_element(left.begin(), selected, left.end());
    }
    return *selected; // where many are left, all bits are the same
}

ValueRange scalarRange(std::span<const double> values, std::optional<double> contour)
{
    constexpr double kFarOut = 20; // times the width of the bulk
    const std::vector<double> finite = finiteValues(values);
    if (finite.empty()) {
        return {0, 1};
    }
    ValueRange range = {finite.front(), finite.front()};
    zrk::inPieces(std::size_t{0}, finite.size(), [&](std::size_t first, std::size_t end) {
        const auto [least, greatest] = std::minmax_element(finite.data() + first, finite.data() + end);
        range.low = *least < range.low ? *least : range.low;
        range.high = *greatest < range.high ? range.high : *greatest;
    });
    const ValueRange bulk = {quantile(finite, 0.01), quantile(finite, 0.99)};
    if (bulk.high > bulk.low && range.high - range.low > kFarOut * (bulk.high - bulk.low)) {
        range = bulk;
    }
    if (contour && range.low < *contour && *contour < range.high) {
        const double reach = std::max(range.high - *contour, *contour - range.low);
        range = {*contour - reach, *contour + reach};
    }
    return range;
}

ValueRange vectorRange(std::span<const double> values)
{
    bool withinUnit = true;
    double greatest = 0;
    zrk::StopLookout lookout;
    for (const double v : values) {
        lookout.step();
        if (std::isfinite(v)) {
            withinUnit = withinUnit && v >= 0 && v <= 1;
            greatest = std::max(greatest, std::abs(v));
        }
    }
    return withinUnit ? ValueRange{0, 1} : ValueRange{-greatest, greatest};
}

// Where v lies in the range, 0 to 1; the middle of a range without width.
double placeIn(const ValueRange& range, double v)
{
    if (v <= range.low || v >= range.high) {
        return v < range.high ? 0 : v > range.low ? 1 : 0.5;
    }
    return (v - range.low) / (range.high - range.low);
}

// The step between lines; 0 where the range is too narrow for numbers to be told apart, or too wide.
double lineStepFor(const ValueRange& range)
{
    const double width = range.high - range.low;
    const double size = std::max(std::abs(range.low), std::abs(range.high));
    if (!(width > 1e-9 * size)) {
        return 0;
    }
    return zrk::picture::evenStep(width, kLinesAcross);
}

// --- lines of equal value ---

// Share of a pixel that a line covers whose middle passes at `distance` pixels.
double coverage(double distance, double width)
{
    return std::clamp((width + 1) / 2 - distance, 0.0, std::min(width, 1.0));
}

// The values around one pixel.
class Neighbourhood {
public:
    Neighbourhood(const SliceGrid& grid, int x, int y) : value(at(grid, x, y))
    {
        const double around[4] = {at(grid, x - 1, y), at(grid, x + 1, y), at(grid, x, y - 1),
                                  at(grid, x, y + 1)};
        std::copy(around, around + 4, neighbours);
        const double across = difference(neighbours[0], neighbours[1]);
        const double up = difference(neighbours[2], neighbours[3]);
        const double square = across * across + up * up;
        // Where squares are numbers that tell, their root takes a fifth of the time.
        slope = square > 1e-280 && square < 1e280 ? std::sqrt(square) : std::hypot(across, up);
    }

    // Pixels from here to where the value is `level`: by the slope, and by the change of sign
    // towards a neighbour, which holds at jumps and kinks too.
    double distanceTo(double level) const
    {
        double distance = bySlope(value - level);
        for (const double neighbour : neighbours) {
            const double here = value - level;
            const double there = neighbour - level;
            if ((here < 0 && there > 0) || (here > 0 && there < 0)) {
                distance = std::min(distance, std::abs(here) / (std::abs(here) + std::abs(there)));
            }
        }
        return distance;
    }

    // Pixels to the nearest of the levels base + k * step.
    double distanceToSteps(double base, double step) const
    {
        // The exact remainder takes long, and is of interest near a line only.
        const double steps = (value - base) / step;
        const double about = bySlope((steps - std::nearbyint(steps)) * step);
        return about > 2 ? about : bySlope(std::remainder(value - base, step));
    }

    double value;
    double slope; // change of the value over one pixel

private:
    static double at(const SliceGrid& grid, int x, int y)
    {
        const bool inside = x >= 0 && y >= 0 && x < grid.width && y < grid.height;
        return inside ? grid.values[static_cast<std::size_t>(y) * static_cast<std::size_t>(grid.width) +
                                    static_cast<std::size_t>(x)]
                      : std::numeric_limits<double>::quiet_NaN();
    }

    double difference(double before, double after) const
    {
        if (std::isfinite(before) && std::isfinite(after)) {
            return (after - before) / 2;
        }
        return std::isfinite(after) ? after - value : std::isfinite(before) ? value - before : 0;
    }

    double bySlope(double offset) const
    {
        return slope > 0 && std::isfinite(slope) && std::isfinite(offset) ? std::abs(offset) / slope
                                                                          : kInfinity;
    }

    double neighbours[4];
};

// --- pixels ---

Rgb hatch(int x, int y) { return (x + y) / 4 % 2 == 0 ? Rgb{0.56, 0.56, 0.57} : Rgb{0.64, 0.64, 0.65}; }

Rgb chequer(int x, int y) { return (x / 8 + y / 8) % 2 == 0 ? Rgb{0.97, 0.97, 0.97} : Rgb{0.82, 0.82, 0.82}; }

/// What has the weight 0: pale, with dots.
Rgb veiled(const Rgb& color, int x, int y)
{
    const bool isDot = y % 4 == 0 && (x + y) % 8 == 0;
    return isDot ? kInk : mix(color, kChalk, 0.72);
}

class ScalarPainter {
public:
    ScalarPainter(const SliceGrid& grid, const ValueRange& range, const SliceStyle& style, double lineStep)
        : grid(grid), range(range), style(style), contour(style.contour), lineStep(lineStep)
    {}

    Rgb color(int x, int y) const
    {
        const Neighbourhood here(grid, x, y);
        Rgb color = scalarColor(here.value, range, style);
        if (lineStep > 0) {
            // Lines that crowd would turn into a pattern of their own.
            const double gap = lineStep / here.slope / style.scale;
            const double calm = std::clamp((gap - 4) / 6, 0.0, 1.0);
            const double share =
                coverage(here.distanceToSteps(contour.value_or(0), lineStep), kLineWidth * style.scale);
            const bool onDark = dot(color, Rgb{0.3, 0.6, 0.1}) < 0.38;
            color = mix(color, onDark ? kChalk : kInk, kLineOpacity * calm * share);
        }
        if (contour) {
            color = mix(color, kInk, coverage(here.distanceTo(*contour), kContourWidth * style.scale));
        }
        return color;
    }

private:
    const SliceGrid& grid;
    ValueRange range;
    const SliceStyle& style;
    std::optional<double> contour;
    double lineStep;
};

Rgb componentColor(std::span<const double> values, const ValueRange& range, int x, int y)
{
    const Rgb color = {placeIn(range, values[0]), placeIn(range, values[1]), placeIn(range, values[2])};
    return values.size() < 4 ? color : mix(chequer(x, y), color, std::clamp(values[3], 0.0, 1.0));
}

} // namespace

ValueRange automaticRange(const SliceGrid& grid, const SliceStyle& style)
{
    switch (grid.components) {
    case 1:
        return scalarRange(grid.values, style.contour);
    case 3:
        return vectorRange(grid.values);
    default:
        return {0, 1};
    }
}

Rgb scalarColor(double value, const ValueRange& range, const SliceStyle& style)
{
    const bool isDiverging = style.contour && range.low < *style.contour && *style.contour < range.high;
    if (!isDiverging) {
        return sequentialMap().at(placeIn(range, value));
    }
    const double level = *style.contour;
    const double place = value < level ? placeIn({range.low, level}, value) / 2
                                       : 0.5 + placeIn({level, range.high}, value) / 2;
    // The map's low end is the inside, on whichever side of the level that lies.
    return divergingMap().at(style.insideAbove ? 1 - place : place);
}

SlicePicture drawSlice(const SliceGrid& grid, const SliceStyle& style, std::size_t threads)
{
    const std::size_t components = static_cast<std::size_t>(grid.components);
    assert(grid.values.size() ==
           static_cast<std::size_t>(grid.width) * static_cast<std::size_t>(grid.height) * components);
    SlicePicture result;
    zrk::reserveOnLargePages(result.picture.data, 3 * grid.values.size() / components);
    result.picture.resize({grid.width, grid.height});
    result.range = style.range ? *style.range : automaticRange(grid, style);
    result.lineStep = components == 1 ? lineStepFor(result.range) : 0;
    const ScalarPainter painter(grid, result.range, style, result.lineStep);

    const auto drawRow = [&](int y) {
        unsigned char* pixel = result.picture.data.data() +
                               3 * static_cast<std::size_t>(y) * static_cast<std::size_t>(grid.width);
        const int row = grid.height - 1 - y;
        for (int x = 0; x < grid.width; ++x) {
            const std::size_t place = static_cast<std::size_t>(row) * static_cast<std::size_t>(grid.width) +
                                      static_cast<std::size_t>(x);
            const std::span<const double> values = grid.values.subspan(place * components, components);
            const bool hasNan =
                std::any_of(values.begin(), values.end(), [](double v) { return std::isnan(v); });
            const Rgb ofValue = hasNan            ? hatch(x, y)
                                : components == 1 ? painter.color(x, row)
                                                  : componentColor(values, result.range, x, y);
            const bool isVeiled = !grid.isWeightless.empty() && grid.isWeightless[place] != 0;
            const Rgb color = isVeiled ? veiled(ofValue, x, y) : ofValue;
            for (const double c : color) {
                *pixel++ = static_cast<unsigned char>(255 * c + 0.5);
            }
        }
    };
    std::atomic<int> next{0};
    zrk::runTeam(threads, [&](std::size_t, std::size_t) {
        for (int y = next++; y < grid.height; y = next++) {
            zrk::stopIfAsked();
            drawRow(y);
        }
    });
    return result;
}

} // namespace zrkmodel
