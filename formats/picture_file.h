#pragma once

#include "core/values/fault.h"
#include "core/values/image_channel.h"

#include <filesystem>
#include <vector>

namespace zrk {

/// Reads a picture file, PNG, JPEG or TIFF, whichever its content shows (see png.h, jpeg.h, tiff.h).
Result<std::vector<ImageChannel<2>>> readPictureFile(const std::filesystem::path& path);

} // namespace zrk
