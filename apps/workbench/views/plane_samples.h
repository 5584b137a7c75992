#pragma once

#include "core/engine/prepared_field.h"
#include "host/field_grid.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace zrkworkbench {

/// Samples of a field over a plane, in the plane's order.
struct PlaneSamples {
    std::vector<double> values; ///< those of one sample side by side
    /// 1 for samples of weight 0, 0 for others; empty where there are none.
    std::vector<std::uint8_t> isWeightless;
    double milliseconds = 0; ///< that it took
};

/// Samples all components of a field on the threads of the calling thread's pool, at the positions of the
/// plane. Looks for a request to stop every few milliseconds, and throws what `stopIfAsked` does.
PlaneSamples samplePlane(const zrk::PreparedField& field, const zrkmodel::SlicePlane& plane,
                         std::size_t workers);

/// The length of the gradient of component 0 at each position of a plane, by central differences of
/// `SlopeRule::kStep` of the bounds.
std::vector<double> slopesOnPlane(const zrk::PreparedField& field, const zrkmodel::SlicePlane& plane,
                                  const zrk::BBox<double>& bounds, std::size_t workers);

/// The same at one position.
double slopeAt(const zrk::PreparedField& field, const zrk::Tensor<3, double>& position,
               const zrk::BBox<double>& bounds);

} // namespace zrkworkbench
