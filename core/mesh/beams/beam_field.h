#pragma once

#include "core/engine/centred_box.h"
#include "core/mesh/beams/beam_grid.h"
#include "core/mesh/beams/beam_lattice.h"
#include "core/mesh/beams/beam_tree.h"

#include <cstddef>
#include <optional>
#include <span>

namespace zrk {

/// Signed distance to a lattice of beams: the smallest distance of all, negative inside.
///
/// To the last bit what asking every beam gives, whether positions come alone or many at a time. The
/// largest double where no distance is less: far beyond all coordinates in use, and at NaN.
///
/// Immutable; safe to ask from many threads at once.
class BeamField {
public:
    /// @param beams  of one radius.
    /// @param grid   when the beams are those of a grid, it; else null.
    BeamField(std::span<const Capsule<double>> beams, const LatticeGrid* grid);

    double distance(const Tensor<3, double>& p) const;
    /// @param coordinates  three rows of `count` positions, rounded up to whole vectors and aligned to them.
    /// @param out          as long as a row, and aligned; what is beyond `count` means nothing.
    void distances(const double* const (&coordinates)[3], std::size_t count, double* out) const;

    /// Bounds of the distance over a box: it changes by at most as much as the position moves. Entire where
    /// no beam is near, or where beams aren't finite.
    Interval<double> bounds(const CentredBox& box) const;

private:
    BeamTree _tree;
    std::optional<BeamGrid> _grid;
    double _size; ///< of the largest coordinate, length or radius; infinite where one isn't finite

    void gridDistances(const double* const (&coordinates)[3], std::size_t count, double* out) const;
};

} // namespace zrk
