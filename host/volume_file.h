#pragma once

#include "core/values/export.h"
#include "core/values/fault.h"
#include "formats/volume.h"
#include "host/field_grid.h"
#include "host/graph_document.h"

#include <string>

namespace zrkmodel {

/// The volume that a file holds of samples of an output, which it views.
ZRK_API zrk::Volume volumeOf(const FieldValues& values, const OutputField& output,
                             const zrk::Region<3, 3, double, 1>& region, zrk::NumberType type,
                             const std::string& unit);

} // namespace zrkmodel
