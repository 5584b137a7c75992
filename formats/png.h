#pragma once

#include "core/engine/keep_going.h"
#include "core/values/export.h"
#include "core/values/fault.h"
#include "core/values/image_channel.h"
#include "core/values/raster.h"

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

namespace zrk {

/// Whether the bytes begin as those of a PNG picture do.
bool isPng(std::span<const std::uint8_t> bytes);

/// Reads a PNG picture of any colour type and depth, interlaced or not: 1 to 4 channels of equal extents, row
/// 0 of the picture being row 0.
///
/// - 16 bit pictures give 16 bit channels, all others 8 bit ones; 1, 2 and 4 bit are expanded, so that the
/// brightest is 255;
/// - grey gives 1 channel, colours and palettes 3, one more with an alpha channel or, 255 or 65535 being
/// opaque, with
///   transparent colours named in the file;
/// - numbers are as stored: gamma and colour profiles aren't applied.
///
/// Refuses any other or a damaged picture. Memory stays within a few times the decoded picture, whose size is
/// checked first: against the limits (see limits.h), and against what the file's length can hold at all.
/// Safe from many threads at once.
///
/// @param place  where the bytes come from, for messages.
Result<std::vector<ImageChannel<2>>> readPng(std::span<const std::uint8_t> bytes, const std::string& place);

/// The same from a file.
Result<std::vector<ImageChannel<2>>> readPngFile(const std::filesystem::path& path);

/// Pictures for the screen: 8-bit sRGB, row 0 on top. Opacity is not multiplied in.
using Picture = Raster<3, 2, unsigned char>;
using TransparentPicture = Raster<4, 2, unsigned char>;

/// Writes a picture as PNG, or leaves what was there. Refuses a picture without pixels, and a place that
/// can't be written to. Memory: the compressed picture.
/// @param keepGoing  asked after each row; when it stops the work, the fault is Interrupted.
ZRK_API Result<void> writePng(const std::string& path, const Picture& picture,
                              const KeepGoing& keepGoing = {});
ZRK_API Result<void> writePng(const std::string& path, const TransparentPicture& picture,
                              const KeepGoing& keepGoing = {});

} // namespace zrk
