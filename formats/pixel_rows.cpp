#include "formats/pixel_rows.h"

#include <cstring>
#include <variant>

namespace zrk {

void PixelRows::set(std::uint32_t x, std::uint32_t y, std::uint32_t count, std::size_t firstChannel,
                    std::size_t channels, const std::uint8_t* samples)
{
    for (std::size_t c = 0; c < channels; ++c) {
        std::visit(
            [&]<class T>(Raster<1, 2, T>& raster) {
                T* const to = raster.data.data() +
                              static_cast<std::size_t>(y) * static_cast<std::size_t>(raster.dims[0]) + x;
                const std::uint8_t* const from = samples + c * sizeof(T);
                for (std::size_t i = 0; i < count; ++i) {
                    std::memcpy(to + i, from + i * channels * sizeof(T), sizeof(T));
                }
            },
            _channels[firstChannel + c]);
    }
}

} // namespace zrk
