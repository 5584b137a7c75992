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

private:
    PreparedField _field;
    double _iso;
    bool _isAbove;
};

} // namespace zrk::picture
