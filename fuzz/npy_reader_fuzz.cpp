#include "formats/npy.h"

#include <cstdlib>

/// Any bytes give either a volume no larger than they are or a fault.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    const auto channel = zrk::readNpy({bytes, size}, "bytes");
    if (!channel && channel.error().kind != zrk::FaultKind::BadInput) {
        std::abort();
    }
    const auto length = [](const auto& raster) { return raster.data.size() * sizeof raster.data[0]; };
    if (channel && (std::visit(length, *channel) == 0 || std::visit(length, *channel) > size)) {
        std::abort();
    }
    return 0;
}
