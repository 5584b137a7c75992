#pragma once

#include "core/values/raster.h"

#include <string>

namespace zrk {

/// Pictures for the screen: 8-bit sRGB, row 0 on top. Opacity is not multiplied in.
using Picture = zrk::Raster<3, 2, unsigned char>;
using TransparentPicture = zrk::Raster<4, 2, unsigned char>;

/// Writes a picture as PNG, or leaves what was there. Throws HostError with status kFailedWork
/// when the file can't be written or the picture has no pixels. Memory: the compressed picture.
void writePng(const std::string& path, const Picture& picture);
void writePng(const std::string& path, const TransparentPicture& picture);

} // namespace zrk
