#pragma once

#include "core/values/bbox.h"
#include "core/values/export.h"
#include "core/values/fault.h"
#include "host/field_grid.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>

namespace zrkmodel {

/// Where the values of a grid go, piece by piece: x fastest, the components of a sample side by side. False
/// when they can't be taken any more.
using PieceSink = std::function<bool(std::span<const double> values)>;

/// Layers of a grid's nodes across z.
struct GridLayers {
    std::int32_t first;
    std::int32_t last;
};

/// Samples a field over a grid of any size, with room for few of its values at a time, and hands them to a
/// sink in their order. They have the same bits for every size of the pieces and for any number of threads.
///
/// @param dims     nodes along x, y and z, at least 2 each.
/// @param layers   those to sample. The field's bounds are the whole grid's.
/// @param bytes    that a piece may have; a row along x it has in any case.
/// @param monitor  may be null.
/// @param threads  0 for all processors.
///
/// The chain is built for each piece, so that a field with a part that is computed in advance over its bounds
/// costs less in large ones. Returns what the samples have in common, those that were sampled when the sink
/// ended the work. Faults as sampleField() of a grid has them.
ZRK_API zrk::Result<FieldSummary> samplePieces(const zrk::IField& field, const zrk::BBox<double>& bounds,
                                               const std::array<std::int32_t, 3>& dims, GridLayers layers,
                                               double bytes, const PieceSink& sink,
                                               zrk::ProgressMonitor* monitor, std::size_t threads = 0);

/// Bytes that the pieces of such a run may have: a quarter of the memory that is free, or with a budget
/// (limitMemory) most of what it leaves, with room for workers and what else the run needs.
ZRK_API double pieceBytes(bool hasBudget, std::size_t threads);

} // namespace zrkmodel
