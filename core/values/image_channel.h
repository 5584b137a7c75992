#pragma once

#include "core/values/raster.h"

#include <cstdint>
#include <variant>

namespace zrk {

/// One channel of an image of pixels (D = 2) or voxels (D = 3), in the type of number that its file has.
template <int D>
using ImageChannel = std::variant<Raster<1, D, std::uint8_t>, Raster<1, D, std::uint16_t>,
                                  Raster<1, D, float>, Raster<1, D, double>>;

} // namespace zrk
