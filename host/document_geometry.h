#pragma once

#include "core/curves/surfaces.h"
#include "core/values/box.h"
#include "model/geometry.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <utility>
#include <vector>

namespace zrkmodel {

/// A geometry of a document: a shape, or a group, with its distances. Immutable but for its uuid.
class DocumentGeometry final : public ZRKGeometry {
public:
    DocumentGeometry(std::shared_ptr<IGeometry3d> shape, std::vector<SignedDistance> distances)
        : _shape(std::move(shape)), _distances(std::move(distances))
    {}

    std::vector<SignedDistance> getSDFUngroup() const override { return _distances; }
    std::shared_ptr<IGeometry3d> geometry() const override { return _shape; }
    std::size_t distanceCount() const { return _distances.size(); }

private:
    std::shared_ptr<IGeometry3d> _shape;
    std::vector<SignedDistance> _distances;
};

class PointShape final : public IPoint {
public:
    explicit PointShape(const zrk::Vector3& position) : _position(position) {}
    zrk::Vector3 position() const override { return _position; }

private:
    zrk::Vector3 _position;
};

/// Any of the curves as the host's interface. What it hands out shares the curve.
template <class Curve>
class CurveShape final : public IParametricCurve {
public:
    explicit CurveShape(std::shared_ptr<const Curve> curve) : _curve(std::move(curve)) {}

    double length() const override { return _curve->length(); }
    CurveParametrization parametrization() const override
    {
        using Vector = CurveParametrization::Vector;
        CurveParametrization record;
        record.closestParameter = [curve = _curve](const Vector& p) { return curve->closestParameter(p); };
        record.position = [curve = _curve](double t) { return curve->position(t); };
        record.frame = [curve = _curve](double t, Vector& tangent, Vector& normal, Vector& binormal) {
            curve->frame(t, tangent, normal, binormal);
        };
        record.arcLength = [curve = _curve](double t) { return curve->arcLength(t); };
        record.tMin = _curve->tMin();
        record.tMax = _curve->tMax();
        record.length = _curve->length();
        record.closed = _curve->closed();
        const zrk::Box<double> bounds = _curve->bounds();
        record.bounds[0] = bounds.min;
        record.bounds[1] = bounds.max;
        record.closestParameterNear = [curve = _curve](const Vector& p, double near) {
            return curve->closestParameter(p, near);
        };
        record.isExact = true;
        return record;
    }

private:
    std::shared_ptr<const Curve> _curve;
};

template <class Surface>
class SurfaceShape final : public IParametricSurface {
public:
    explicit SurfaceShape(const Surface& surface) : _surface(surface) {}

    SurfaceParametrization parametrization() const override
    {
        SurfaceParametrization record;
        record.closestParameters = [surface = _surface](zrk::SurfaceParameters& uv, const zrk::Vector3& p) {
            uv = surface.closestParameters(p);
        };
        record.position = [surface = _surface](const zrk::SurfaceParameters& uv) {
            return surface.position(uv);
        };
        record.uvMin = {_surface.uvMin()[0], _surface.uvMin()[1]};
        record.uvMax = {_surface.uvMax()[0], _surface.uvMax()[1]};
        return record;
    }

private:
    Surface _surface;
};

inline double largestCoordinate(const zrk::Vector3& p)
{
    return std::max({std::abs(p[0]), std::abs(p[1]), std::abs(p[2])});
}

/// A curve with the distance to it.
template <class Curve>
std::shared_ptr<DocumentGeometry> curveGeometry(std::shared_ptr<const Curve> curve)
{
    const zrk::Box<double> bounds = curve->bounds();
    const double size = std::max(largestCoordinate(bounds.min), largestCoordinate(bounds.max));
    const SlopeOneDistance distance{[curve](const zrk::Vector3& p) { return curve->distance(p); }, size};
    return std::make_shared<DocumentGeometry>(std::make_shared<CurveShape<Curve>>(curve),
                                              std::vector<ZRKGeometry::SignedDistance>{distance});
}

/// A surface with the signed distance to it.
template <class Surface>
std::shared_ptr<DocumentGeometry> surfaceGeometry(const Surface& surface)
{
    // A corner of the parallelogram, and a pole of the sphere: no part of either is much farther out.
    const double size = 2 * (largestCoordinate(surface.position({surface.uvMin()[0], surface.uvMin()[1]})) +
                             largestCoordinate(surface.position({surface.uvMax()[0], surface.uvMax()[1]})));
    const SlopeOneDistance distance{[surface](const zrk::Vector3& p) { return surface.distance(p); }, size};
    return std::make_shared<DocumentGeometry>(std::make_shared<SurfaceShape<Surface>>(surface),
                                              std::vector<ZRKGeometry::SignedDistance>{distance});
}

} // namespace zrkmodel
