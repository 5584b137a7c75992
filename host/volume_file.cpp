#include "host/volume_file.h"

namespace zrkmodel {

zrk::Volume volumeOf(const OutputField& output, const zrk::BBox<double>& bounds,
                     const std::array<std::int32_t, 3>& dims, zrk::NumberType type, const std::string& unit)
{
    const auto& a = bounds.min;
    const auto& b = bounds.max;
    return {.dims = {dims[0], dims[1], dims[2]},
            .components = static_cast<int>(output.tag.components),
            .lower = {a[0], a[1], a[2]},
            .upper = {b[0], b[1], b[2]},
            .name = output.name,
            .values = {},
            .isDensity = output.isDensity,
            .type = type,
            .unit = unit};
}

} // namespace zrkmodel
