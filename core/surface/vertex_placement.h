#pragma once

#include "core/surface/surface_grid.h"

#include <span>

namespace zrk::surface {

/// The step of one-sided differences, of a cell.
inline constexpr double kGradientStep = 1e-4;

/// The point of the box from `lower` to `upper` that is nearest to p.
Point clamped(const Point& p, const Point& lower, const Point& upper);

/// The tangent plane of the surface at a place near it: normal . x = offset. A normal of 0 is no plane.
struct TangentPlane {
    Point at;
    Point normal; ///< of unit length, or 0
    double offset;
};

/// Where the vertex of a patch stands.
struct PlacedVertex {
    Point position;
    bool isOnCrease; ///< the planes meet in an edge or a corner
    bool wasOutside; ///< of its cell, and was brought back
};

/// The vertex of a patch from the tangent planes where its edges are crossed, within `lower` to `upper`, the
/// cell made smaller by a little.
///
/// Where all normals lie within 8 degrees of their mean, the mean of the crossings is moved along the mean
/// normal. Else the point is taken that is nearest to all planes in the least squares' sense, with
/// eigenvalues below 1 % of the largest left out; where it leaves the cell, the least energy on the cell's
/// faces and edges.
///
/// Source: Ju, Losasso, Schaefer, Warren, "Dual contouring of Hermite data", ACM Transactions on Graphics
/// 21(3), 2002, with the energy's constrained minimum in place of a vertex outside its cell.
///
/// @param isSharp  false leaves creases out: the first way always.
PlacedVertex placeVertex(std::span<const TangentPlane> planes, const Point& lower, const Point& upper,
                         bool isSharp);

} // namespace zrk::surface
