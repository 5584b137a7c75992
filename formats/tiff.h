#pragma once

#include "core/values/fault.h"
#include "core/values/image_channel.h"
#include "formats/limits.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace zrk {

/// Whether the bytes begin as those of a TIFF file do, BigTIFF among them.
bool isTiff(std::span<const std::uint8_t> bytes);

/// @{ Reads the one picture of a TIFF file, or all its pages, in either byte order, in strips or tiles, with
/// its samples together or in planes: 1 to 4 channels of equal extents, row 0 of the picture being row 0.
///
/// - Whole numbers of 8 and 16 bit are as stored; 1, 2 and 4 bit are expanded, so that the brightest is 255.
/// Where
///   white is 0 (a fax), the first channel is turned around.
/// - Grey has 1 channel, colours 3, one more with an alpha channel; up to 4 grey channels are taken, too. A
/// palette
///   gives 3 channels of 8 bit.
/// - Packed by LZW, Deflate, PackBits, JPEG, LZMA, Zstandard, or not at all.
/// - Thumbnails and masks that stand beside pages are passed over. Orientation and colour profiles aren't
/// applied.
///
/// Refuses samples of other kinds (32 bit, floating point, CMYK, ...), damaged files, those beyond the limits
/// (see limits.h), and all of them where the build had no libtiff. Memory: the decoded pages. Safe from many
/// threads at once.
///
/// @param place  where the bytes come from, for messages.
///
/// Source: Adobe, "TIFF Revision 6.0", 1992.
Result<std::vector<ImageChannel<2>>> readTiff(std::span<const std::uint8_t> bytes, const std::string& place);
/// @param mostPixels  of all pages together.
Result<std::vector<std::vector<ImageChannel<2>>>> readTiffPages(std::span<const std::uint8_t> bytes,
                                                                const std::string& place,
                                                                std::uint64_t mostPixels = kMaxVoxels);
/// @}

} // namespace zrk
