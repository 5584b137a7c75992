#pragma once

#include "core/values/interval.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <span>
#include <vector>

namespace zrk {

/// Least and greatest values of a raster over parts of it, by tables of blocks: each level's blocks are four
/// blocks of the level below along each axis, the lowest level's are pixels. The tables are made when a range
/// is first asked for.
///
/// Safe to ask from many threads at once.
class RasterRanges {
public:
    static constexpr std::size_t kMaxAxes = 4;
    /// The pixels from `first` up to and including `last`, by axis.
    using Indices = std::array<std::int64_t, kMaxAxes>;

    /// @param pixels  not owned, must outlive the ranges: interleaved channels, axis 0 fastest.
    /// @param dims    pixels along each axis, at least one and at most kMaxAxes axes; all at least 1.
    RasterRanges(const double* pixels, std::span<const std::int32_t> dims, std::size_t channels)
        : _pixels(pixels), _dims(dims.begin(), dims.end()), _channels(channels)
    {}

    /// An interval that holds a channel of all those pixels, and maybe that of some around them. The entire
    /// interval if one of them isn't finite.
    /// Precondition: the pixels are there, and first <= last.
    Interval<double> over(const Indices& first, const Indices& last, std::size_t channel) const;

private:
    /// Blocks of one size: the least value of each and channel, then the greatest.
    struct Level {
        Indices dims{};
        std::vector<double> least;
        std::vector<double> greatest;
    };

    const double* _pixels;
    std::vector<std::int32_t> _dims;
    std::size_t _channels;
    mutable std::once_flag _flag;
    mutable std::vector<Level> _levels; ///< set under `_flag`; level k at k - 1

    void build() const;
    Interval<double> overBlocks(std::size_t level, const Indices& first, const Indices& last,
                                std::size_t channel) const;
};

} // namespace zrk
