#pragma once

#include "core/engine/prepared_field.h"
#include "core/surface/surface_grid.h"
#include "core/values/scalar_math.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <limits>
#include <span>

namespace zrk::surface {

/// What the surface is taken of: below 0 inside, 0 or more outside, NaN outside. The field against its iso
/// value, cut off at the bounds. Safe from many threads.
class SurfaceField {
public:
    /// @param insideIsAbove  for densities; else the values below the iso value are inside.
    SurfaceField(PreparedField field, double iso, bool insideIsAbove, const Point& lower, const Point& upper)
        : _field(std::move(field)), _iso(iso), _sign(insideIsAbove ? -1 : 1), _lower(lower), _upper(upper)
    {}

    void values(const double* x, const double* y, const double* z, std::size_t count, double* out) const
    {
        values(_field, x, y, z, nullptr, count, out);
    }

    /// The same with what is left of the field over a box, for positions in that box.
    /// @param factors  one above 0 a position, by which the field is multiplied before it is cut off; null
    /// for 1
    ///                 everywhere. The surface is the same. Where a field is much steeper than the distance
    ///                 to the bounds, the cut value is bent so sharply at the surface that no search finds it
    ///                 well.
    void values(const PreparedField& left, const double* x, const double* y, const double* z,
                const double* factors, std::size_t count, double* out) const;

    /// Distance to the bounds along the axis that is furthest out, negative inside: what a value is at least.
    double outside(const Point& p) const { return outside(p[0], p[1], p[2]); }
    template <class V>
    V outside(V x, V y, V z) const
    {
        const auto larger = [](V a, V b) { return select(a > b, a, b); };
        return larger(larger(larger(_lower[0] - x, x - _upper[0]), larger(_lower[1] - y, y - _upper[1])),
                      larger(_lower[2] - z, z - _upper[2]));
    }

    /// What the field's bounds leave of it over each box, where that is half of it or less; elsewhere the
    /// field itself, as a smaller gain isn't worth that boxes are evaluated one by one.
    void simplify(std::span<const PositionBox> boxes, std::span<PreparedField> out) const
    {
        _field.simplifiedFor(boxes, out);
        for (PreparedField& left : out) {
            left = 2 * left.nodeCount() <= _field.nodeCount() ? left : _field;
        }
    }
    std::size_t nodeCount() const { return _field.nodeCount(); }

    /// Values asked for until now that were NaN.
    std::uint64_t undefinedCount() const { return _undefined.load(std::memory_order_relaxed); }

    /// Bounds of the field against its iso value over boxes of positions, not cut off. NaN stands for
    /// outside, and only the entire interval may hold it.
    void bounds(std::span<const PositionBox> boxes, Interval<double>* out) const
    {
        _field.bounds(boxes, out);
        for (std::size_t i = 0; i < boxes.size(); ++i) {
            out[i] = out[i] - Interval<double>(_iso);
            out[i] = _sign < 0 ? -out[i] : out[i];
        }
    }

private:
    PreparedField _field;
    double _iso;
    double _sign;
    Point _lower;
    Point _upper;
    mutable std::atomic<std::uint64_t> _undefined{0};

    template <class V>
    V cutOff(V value, V x, V y, V z) const
    {
        // A NaN compares with nothing and is outside by as much as can be.
        const V limit = outside(x, y, z);
        const V cut = select(value > limit, value, limit);
        return select(value == value, cut, V(std::numeric_limits<double>::infinity()));
    }
};

} // namespace zrk::surface
