#pragma once

#include "core/engine/kernel.h"
#include "core/mesh/beams/beam_field.h"

#include <memory>

namespace zrk {

/// The evaluator of a field at the positions of input 0, with their weight. Null gives the largest double
/// everywhere, the distance to nothing.
Evaluation beamEvaluator(std::shared_ptr<const BeamField> field);

} // namespace zrk
