#pragma once

#include "core/values/fault.h"
#include "core/values/image_channel.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace zrk {

/// Whether the bytes begin as those of a JPEG picture do.
bool isJpeg(std::span<const std::uint8_t> bytes);

/// Reads a JPEG picture of 8 bit, baseline or progressive: 1 channel of a grey picture, 3 of a coloured one,
/// red, green and blue, of equal extents, row 0 of the picture being row 0. Colour profiles and the
/// orientation that a camera notes (Exif) aren't applied.
///
/// Refuses CMYK pictures, those of other depths or arithmetically coded, damaged ones, which the decoder
/// itself would fill up with grey, those beyond the limits (see limits.h), and all of them where the build
/// had no libjpeg. Memory: the decoded picture, of a progressive one three times that. Safe from many threads
/// at once.
///
/// @param place  where the bytes come from, for messages.
Result<std::vector<ImageChannel<2>>> readJpeg(std::span<const std::uint8_t> bytes, const std::string& place);

} // namespace zrk
