#include "host/volume_file.h"

namespace zrkmodel {

zrk::Volume volumeOf(const FieldValues& values, const OutputField& output,
                     const zrk::Region<3, 3, double, 1>& region, zrk::NumberType type,
                     const std::string& unit)
{
    const auto& n = region.dimensions();
    const auto& a = region.lower;
    const auto& b = region.upper;
    return {.dims = {n[0], n[1], n[2]},
            .components = static_cast<int>(output.tag.components),
            .lower = {a[0], a[1], a[2]},
            .upper = {b[0], b[1], b[2]},
            .name = output.name,
            .values = values,
            .isDensity = output.isDensity,
            .type = type,
            .unit = unit};
}

} // namespace zrkmodel
