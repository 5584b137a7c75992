#pragma once

#include "core/raster/fourier.h"
#include "core/raster/volume_lines.h"
#include "core/transport/space_time.h"
#include "core/values/batch.h"

#include <cstddef>
#include <vector>

namespace zrk::optimalTransport {

/// Solves -Laplacian(phi) = r on the unit box of space and time without flux through its faces. The result
/// has the differences that `applyInverseLaplacian` gives, to within rounding. The mean of r is ignored.
///
/// Cosine transforms along x and y leave a tridiagonal system in time for each pair of waves, which is solved
/// by elimination with reciprocals that are found once. This takes about half the time of transforms along
/// all three axes and a division.
///
/// The three parts are to be run one after the other, each on all its items, which any number of threads may
/// share. A solver is immutable and takes one double a cell.
///
/// Source of the method: Hockney, "A fast direct solution of Poisson's equation using Fourier analysis",
/// Journal of the ACM 12(1), 1965, doi:10.1145/321250.321259. Here with cosines along two axes, and with
/// plain elimination, without his cyclic reduction.
class PoissonSolver {
public:
    explicit PoissonSolver(const SpaceTimeGrid& grid);

    /// What one thread works in.
    using Scratch = std::vector<Batch>;
    Scratch makeScratch() const;

    /// Rows that are transformed at once, bundles of them.
    std::size_t rowItems() const { return (_grid.height * _grid.steps + Batch::size - 1) / Batch::size; }
    /// Columns over all times, bundles of them.
    std::size_t columnItems() const { return (_grid.width + Batch::size - 1) / Batch::size; }

    void transformRows(SpaceTimeArray& values, Share items, Scratch& scratch) const;
    void solveColumns(SpaceTimeArray& values, Share items, Scratch& scratch) const;
    void transformRowsBack(SpaceTimeArray& values, Share items, Scratch& scratch) const;

private:
    SpaceTimeGrid _grid;
    double _coupling; ///< of neighbours in time: the square of their number
    CosineLineTransform _alongX;
    CosineLineTransform _alongY;
    std::vector<Batch> _reciprocals; ///< of the pivots, by column bundle, time and wave along y

    VolumeLines lines(SpaceTimeArray& values, int axis) const;
    /// Reads bundles of rows, transforms them in place and writes them back.
    template <class Transform>
    void forRows(SpaceTimeArray& values, Share items, Scratch& scratch, Transform transform) const;
    void findReciprocals();
    void solveInTime(Batch* waves, const Batch* reciprocals) const;
    void removeConstant(Batch* waves) const;
};

} // namespace zrk::optimalTransport
