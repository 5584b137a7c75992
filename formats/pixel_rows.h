#pragma once

#include "core/values/image_channel.h"

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace zrk {

/// The channels of a picture of 8 or 16 bit while its samples arrive, piece by piece.
class PixelRows {
public:
    /// Takes memory for all of them, and looks for a request to stop meanwhile.
    PixelRows(std::uint32_t width, std::uint32_t height, std::size_t channels, bool isWide)
    {
        for (std::size_t c = 0; c < channels; ++c) {
            if (isWide) {
                _channels.emplace_back(Raster<1, 2, std::uint16_t>(width, height));
            } else {
                _channels.emplace_back(Raster<1, 2, std::uint8_t>(width, height));
            }
        }
    }

    /// Sets the samples of `count` pixels of a row from (x, y) on, in so many channels from the first one on.
    /// @param samples  interleaved, in the byte order of this machine; 2 bytes each where the picture is
    /// wide.
    void set(std::uint32_t x, std::uint32_t y, std::uint32_t count, std::size_t firstChannel,
             std::size_t channels, const std::uint8_t* samples);

    std::vector<ImageChannel<2>> take() { return std::move(_channels); }

private:
    std::vector<ImageChannel<2>> _channels;
};

} // namespace zrk
