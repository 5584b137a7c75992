#include "core/raster/raster_ranges.h"

#include "core/values/stop.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace zrk {

namespace {

constexpr std::int64_t kBlockShift = 2;
/// Blocks along an axis up to which a level is read instead of the next one.
constexpr std::int64_t kFewBlocks = 5;
constexpr double kInfinity = std::numeric_limits<double>::infinity();

using Indices = RasterRanges::Indices;

/// Calls visit(offset) for the elements of a box of a grid, axis 0 fastest.
template <class Visit>
void forEach(const Indices& dims, const Indices& first, const Indices& last, Visit visit)
{
    static_assert(RasterRanges::kMaxAxes == 4);
    for (std::int64_t l = first[3]; l <= last[3]; ++l) {
        for (std::int64_t k = first[2]; k <= last[2]; ++k) {
            for (std::int64_t j = first[1]; j <= last[1]; ++j) {
                const std::int64_t line = ((l * dims[2] + k) * dims[1] + j) * dims[0];
                for (std::int64_t i = first[0]; i <= last[0]; ++i) {
                    visit(static_cast<std::size_t>(line + i));
                }
            }
        }
    }
}

Indices blocksOf(Indices dims)
{
    for (std::int64_t& n : dims) {
        n = ((n - 1) >> kBlockShift) + 1;
    }
    return dims;
}

/// Grows a range; what isn't finite makes it unbounded.
void include(double least, double greatest, double& lower, double& upper)
{
    lower = std::isfinite(least) ? std::min(lower, least) : -kInfinity;
    upper = std::isfinite(greatest) ? std::max(upper, greatest) : kInfinity;
}

} // namespace

Interval<double> RasterRanges::over(const Indices& first, const Indices& last, std::size_t channel) const
{
    std::call_once(_flag, [this] { build(); });
    Indices from = first;
    Indices to = last;
    std::size_t level = 0;
    const auto isLong = [&] {
        for (std::size_t axis = 0; axis < kMaxAxes; ++axis) {
            if (to[axis] - from[axis] >= kFewBlocks) {
                return true;
            }
        }
        return false;
    };
    while (level < _levels.size() && isLong()) {
        ++level;
        for (std::size_t axis = 0; axis < kMaxAxes; ++axis) {
            from[axis] >>= kBlockShift;
            to[axis] >>= kBlockShift;
        }
    }
    return overBlocks(level, from, to, channel);
}

Interval<double> RasterRanges::overBlocks(std::size_t level, const Indices& first, const Indices& last,
                                          std::size_t channel) const
{
    double lower = kInfinity;
    double upper = -kInfinity;
    if (level == 0) {
        Indices dims{1, 1, 1, 1};
        std::copy(_dims.begin(), _dims.end(), dims.begin());
        forEach(dims, first, last, [&](std::size_t pixel) {
            const double value = _pixels[pixel * _channels + channel];
            include(value, value, lower, upper);
        });
    } else {
        const Level& blocks = _levels[level - 1];
        forEach(blocks.dims, first, last, [&](std::size_t block) {
            const std::size_t element = block * _channels + channel;
            include(blocks.least[element], blocks.greatest[element], lower, upper);
        });
    }
    return std::isfinite(lower) && std::isfinite(upper) ? Interval<double>{lower, upper}
                                                        : Interval<double>::entire();
}

void RasterRanges::build() const
{
    _levels.clear(); // those of a build that was stopped
    Indices below{1, 1, 1, 1};
    std::copy(_dims.begin(), _dims.end(), below.begin());
    StopLookout lookout;
    while (*std::max_element(below.begin(), below.end()) > 1) {
        Level level;
        level.dims = blocksOf(below);
        const auto count =
            static_cast<std::size_t>(level.dims[0] * level.dims[1] * level.dims[2] * level.dims[3]);
        level.least.assign(count * _channels, kInfinity);
        level.greatest.assign(count * _channels, -kInfinity);
        // Lines of the level below, each into the line of blocks that it belongs to.
        Indices at{};
        for (at[3] = 0; at[3] < below[3]; ++at[3]) {
            for (at[2] = 0; at[2] < below[2]; ++at[2]) {
                for (at[1] = 0; at[1] < below[1]; ++at[1]) {
                    const std::int64_t line = ((at[3] * below[2] + at[2]) * below[1] + at[1]) * below[0];
                    const std::int64_t blockLine =
                        (((at[3] >> kBlockShift) * level.dims[2] + (at[2] >> kBlockShift)) * level.dims[1] +
                         (at[1] >> kBlockShift)) *
                        level.dims[0];
                    for (std::int64_t i = 0; i < below[0]; ++i) {
                        lookout.step();
                        for (std::size_t c = 0; c < _channels; ++c) {
                            const std::size_t from = static_cast<std::size_t>(line + i) * _channels + c;
                            const std::size_t to =
                                static_cast<std::size_t>(blockLine + (i >> kBlockShift)) * _channels + c;
                            const double least = _levels.empty() ? _pixels[from] : _levels.back().least[from];
                            const double greatest =
                                _levels.empty() ? _pixels[from] : _levels.back().greatest[from];
                            include(least, greatest, level.least[to], level.greatest[to]);
                        }
                    }
                }
            }
        }
        below = level.dims;
        _levels.push_back(std::move(level));
    }
}

} // namespace zrk
