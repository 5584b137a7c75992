#pragma once

#include "core/values/box.h"
#include "core/values/vector3.h"

#include <numbers>

namespace zrk {

/// A circle in document space, a closed curve: position(t) = center + radius (cos t a + sin t b) for t from 0
/// to 2 pi, where a = normalize(ref x axis), b = axis x a, and ref is the y axis for an axis near z, else z.
///
/// The frame: T along growing t, N towards the centre, B = axis.
/// Immutable; safe to call from many threads at once.
class Circle {
public:
    /// @param axis    of any length but 0.
    /// @param radius  not negative; 0 makes a curve of length 0.
    Circle(const Vector3& center, const Vector3& axis, double radius);

    /// From 0 to 2 pi; 0 for a position on the axis, to which all points are as near.
    double closestParameter(const Vector3& p) const;
    double closestParameter(const Vector3& p, double) const { return closestParameter(p); }
    Vector3 position(double t) const;
    void frame(double t, Vector3& tangent, Vector3& normal, Vector3& binormal) const;
    double arcLength(double t) const { return _radius * t; }
    /// To the curve, never negative.
    double distance(const Vector3& p) const;

    double tMin() const { return 0; }
    double tMax() const { return 2 * std::numbers::pi; }
    double length() const { return _radius * tMax(); }
    bool closed() const { return true; }
    Box<double> bounds() const;

private:
    Vector3 _center;
    Vector3 _axis;
    Vector3 _a;
    Vector3 _b;
    double _radius;
};

} // namespace zrk
