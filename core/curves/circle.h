#pragma once

#include "core/values/box.h"
#include "core/values/vector3.h"

#include <numbers>

namespace zrk {

/// A circle, which is a closed curve: position(t) = center + radius (cos t a + sin t b) for t from 0 to 2 pi,
/// in radians. Here a = normalize(ref x axis) and b = axis x a; ref is the y axis if the axis is near z
/// (|axis.z| > 0.9), and the z axis otherwise. Positions and lengths are in model units.
///
/// In the frame (T, N, B), T points along growing t, N towards the centre, and B is the axis.
/// Immutable; safe to call from many threads at once.
class Circle {
public:
    /// @param axis    normal of the circle's plane, of any length but 0.
    /// @param radius  not negative. A radius of 0 makes a curve of length 0.
    Circle(const Vector3& center, const Vector3& axis, double radius);

    /// Returns the parameter of the closest point, from 0 to 2 pi. A position on the axis, to which all
    /// points are equally close, gives 0; a NaN gives NaN.
    double closestParameter(const Vector3& p) const;
    /// Returns the same. A circle has no use for the parameter of a neighbouring position.
    double closestParameter(const Vector3& p, double) const { return closestParameter(p); }
    Vector3 position(double t) const;
    /// Sets three unit vectors: along the circle, towards its centre, along its axis.
    void frame(double t, Vector3& tangent, Vector3& normal, Vector3& binormal) const;
    /// Returns the length from t = 0 to t.
    double arcLength(double t) const { return _radius * t; }
    /// Returns the distance to the circle, which is never negative.
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
