#pragma once

#include "core/values/raster.h"
#include "model/resource.h"

#include <cstdint>
#include <memory>
#include <type_traits>

namespace zrkmodel {

/// A value of an image as components read it: 8 bit values over 255, 16 bit ones over 65535, float and double
/// as they are.
template <class T>
double asDouble(T value)
{
    if constexpr (std::is_same_v<T, std::uint8_t>) {
        return value / 255.0;
    } else if constexpr (std::is_same_v<T, std::uint16_t>) {
        return value / 65535.0;
    } else {
        return value;
    }
}

/// Returns the first channel of an image by asDouble. A channel of doubles is shared with the image, not
/// copied.
///
/// Returns null without an image, without a channel, or without pixels. Throws std::bad_variant_access for a
/// channel that holds nothing.
std::shared_ptr<const zrk::Raster<1, 2, double>> firstChannel(const std::shared_ptr<const ZRKImage2d>& image);
std::shared_ptr<const zrk::Raster<1, 3, double>> firstChannel(const std::shared_ptr<const ZRKImage3d>& image);

/// Returns an image as pixels of N = 1, 3 or 4 channels, converted like `firstChannel`. An image of fewer
/// channels repeats its last one. Where a colour's fourth channel is missing, it is 1 everywhere, so that
/// grey and coloured images are opaque.
///
/// Returns null also when a channel that is read has other extents than the first.
template <int N>
std::shared_ptr<const zrk::Raster<N, 2, double>>
interleavedChannels(const std::shared_ptr<const ZRKImage2d>& image);

} // namespace zrkmodel
