#include "formats/points.h"
#include "testing/bytes_as_file.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>

/// Any bytes give either finite positions, fewer than there are bytes, or a fault.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    const BytesAsFile file(bytes, size);
    const auto points = zrk::readPoints(zrk::InputFile::open(file.path()), "bytes");
    if (!points) {
        return points.error().kind == zrk::FaultKind::BadInput ? 0 : (std::abort(), 0);
    }
    if (points->size() > size) {
        std::abort();
    }
    for (const auto& p : *points) {
        if (!std::isfinite(p[0]) || !std::isfinite(p[1]) || !std::isfinite(p[2])) {
            std::abort();
        }
    }
    return 0;
}
