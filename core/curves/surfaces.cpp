#include "core/curves/surfaces.h"

#include <cmath>

namespace zrk {

namespace {

/// NaN stays NaN.
double cutToUnit(double x) { return x < 0 ? 0 : (x > 1 ? 1 : x); }

} // namespace

PlanePatch::PlanePatch(const Vector3& origin, const Vector3& u, const Vector3& v)
    : _origin(origin), _u(u), _v(v)
{
    const Vector3 across = cross(u, v);
    const double perSquaredArea = 1 / dot(across, across);
    // The dual basis: s and t of the position's foot on the plane, without squaring u . v.
    _dualU = cross(v, across) * perSquaredArea;
    _dualV = cross(across, u) * perSquaredArea;
    _normal = across;
    normalize(_normal);
}

SurfaceParameters PlanePatch::closestParameters(const Vector3& p) const
{
    const Vector3 d = p - _origin;
    return {cutToUnit(dot(d, _dualU)), cutToUnit(dot(d, _dualV))};
}

SurfaceParameters SphereSurface::closestParameters(const Vector3& p) const
{
    const Vector3 d = p - _center;
    return {std::atan2(d[1], d[0]), std::atan2(d[2], std::hypot(d[0], d[1]))};
}

Vector3 SphereSurface::position(const SurfaceParameters& uv) const
{
    const double ring = std::cos(uv[1]);
    return _center + Vector3{ring * std::cos(uv[0]), ring * std::sin(uv[0]), std::sin(uv[1])} * _radius;
}

} // namespace zrk
