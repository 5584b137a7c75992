#include "formats/picture_file.h"

#include "formats/file_bytes.h"
#include "formats/jpeg.h"
#include "formats/limits.h"
#include "formats/png.h"
#include "formats/tiff.h"

#include <cstdint>

namespace zrk {

Result<std::vector<ImageChannel<2>>> readPictureFile(const std::filesystem::path& path)
{
    return readFileBytes(path, kMaxPngFileBytes).and_then([&](const std::vector<std::uint8_t>& bytes) {
        const std::string place = path.string();
        if (isJpeg(bytes)) {
            return readJpeg(bytes, place);
        }
        if (isTiff(bytes)) {
            return readTiff(bytes, place);
        }
        if (isPng(bytes)) {
            return readPng(bytes, place);
        }
        return Result<std::vector<ImageChannel<2>>>(
            refused({place, "something else", "a PNG, JPEG or TIFF picture",
                     "give a whole picture in one of these formats, for example by saving it anew"}));
    });
}

} // namespace zrk
