#include "formats/tiff.h"
#include "fuzz/pictures.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    constexpr std::uint64_t kMostPixels = 1 << 20;
    expectSound(zrk::readTiff({bytes, size}, "bytes"));
    const auto pages = zrk::readTiffPages({bytes, size}, "bytes", kMostPixels);
    if (pages) {
        for (const auto& page : *pages) {
            expectSound(page);
        }
    }
    return 0;
}
