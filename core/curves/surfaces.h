#pragma once

#include "core/values/vector3.h"

#include <numbers>

namespace zrk {

using SurfaceParameters = Tensor<2, double>;

/// The parallelogram position(s, t) = origin + s u + t v, s and t from 0 to 1, in document space. Immutable.
class PlanePatch {
public:
    /// u and v must not be parallel.
    PlanePatch(const Vector3& origin, const Vector3& u, const Vector3& v);

    /// The least squares' solution on the infinite plane, each parameter then cut to 0..1.
    SurfaceParameters closestParameters(const Vector3& p) const;
    Vector3 position(const SurfaceParameters& uv) const { return _origin + _u * uv[0] + _v * uv[1]; }
    /// To the infinite plane; positive on the side of u x v.
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

/// A sphere by longitude (-pi..pi, 0 on the x axis) and latitude (-pi/2..pi/2), the poles on z. Immutable.
class SphereSurface {
public:
    /// @param radius  not negative.
    SphereSurface(const Vector3& center, double radius) : _center(center), _radius(radius) {}

    /// (0, 0) for the centre, to which all points are as near.
    SurfaceParameters closestParameters(const Vector3& p) const;
    Vector3 position(const SurfaceParameters& uv) const;
    /// Negative inside.
    double distance(const Vector3& p) const { return length(p - _center) - _radius; }

    SurfaceParameters uvMin() const { return {-std::numbers::pi, -std::numbers::pi / 2}; }
    SurfaceParameters uvMax() const { return {std::numbers::pi, std::numbers::pi / 2}; }

private:
    Vector3 _center;
    double _radius;
};

} // namespace zrk
