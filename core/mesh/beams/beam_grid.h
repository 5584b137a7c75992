#pragma once

#include "core/mesh/beams/beam_lattice.h"
#include "core/mesh/beams/capsule.h"
#include "core/values/batch.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <optional>

namespace zrk {

/// Distance to the beams between the nodes of a grid, from the nearest nodes on each axis alone.
///
/// Of the beams along x, that with the smallest distance at (x, y, z) lies on the line of nodes nearest in y
/// and in z, and x is between its ends, or it is the last one before x. Rounding keeps that order, but for
/// two beams of a line at their common node, so near a node both are asked. The result is to the last bit the
/// smallest of all beams' distances.
class BeamGrid {
public:
    /// Nothing for a grid that rounding could spoil: with spacings that aren't positive or whose squares
    /// could leave the range of doubles, or one that lies too far from the origin.
    static std::optional<BeamGrid> over(const LatticeGrid& grid, double radius)
    {
        BeamGrid beams(grid, radius);
        const double least = std::min({grid.spacing[0], grid.spacing[1], grid.spacing[2]});
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const double lower = grid.origin[axis];
            const double upper = grid.coordinate<double>(axis, grid.cells);
            const bool isGood = least > 1e-100 && grid.spacing[axis] < 1e100 &&
                                std::abs(lower) < kReach * least && std::abs(upper) < kReach * least;
            if (!isGood) {
                return {};
            }
            beams._lower[axis] = lower - kReach * least;
            beams._upper[axis] = upper + kReach * least;
        }
        return beams;
    }

    /// Where `distance` may be asked: near the grid, and not at NaN.
    BatchMask covers(const Tensor<3, Batch>& p) const
    {
        return p[0] > _lower[0] && p[0] < _upper[0] && p[1] > _lower[1] && p[1] < _upper[1] &&
               p[2] > _lower[2] && p[2] < _upper[2];
    }

    Batch distance(const Tensor<3, Batch>& p) const
    {
        Place places[3];
        for (std::size_t axis = 0; axis < 3; ++axis) {
            places[axis] = placeOf(axis, p[axis]);
        }
        Batch nearest = distanceAlong(0, p, places, 0.0);
        nearest = minimum(nearest, distanceAlong(1, p, places, 0.0));
        nearest = minimum(nearest, distanceAlong(2, p, places, 0.0));
        for (std::size_t axis = 0; axis < 3; ++axis) {
            if (any(places[axis].isNearNode)) {
                nearest = minimum(nearest, distanceAlong(axis, p, places, -1.0));
                nearest = minimum(nearest, distanceAlong(axis, p, places, 1.0));
            }
        }
        return nearest;
    }

private:
    /// How far from the grid, and the grid from the origin, in the least spacing.
    static constexpr double kReach = 1000.0;
    /// Farther from a node than this, in spacings, the next beam's distance is larger by more than rounding.
    static constexpr double kNear = 1e-3;

    /// A coordinate among the nodes of its axis.
    struct Place {
        Batch cell;           ///< of the nodes `cell` and `cell + 1`, the nearest one is one
        Batch squaredOffNode; ///< squared distance from that
        BatchMask isNearNode;
    };

    LatticeGrid _grid;
    double _radius;
    Tensor<3, double> _lower{};
    Tensor<3, double> _upper{};

    BeamGrid(const LatticeGrid& grid, double radius) : _grid(grid), _radius(radius) {}

    Batch clampedCell(Batch cell) const { return maximum(minimum(cell, double(_grid.cells - 1)), 0.0); }

    Place placeOf(std::size_t axis, Batch x) const
    {
        Place place;
        const double spacing = _grid.spacing[axis];
        place.cell = clampedCell(floor((x - _grid.origin[axis]) / spacing));
        const Batch offFirst = x - _grid.coordinate<Batch>(axis, place.cell);
        const Batch offSecond = x - _grid.coordinate<Batch>(axis, place.cell + 1.0);
        place.squaredOffNode = minimum(offFirst * offFirst, offSecond * offSecond);
        place.isNearNode = place.squaredOffNode < (kNear * spacing) * (kNear * spacing);
        return place;
    }

    /// Distance to the beam along an axis from the cell that is `step` further, on the nearest line of nodes.
    Batch distanceAlong(std::size_t axis, const Tensor<3, Batch>& p, const Place (&places)[3],
                        double step) const
    {
        const Batch cell = clampedCell(places[axis].cell + step);
        const Batch start = _grid.coordinate<Batch>(axis, cell);
        const Batch end = _grid.coordinate<Batch>(axis, cell + 1.0);
        const Batch length = sqrt((end - start) * (end - start));
        const Batch direction = (end - start) / length;
        const CapsuleFoot<Batch> foot =
            CapsuleFoot<Batch>::of((p[axis] - start) * direction, length, _radius);
        const Batch away = p[axis] - (start + foot.along * direction);

        Batch squares[3] = {places[0].squaredOffNode, places[1].squaredOffNode, places[2].squaredOffNode};
        squares[axis] = away * away;
        return sqrt(squares[0] + squares[1] + squares[2]) - foot.radius;
    }
};

} // namespace zrk
