#include "formats/jpeg.h"
#include "fuzz/pictures.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    expectSound(zrk::readJpeg({bytes, size}, "bytes"));
    return 0;
}
