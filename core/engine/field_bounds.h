#pragma once

#include "core/engine/prepared_field.h"

#include <memory>
#include <utility>

namespace zrk {

/// Bounds of a field over boxes: a `PreparedField` that is asked for nothing else.
class FieldBounds {
public:
    /// An empty generator reads as 0 everywhere.
    explicit FieldBounds(std::shared_ptr<IFieldGenerator> generator) : _field(IField(std::move(generator))) {}

    /// Bounds over a box of positions; see `PreparedField::bounds`.
    IntervalRecord over(const PositionBox& box) const { return _field.bounds(box); }

private:
    PreparedField _field;
};

} // namespace zrk
