#include "core/curves/circle.h"

#include "core/values/axis_frame.h"

#include <algorithm>
#include <cmath>

namespace zrk {

Circle::Circle(const Vector3& center, const Vector3& axis, double radius)
    : _center(center), _axis(axis), _radius(radius)
{
    normalize(_axis);
    _a = sideOf(_axis);
    _b = cross(_axis, _a);
}

double Circle::closestParameter(const Vector3& p) const
{
    const Vector3 d = p - _center;
    const double x = dot(d, _a);
    const double y = dot(d, _b);
    if (x == 0 && y == 0) {
        return 0;
    }
    const double t = std::atan2(y, x);
    return t < 0 ? t + tMax() : t;
}

Vector3 Circle::position(double t) const { return _center + (_a * std::cos(t) + _b * std::sin(t)) * _radius; }

void Circle::frame(double t, Vector3& tangent, Vector3& normal, Vector3& binormal) const
{
    const double cosine = std::cos(t);
    const double sine = std::sin(t);
    tangent = _b * cosine - _a * sine;
    normal = (_a * cosine + _b * sine) * -1.0;
    binormal = _axis;
}

double Circle::distance(const Vector3& p) const
{
    const Vector3 d = p - _center;
    const double height = dot(d, _axis);
    const double fromAxis = zrk::length(d - _axis * height);
    return std::hypot(fromAxis - _radius, height);
}

Box<double> Circle::bounds() const
{
    Vector3 reach;
    for (std::size_t i = 0; i < 3; ++i) {
        reach[i] = _radius * std::sqrt(std::max(0.0, 1 - _axis[i] * _axis[i]));
    }
    return {_center - reach, _center + reach};
}

} // namespace zrk
