#include "formats/volume_source.h"

#include <algorithm>
#include <cstdlib>
#include <vector>

/// Any bytes, after one that chooses the format, give either a volume no larger than they are, all of which
/// can be read, or a fault.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    constexpr zrk::VolumeFormat kFormats[] = {zrk::VolumeFormat::Npy, zrk::VolumeFormat::Nrrd,
                                              zrk::VolumeFormat::Vti};
    if (size == 0) {
        return 0;
    }
    const auto source = zrk::openVolume({bytes + 1, size - 1}, kFormats[bytes[0] % 3], "bytes");
    if (!source) {
        if (source.error().kind != zrk::FaultKind::BadInput) {
            std::abort();
        }
        return 0;
    }
    const zrk::Volume& volume = source->volume;
    const double values =
        static_cast<double>(volume.dims[0]) * volume.dims[1] * volume.dims[2] * volume.components;
    if (values < 1 || values > static_cast<double>(size)) {
        std::abort();
    }
    std::vector<double> node(static_cast<std::size_t>(volume.components));
    for (double done = 0; done < values; done += volume.components) {
        if (!source->read(node)) {
            std::abort();
        }
    }
    return 0;
}
