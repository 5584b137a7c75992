#pragma once

#include "core/values/image_channel.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace zrk {

/// Longest side and most pixels of a picture that is read.
inline constexpr std::uint32_t kMaxPngSide = 1u << 17;
inline constexpr std::uint64_t kMaxPngPixels = 1u << 28;

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
/// Nothing for any other or a damaged picture; then `fault`, if there is one, gets "found X, expected Y".
/// Memory stays within a few times the decoded picture, whose size is checked first: against the limits
/// above, and against what the file's length can hold at all. Safe from many threads at once.
std::optional<std::vector<ImageChannel<2>>> readPng(std::span<const std::uint8_t> bytes,
                                                    std::string* fault = nullptr);

/// The same from a file.
std::optional<std::vector<ImageChannel<2>>> readPngFile(const std::filesystem::path& path,
                                                        std::string* fault = nullptr);

} // namespace zrk
