#pragma once

#include "core/values/large_pages.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace zrk {

/// An image with C interleaved channels of T over D axes. Axis 0 runs fastest.
///
/// The pixel at (i, j, k) starts at element C * (i * strides[0] + j * strides[1] +
/// k * strides[2]) of `data`. A raster may have zero pixels. A copy has pixels of its own.
template <int C, int D, class T>
struct Raster {
    std::int32_t dims[D] = {};
    std::int32_t strides[D] = {}; ///< element step of each axis, in pixels
    std::vector<T> data;          ///< C values a pixel

    Raster() = default;
    template <class... Extent>
    requires(sizeof...(Extent) == D) explicit Raster(Extent... extent)
    {
        const std::int32_t extents[D] = {static_cast<std::int32_t>(extent)...};
        resize(extents);
    }

    /// Sets new extents. Existing values stay where they are in the flat array, and new ones are 0; an extent
    /// of 0 or less gives zero pixels.
    /// Throws std::bad_alloc or std::length_error when the pixels don't fit into memory.
    void resize(const std::int32_t (&extents)[D])
    {
        std::size_t pixels = 1;
        for (int d = 0; d < D; ++d) {
            dims[d] = extents[d];
            // A stride that doesn't fit is only reached with extents whose data can't exist either.
            strides[d] = static_cast<std::int32_t>(pixels);
            pixels *= extents[d] > 0 ? static_cast<std::size_t>(extents[d]) : 0u;
        }
        resizeInPieces(data, pixels * C);
    }

    std::size_t pixelCount() const { return data.size() / C; }
};

} // namespace zrk
