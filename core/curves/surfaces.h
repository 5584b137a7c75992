#pragma once

#include "core/values/vector3.h"

#include <numbers>

namespace zrk {

/// The parameters (u, v) of a point on a surface.
using SurfaceParameters = Tensor<2, double>;

/// The parallelogram position(s, t) = origin + s u + t v with s and t from 0 to 1. Positions and lengths are
/// in model units. Immutable; safe to call from many threads at once.
class PlanePatch {
public:
    /// Precondition: u and v aren't parallel.
    PlanePatch(const Vector3& origin, const Vector3& u, const Vector3& v);

    /// Returns the parameters of the closest point on the infinite plane, each cut to 0..1. If u and v aren't
    /// perpendicular, a position beside the parallelogram may thus get another point than its closest one.
    /// A NaN in the position gives NaN.
    SurfaceParameters closestParameters(const Vector3& p) const;
    Vector3 position(const SurfaceParameters& uv) const { return _origin + _u * uv[0] + _v * uv[1]; }
    /// Returns the signed distance to the infinite plane, positive on the side of u x v.
    double distance(const Vector3& p) const { return dot(p - _origin, _normal); }

    SurfaceParameters uvMin() const { return {0, 0}; }
    SurfaceParameters uvMax() const { return {1, 1}; }

private:
    Vector3 _origin;
    Vector3 _u;
    Vector3 _v;
    Vector3 _normal;
    Vector3 _dualU; ///< s = dualU . (p - origin)
    Vector3 _dualV;
};

/// A sphere with poles along z. Its parameters are the longitude, from -pi to pi with 0 on the x axis, and
/// the latitude, from -pi/2 to pi/2, both in radians. Positions and lengths are in model units. Immutable;
/// safe to call from many threads at once.
class SphereSurface {
public:
    /// @param radius  not negative.
    SphereSurface(const Vector3& center, double radius) : _center(center), _radius(radius) {}

    /// Returns longitude and latitude of the closest point. The centre, to which all points are equally
    /// close, gives (0, 0). A NaN in the position gives NaN.
    SurfaceParameters closestParameters(const Vector3& p) const;
    Vector3 position(const SurfaceParameters& uv) const;
    /// Returns the signed distance, negative inside.
    double distance(const Vector3& p) const { return length(p - _center) - _radius; }

    SurfaceParameters uvMin() const { return {-std::numbers::pi, -std::numbers::pi / 2}; }
    SurfaceParameters uvMax() const { return {std::numbers::pi, std::numbers::pi / 2}; }

private:
    Vector3 _center;
    double _radius;
};

} // namespace zrk
