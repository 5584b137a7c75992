#pragma once

#include "core/surface/surface_grid.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace zrk::surface {

/// The step of one-sided differences, of a cell.
inline constexpr double kGradientStep = 1e-4;

/// The point of the box from `lower` to `upper` that is nearest to p.
Point clamped(const Point& p, const Point& lower, const Point& upper);

/// The tangent plane of the surface at a place near it: normal . x = offset. A normal of 0 is no plane. Its
/// numbers stand one after the other, as planes are added up for the vertices of smooth cells.
struct alignas(64) TangentPlane {
    std::array<double, 8> numbers; ///< place, normal, offset, residue

    Point at() const { return {numbers[0], numbers[1], numbers[2]}; }
    Point normal() const { return {numbers[3], numbers[4], numbers[5]}; } ///< of unit length, or 0
    double offset() const { return numbers[6]; }
    /// How far the plane lies from the place along the normal.
    double residue() const { return numbers[7]; }
};

/// Whether all normals lie within 8 degrees of their mean.
bool isSmooth(std::span<const TangentPlane* const> planes);

/// Places a vertex as if no crease ran through its cell: the mean of the crossings is moved along the mean
/// normal, to the least squares of distances from the planes.
Point placedAlongMean(std::span<const TangentPlane* const> planes);

/// Does the same a batch at a time for normals near their mean, whose planes count alike.
class SmoothPlacement {
public:
    void clear() { _count = 0; }
    /// Room for so many vertices.
    void reserve(std::size_t count);
    /// Adds the vertex of a patch.
    /// @param sum       of the numbers of its planes.
    /// @param count     of these.
    /// @param isMiddle  the vertex stays in the mean of the crossings.
    void add(const TangentPlane& sum, std::size_t count, bool isMiddle)
    {
        for (std::size_t i = 0; i < kRows; ++i) {
            _rows[i][_count] = sum.numbers[i];
        }
        _share[_count] = 1.0 / static_cast<double>(count);
        _isMoved[_count++] = isMiddle ? 0 : 1;
    }
    void place();

    // Of the vertices that were added, in their order.
    /// Not yet brought back into its cell.
    Point position(std::size_t vertex) const
    {
        return {_rows[0][vertex], _rows[1][vertex], _rows[2][vertex]};
    }
    /// Whether all normals lie within 8 degrees of their mean, or the vertex stays in the middle. False may
    /// be wrong: `isSmooth` tells.
    bool isSurelySmooth(std::size_t vertex) const { return _isSmooth[vertex] != 0; }

private:
    static constexpr std::size_t kRows = 8;
    std::array<std::vector<double>, kRows> _rows; ///< sums of planes, then positions in the first three
    std::vector<double> _share;                   ///< that a plane has
    std::vector<double> _isMoved;
    std::vector<std::uint8_t> _isSmooth;
    std::size_t _count = 0;
};

/// The vertex of a patch that isn't smooth.
struct CreaseVertex {
    Point position;
    bool wasOutside; ///< of its cell, and was brought back
};

/// Places the vertices of patches that aren't smooth, a batch at a time: the point that is nearest to all
/// planes in the least squares' sense, with eigenvalues below 1 % of the largest left out; where it leaves
/// the cell, the least energy on the cell's faces and edges.
///
/// Source: Ju, Losasso, Schaefer, Warren, "Dual contouring of Hermite data", ACM Transactions on Graphics
/// 21(3), 2002, with the energy's constrained minimum in place of a vertex outside its cell.
class CreasePlacement {
public:
    void clear();
    /// Adds the vertex of a patch that has these planes.
    /// @param lower, upper  the cell made smaller by a little.
    void add(std::span<const TangentPlane* const> planes, const Point& lower, const Point& upper);
    /// The vertices that were added, in order.
    std::span<const CreaseVertex> place();

private:
    enum Row : std::size_t { XX, XY, XZ, YY, YZ, ZZ, BX, BY, BZ, C, MassX, MassY, MassZ, kRows };
    struct Box {
        Point lower, upper;
    };
    std::array<std::vector<double>, kRows> _rows; ///< energies about the means of crossings, and these
    std::vector<Box> _boxes;
    std::vector<CreaseVertex> _vertices;

    Point leastInBox(std::size_t vertex) const;
};

} // namespace zrk::surface
