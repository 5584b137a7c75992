#pragma once

#include "core/surface/surface_grid.h"

#include <array>
#include <cstddef>
#include <span>
#include <vector>

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

/// Places vertices a batch at a time as if no crease ran through their cells: the mean of the crossings is
/// moved along the mean normal.
class SmoothPlacement {
public:
    struct Vertex {
        Point position; ///< within the cell
        bool isSmooth;  ///< all normals lie within 8 degrees of their mean
    };

    void clear();
    /// Adds the vertex of a patch that has these planes.
    /// @param lower, upper  the cell made smaller by a little.
    /// @param isMiddle      the vertex stays in the mean of the crossings.
    void add(std::span<const TangentPlane* const> planes, const Point& lower, const Point& upper,
             bool isMiddle);
    /// The vertices that were added, in order.
    std::span<const Vertex> place();

private:
    static constexpr std::size_t kMostPlanes = 12;
    static constexpr std::size_t kLanes = 8; ///< no less than a batch has
    using Row = std::array<double, kLanes>;
    struct PlaneRows {
        Row at[3], normal[3], offset;
    };

    // Of the vertices that aren't placed yet; planes that a vertex doesn't have are 0.
    alignas(64) PlaneRows _planes[kMostPlanes]{};
    alignas(64) Row _lower[3], _upper[3], _share, _isMiddle;
    std::size_t _count = 0;
    std::size_t _mostPlanes = 0;
    std::vector<Vertex> _vertices;

    void placeBatch();
};

/// The vertex of a patch that isn't smooth.
struct CreaseVertex {
    Point position;
    bool wasOutside; ///< of its cell, and was brought back
};

/// The point that is nearest to all planes in the least squares' sense, with eigenvalues below 1 % of the
/// largest left out; where it leaves the cell, the least energy on the cell's faces and edges.
///
/// Source: Ju, Losasso, Schaefer, Warren, "Dual contouring of Hermite data", ACM Transactions on Graphics
/// 21(3), 2002, with the energy's constrained minimum in place of a vertex outside its cell.
CreaseVertex placeOnCrease(std::span<const TangentPlane* const> planes, const Point& lower,
                           const Point& upper);

} // namespace zrk::surface
