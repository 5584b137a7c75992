#pragma once

#include "core/engine/prepared_field.h"
#include "core/surface/surface.h"

#include <cstddef>
#include <span>
#include <utility>
#include <vector>

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

    /// Appends, for each box, what the field's bounds over it leave of the field, where that is three
    /// quarters of it or less; else itself. For positions within the box the values are the same.
    void simplifiedFor(std::span<const PositionBox> boxes, std::vector<InsideField>& out) const
    {
        const std::size_t most = _field.nodeCount() * 3 / 4;
        std::vector<PreparedField> left(boxes.size(), _field);
        if (most > 1) { // less than positions and a node is no field
            _field.simplifiedFor(boxes, left);
        }
        for (PreparedField& one : left) {
            out.push_back(*this);
            if (one.nodeCount() <= most) {
                out.back()._field = std::move(one);
            }
        }
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
