#pragma once

#include "core/engine/field_generator.h"

#include <memory>

namespace zrk {

/// The gradient of a scalar field by finite differences at four alternate corners of a cube of half
/// edge `step` around each position: half of the eight, and two less than central differences need.
///
/// Input 0 of the node must be the same field; only its weight is used. The field's chain for the corners
/// is built here, once, and shared by all threads. The bounds of a gradient aren't known.
///
/// @param field  not null.
/// @param step   model units; 0 gives NaN.
/// @param unit   whether to scale to unit length; a zero gradient stays zero.
Evaluation gradientEvaluator(const std::shared_ptr<IFieldGenerator>& field, double step, bool unit);

} // namespace zrk
