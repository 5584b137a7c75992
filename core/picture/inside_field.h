#pragma once

#include "core/engine/prepared_field.h"
#include "core/surface/surface.h"

#include <span>
#include <utility>

namespace zrk::picture {

/// The field against its iso value: below 0 inside the solid, 0 or more outside; NaN counts as outside.
/// Safe from many threads.
class InsideField {
public:
    InsideField(PreparedField field, double iso, SolidSide solid)
        : _field(std::move(field)), _iso(iso), _isAbove(solid == SolidSide::Above)
    {}

    void values(const PositionArrays& positions, double* out) const
    {
        _field.evaluate(positions, out);
        if (_isAbove) {
            for (std::size_t i = 0; i < positions.count; ++i) {
                out[i] = _iso - out[i];
            }
        } else if (_iso != 0) {
            for (std::size_t i = 0; i < positions.count; ++i) {
                out[i] -= _iso;
            }
        }
    }

    /// Bounds over at most 64 boxes. Only the entire interval may hold NaN.
    void bounds(std::span<const PositionBox> boxes, Interval<double>* out) const
    {
        _field.bounds(boxes, out);
        for (std::size_t i = 0; i < boxes.size(); ++i) {
            out[i] = _isAbove ? Interval<double>(_iso) - out[i] : out[i] - Interval<double>(_iso);
        }
    }

    /// What the field's bounds over a box leave of it, where that is half of it or less; else itself. For
    /// positions within the box the values are the same.
    InsideField simplifiedFor(const PositionBox& box) const
    {
        InsideField left(_field.simplifiedFor(box), _iso, _isAbove ? SolidSide::Above : SolidSide::Below);
        return 2 * left._field.nodeCount() <= _field.nodeCount() ? left : *this;
    }
    /// True where both give the same values.
    friend bool operator==(const InsideField& a, const InsideField& b)
    {
        return a._field == b._field && a._iso == b._iso && a._isAbove == b._isAbove;
    }

private:
    PreparedField _field;
    double _iso;
    bool _isAbove;
};

} // namespace zrk::picture
