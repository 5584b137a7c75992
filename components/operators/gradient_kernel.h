#pragma once

#include "core/engine/field_generator.h"

#include <memory>

namespace zrk {

/// Returns the evaluator of the gradient of a scalar field, by finite differences at four alternate corners
/// of a cube of half edge `step` around each position: two evaluations less than central differences need.
///
/// Input 0 of the node must be the same field; only its weight is used. The field's chain for the corners
/// is built here, once, and shared by all threads. Bounds follow from those of the field, and so are wide:
/// they don't know its slope.
///
/// Source of the method: Quilez, "Normals for an SDF", iquilezles.org/articles/normalsSDF, the tetrahedron
/// technique. Here divided by 4 * step, so that the length is the field's slope.
///
/// @param field  not null.
/// @param step   model units; 0 gives NaN.
/// @param unit   whether to scale to unit length; a zero gradient stays zero.
Evaluation gradientEvaluator(const std::shared_ptr<IFieldGenerator>& field, double step, bool unit);

} // namespace zrk
