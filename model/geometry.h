#pragma once

#include "core/values/export.h"
#include "core/values/tensor.h"
#include "model/resource.h"

#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace zrkmodel {

/// What a geometry is, beyond its distance. Cast it to one of the interfaces below.
/// Their operations, and the functions they hand out, are safe to call from many threads.
class ZRK_API IGeometry3d {
public:
    virtual ~IGeometry3d() = default;
};

class ZRK_API IPoint : public IGeometry3d {
public:
    /// In document space.
    virtual zrk::Tensor<3, double> position() const = 0;
};

/// A curve by its parameter t; positions in document space.
struct CurveParametrization {
    using Vector = zrk::Tensor<3, double>;
    std::function<double(const Vector&)> closestParameter; ///< t of the curve point closest to a position
    std::function<Vector(double)> position;
    /// Sets the axes of the curve's moving frame at t.
    std::function<void(double, Vector& tangent, Vector& normal, Vector& binormal)> frame;
    std::function<double(double)> arcLength; ///< length from the curve's start to t
    double tMin = 0;
    double tMax = 0;
    double length = 0;
    bool closed = false;
    Vector bounds[2] = {};
    /// What closestParameter answers, to the bit, found sooner when `near` is its answer for a
    /// neighbouring position. May be empty.
    std::function<double(const Vector&, double near)> closestParameterNear;
    /// Whether, at finite positions and but for rounding, no point of the curve is closer than the one of
    /// closestParameter, which lies from tMin to tMax, and arcLength lies from 0 to `length`. Only then are
    /// bounds known over boxes of positions; `bounds` must then be those of the curve.
    bool isExact = false;
};

class ZRK_API IParametricCurve : public IGeometry3d {
public:
    virtual CurveParametrization parametrization() const = 0;
    /// Total length.
    virtual double length() const = 0;
};

/// A surface by its parameters (u, v); positions in document space.
struct SurfaceParametrization {
    using Vector = zrk::Tensor<3, double>;
    using Parameters = zrk::Tensor<2, double>;
    /// Sets uv to the parameters of the surface point closest to p.
    std::function<void(Parameters& uv, const Vector& p)> closestParameters;
    std::function<Vector(const Parameters&)> position;
    std::pair<double, double> uvMin; ///< least u and v
    std::pair<double, double> uvMax; ///< greatest u and v
};

class ZRK_API IParametricSurface : public IGeometry3d {
public:
    virtual SurfaceParametrization parametrization() const = 0;
};

/// A distance of a geometry that is known to change by at most as much as the position moves, but for
/// rounding, and to be a number at every finite position. As the target of a `ZRKGeometry::SignedDistance` it
/// lets bounds be found over boxes of positions.
struct ZRK_API SlopeOneDistance {
    std::function<double(const zrk::Tensor<3, double>&)> distance;
    double size = 0; ///< of the largest coordinate of the geometry, which rounding errors grow with

    double operator()(const zrk::Tensor<3, double>& p) const { return distance(p); }
};

/// A geometry of the document, or a group of them.
class ZRK_API ZRKGeometry : public ZRKSerializableObject {
public:
    using SignedDistance = std::function<double(const zrk::Tensor<3, double>&)>;

    /// One signed distance, negative inside, per element of the geometry, in document
    /// space. The functions own what they need and are safe to call from many threads.
    virtual std::vector<SignedDistance> getSDFUngroup() const = 0;
    /// Null for what has no such interface, a group for one.
    virtual std::shared_ptr<IGeometry3d> geometry() const { return nullptr; }
};

} // namespace zrkmodel
