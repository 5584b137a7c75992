#include "formats/points.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <sstream>

/// Any bytes give either finite positions, fewer than there are bytes, or a fault.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    std::istringstream stream(std::string(reinterpret_cast<const char*>(bytes), size));
    const auto points = zrk::readPoints(stream, "bytes");
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
