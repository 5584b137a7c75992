#pragma once

#include "core/engine/field_generator.h"
#include "core/engine/progress.h"
#include "core/values/export.h"
#include "core/values/raster.h"
#include "core/values/region.h"

namespace zrk {

/// Samples a field at the nodes of a grid and stores component 0 in the raster, which takes
/// the grid's extents. A field without a generator leaves the values as they are.
///
/// Runs on all processors; memory beside the raster is some hundred kilobytes a worker.
/// Throws FaultError for more than 2147483647 nodes, std::bad_alloc when the raster
/// doesn't fit into memory, and whatever a closure throws.
ZRK_API void rasterizeField(const IField& field, const Region<3, 3, double, 1>& gridBox,
                            Raster<1, 3, double>& raster);

/// The same with reports; false when the monitor interrupted, the raster then partly filled.
/// A request to interrupt is seen within about 20 milliseconds, or after the running sample
/// where a single one takes longer. `threads` limits the workers, 0 means all processors.
ZRK_API bool rasterizeField(const IField& field, const Region<3, 3, double, 1>& gridBox,
                            Raster<1, 3, double>& raster, ProgressMonitor* monitor, std::size_t threads = 0);

} // namespace zrk
