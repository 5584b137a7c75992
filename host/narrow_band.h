#pragma once

#include "core/engine/prepared_field.h"
#include "core/values/bbox.h"
#include "core/values/export.h"
#include "core/values/fault.h"
#include "formats/volume.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace zrk {
class ProgressMonitor;
}

namespace zrkmodel {

/// A field near its zeros, as a level set of its own values.
struct NarrowBand {
    zrk::PreparedField field; ///< scalar, negative inside
    zrk::BBox<double> bounds; ///< that the solid is cut off at
    double voxel = 1;         ///< distance of the nodes, model units; the first is the bounds' lower corner
    double width = 3;         ///< of the band to each side, in voxels
    zrk::NumberType type = zrk::NumberType::Float64;
    std::string name;
    std::string unit;
    std::size_t threads = 0; ///< 0: as many as there are processors
};

struct BandSummary {
    std::uint64_t boxes = 0;        ///< of 8^3 nodes that bounds and band consist of
    std::uint64_t sampledBoxes = 0; ///< those that the field's bounds couldn't keep out of the band
    std::uint64_t activeNodes = 0;  ///< within the band
};

/// Writes the nodes within a band of where a field is 0 as a level set (.vdb). The solid is cut off at the
/// bounds, as that of a surface is: by the maximum of the field and the distance to the bounds. Boxes that
/// the field's bounds prove to be beyond the band aren't sampled. NaN is outside. Values are the field's, so
/// the band is as wide as it says where the field is a distance.
///
/// The same values for any number of threads. Memory: 4 KiB for each box of 8^3 nodes with a node in the
/// band, half of it for Float32.
/// @param monitor  may be null.
/// Faults as zrk::writeVolume() has them; FailedWork where no node is in the band.
ZRK_API zrk::Result<BandSummary> writeNarrowBand(const std::string& file, const NarrowBand& band,
                                                 zrk::ProgressMonitor* monitor);

} // namespace zrkmodel
