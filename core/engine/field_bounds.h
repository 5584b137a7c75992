#pragma once

#include "core/engine/evaluation_node.h"
#include "core/engine/field_generator.h"
#include "core/engine/kernel.h"
#include "core/values/interval.h"
#include "core/values/tensor.h"

#include <memory>
#include <vector>

namespace zrk {

/// Bounds of a field over boxes: every sample whose position lies in a box has its value and
/// its weight within them. NaN lies within the unbounded interval only.
///
/// The chain is built once; `over` may be called from many threads.
class FieldBounds {
public:
    /// An empty generator reads as 0 everywhere.
    explicit FieldBounds(std::shared_ptr<IFieldGenerator> generator);

    /// Bounds over the box of positions x, y, z. What a node can't bound is unbounded.
    IntervalRecord over(const Tensor<3, Interval<double>>& box) const;

private:
    EvaluationNode _coordinates;
    EvaluationNode _target;
    std::vector<EvaluationSlot> _slots;
};

} // namespace zrk
