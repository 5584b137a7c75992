#include "core/raster/raster_lookup.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace zrk {

namespace {

/// The pixels along an axis that a lookup may read: one stretch, or two where it wraps.
struct Stretches {
    struct Stretch {
        std::int64_t first;
        std::int64_t last;
    };
    std::array<Stretch, 2> stretches{};
    int count = 1;
};

/// @param x  finite, in pixels.
Stretches pixelsRead(const Interval<double>& x, const LookupAxis& axis, Border border)
{
    // Beyond this the next whole number may have no double of its own.
    constexpr double kCountable = 0x1p51;
    const double first = std::floor(x.lower);
    const double last = std::floor(x.upper) + 1;
    const auto lastPixel = static_cast<std::int64_t>(axis.scale);
    if (border == Border::Clamp) {
        const auto clamped = [&](double index) {
            return static_cast<std::int64_t>(std::clamp(index, 0.0, axis.scale));
        };
        return {{{{clamped(first), clamped(last)}}}, 1};
    }
    const bool isCountable = first > -kCountable && last < kCountable;
    if (!isCountable || last - first >= axis.count) {
        return {{{{0, lastPixel}}}, 1};
    }
    const auto from = static_cast<std::int64_t>(wrappedIndex(first, axis));
    const auto to = static_cast<std::int64_t>(wrappedIndex(last, axis));
    if (from <= to) {
        return {{{{from, to}}}, 1};
    }
    return {{{{from, lastPixel}, {0, to}}}, 2};
}

/// Moves the bounds of pixels outwards by what their mean may be off: up to 16 products are added up, and
/// their weights are rounded.
Interval<double> withRounding(const Interval<double>& pixels)
{
    using Limits = std::numeric_limits<double>;
    const double size = std::max(std::abs(pixels.lower), std::abs(pixels.upper));
    const double slack = 32 * (Limits::epsilon() * size + Limits::denorm_min());
    return {pixels.lower - slack, pixels.upper + slack};
}

} // namespace

void lookupBounds(const RasterRanges& ranges, std::span<const LookupAxis> axes, Border border,
                  const Interval<double>* coordinates, std::size_t channels, Interval<double>* out)
{
    std::array<Stretches, RasterRanges::kMaxAxes> read;
    unsigned parts = 1;
    for (std::size_t d = 0; d < axes.size(); ++d) {
        const Interval<double> x = coordinates[d] * Interval<double>(axes[d].scale);
        if (!std::isfinite(coordinates[d].lower) || !std::isfinite(coordinates[d].upper) ||
            !std::isfinite(x.lower) || !std::isfinite(x.upper)) {
            std::fill_n(out, channels, Interval<double>::entire());
            return;
        }
        read[d] = pixelsRead(x, axes[d], border);
        parts *= static_cast<unsigned>(read[d].count);
    }
    for (std::size_t c = 0; c < channels; ++c) {
        for (unsigned part = 0; part < parts; ++part) {
            RasterRanges::Indices first{};
            RasterRanges::Indices last{};
            unsigned rest = part;
            for (std::size_t d = 0; d < axes.size(); ++d) {
                const auto count = static_cast<unsigned>(read[d].count);
                first[d] = read[d].stretches[rest % count].first;
                last[d] = read[d].stretches[rest % count].last;
                rest /= count;
            }
            const Interval<double> pixels = ranges.over(first, last, c);
            out[c] = part == 0 ? pixels : hull(out[c], pixels);
        }
        out[c] = out[c].isEntire() ? out[c] : withRounding(out[c]);
    }
}

double wrappedIndex(double index, const LookupAxis& axis)
{
    const double remainder = std::fmod(index, axis.count);
    const double positive = remainder < 0 ? remainder + axis.count : remainder;
    return positive > 0 ? positive : 0.0;
}

Batch wrappedLanes(const Batch& index, const LookupAxis& axis)
{
    double lanes[Batch::size];
    index.store(lanes);
    for (double& lane : lanes) {
        lane = wrappedIndex(lane, axis);
    }
    return Batch::load(lanes);
}

} // namespace zrk
