#pragma once

#include "core/values/export.h"
#include "core/values/fault.h"
#include "host/field_grid.h"
#include "host/graph_document.h"

#include <cstdint>
#include <string>
#include <vector>

namespace zrk {
class ProgressMonitor;
}

namespace zrkmodel {

/// What looks like a mistake about a field that can be sampled all the same; each with a remedy.
using FieldRemarks = std::vector<zrk::Fault>;

/// Whether an output is named as a signed distance, whose gradient has the length 1.
ZRK_API bool isNamedDistance(const OutputField& output);

/// How the gradient of a distance is judged: by central differences of `kStep` of each side of the bounds,
/// as far from 1 below `kFlat` and above `kSteep`, and as worth a remark in more than `kMany` of the places.
struct SlopeRule {
    static constexpr double kStep = 1.0 / 20000; ///< to both sides together
    static constexpr double kFlat = 0.5;
    static constexpr double kSteep = 2;
    static constexpr double kMany = 1.0 / 200;

    static bool isFarFromOne(double slope) { return slope < kFlat || slope > kSteep; }
};

/// Tells where samples of an output have the weight 0 everywhere, are NaN in more than a tenth, are all the
/// same, or lie on one side of the level that a surface would have: of outputs that are named as a distance
/// or a density, or have no meaning of their own, as those of operators.
///
/// @param document  its name, for the place of the remarks.
ZRK_API FieldRemarks remarksOn(const FieldSummary& summary, const OutputField& output,
                               const std::string& document);

/// The same of each output of a document, by 4096 positions spread evenly over its bounds. Of outputs that
/// are named as a distance it also tells where the length of the gradient, by central differences of a
/// 20000th of the bounds, is below 1/2 or above 2 in more than one of 200 positions.
///
/// The positions are a Kronecker sequence (Roberts, "The unreasonable effectiveness of quasirandom
/// sequences", 2018). Outputs without a tag are left out. The monitor may be null; an interrupt is a fault.
ZRK_API zrk::Result<FieldRemarks> remarksOnFields(const GraphDocument& document,
                                                  zrk::ProgressMonitor* monitor);

/// The warning of a solid that is closed around samples without a value.
/// @param place  the field.
ZRK_API zrk::Fault undefinedAt(const std::string& place, std::uint64_t samples);

} // namespace zrkmodel
