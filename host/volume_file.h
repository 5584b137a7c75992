#pragma once

#include "core/values/bbox.h"
#include "core/values/export.h"
#include "formats/volume.h"
#include "host/graph_document.h"

#include <array>
#include <cstdint>
#include <string>

namespace zrkmodel {

/// The volume that a file holds of an output, still without values.
ZRK_API zrk::Volume volumeOf(const OutputField& output, const zrk::BBox<double>& bounds,
                             const std::array<std::int32_t, 3>& dims, zrk::NumberType type,
                             const std::string& unit);

} // namespace zrkmodel
