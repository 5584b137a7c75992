#include "core/transport/poisson_solver.h"

#include "core/transport/cosine_transform.h"
#include "core/values/stop.h"

#include <algorithm>

namespace zrk::optimalTransport {

PoissonSolver::PoissonSolver(const SpaceTimeGrid& grid)
    : _grid(grid),
      _coupling(static_cast<double>(grid.steps) * static_cast<double>(grid.steps)),
      _alongX(grid.width),
      _alongY(grid.height),
      _reciprocals(columnItems() * grid.steps * grid.height)
{
    findReciprocals();
}

/// The pivots of the elimination. That of the constant wave at the last time is 0, so its reciprocal can be
/// any number: with 0, that potential is 0.
void PoissonSolver::findReciprocals()
{
    const std::vector<double> x = laplacianEigenvalues(static_cast<std::int32_t>(_grid.width));
    const std::vector<double> y = laplacianEigenvalues(static_cast<std::int32_t>(_grid.height));
    for (std::size_t i = 0; i < columnItems() * Batch::size; ++i) {
        for (std::size_t j = 0; j < _grid.height; ++j) {
            stopIfAsked();
            double reciprocal = 0.0;
            for (std::size_t k = 0; k < _grid.steps; ++k) {
                const double neighbours = (k > 0 ? 1.0 : 0.0) + (k + 1 < _grid.steps ? 1.0 : 0.0);
                const double diagonal = neighbours * _coupling - (x[std::min(i, x.size() - 1)] + y[j]);
                const bool isFree = i == 0 && j == 0 && k + 1 == _grid.steps;
                reciprocal = isFree ? 0.0 : 1.0 / (diagonal - _coupling * _coupling * reciprocal);
                Batch& bundle = _reciprocals[(i / Batch::size * _grid.steps + k) * _grid.height + j];
                alignas(64) double lanes[Batch::size];
                bundle.storeAligned(lanes);
                lanes[i % Batch::size] = reciprocal;
                bundle = Batch::loadAligned(lanes);
            }
        }
    }
}

PoissonSolver::Scratch PoissonSolver::makeScratch() const
{
    return Scratch(std::max(_grid.width, _grid.height * _grid.steps));
}

VolumeLines PoissonSolver::lines(SpaceTimeArray& values, int axis) const
{
    return {values.plane(0), {_grid.width, _grid.height, _grid.steps}, {1, _grid.width, _grid.plane}, axis};
}

template <class Transform>
void PoissonSolver::forRows(SpaceTimeArray& values, Share items, Scratch& scratch, Transform transform) const
{
    const VolumeLines rows = lines(values, 0);
    for (std::size_t item = items.first; item < items.last; ++item) {
        stopIfAsked();
        const std::size_t first = item * Batch::size;
        rows.read(first, rows.bundle(first), scratch.data());
        transform(scratch.data());
        rows.write(first, rows.bundle(first), scratch.data());
    }
}

void PoissonSolver::transformRows(SpaceTimeArray& values, Share items, Scratch& scratch) const
{
    forRows(values, items, scratch, [this](Batch* row) { _alongX.forward(row); });
}

void PoissonSolver::transformRowsBack(SpaceTimeArray& values, Share items, Scratch& scratch) const
{
    forRows(values, items, scratch, [this](Batch* row) { _alongX.inverse(row); });
}

void PoissonSolver::solveColumns(SpaceTimeArray& values, Share items, Scratch& scratch) const
{
    const VolumeLines columns = lines(values, 1);
    for (std::size_t item = items.first; item < items.last; ++item) {
        stopIfAsked();
        const std::size_t x = item * Batch::size;
        const std::size_t lanes = std::min(Batch::size, _grid.width - x);
        for (std::size_t k = 0; k < _grid.steps; ++k) {
            stopIfAsked();
            Batch* waves = scratch.data() + k * _grid.height;
            columns.read(k * _grid.width + x, lanes, waves);
            _alongY.forward(waves);
        }
        if (item == 0) {
            removeConstant(scratch.data());
        }
        solveInTime(scratch.data(), _reciprocals.data() + item * _grid.steps * _grid.height);
        for (std::size_t k = 0; k < _grid.steps; ++k) {
            Batch* waves = scratch.data() + k * _grid.height;
            _alongY.inverse(waves);
            columns.write(k * _grid.width + x, lanes, waves);
        }
    }
}

/// Elimination forward in time, substitution backward, for all waves of a bundle.
void PoissonSolver::solveInTime(Batch* waves, const Batch* reciprocals) const
{
    const std::size_t n = _grid.height;
    const std::size_t last = (_grid.steps - 1) * n;
    for (std::size_t i = 0; i < last; ++i) {
        waves[n + i] += waves[i] * reciprocals[i] * _coupling;
    }
    for (std::size_t i = last; i < last + n; ++i) {
        waves[i] *= reciprocals[i];
    }
    for (std::size_t i = last; i-- > 0;) {
        waves[i] = (waves[i] + waves[n + i] * _coupling) * reciprocals[i];
    }
}

/// The first lane of the first wave is the mean of a plane; its mean over time has no potential.
void PoissonSolver::removeConstant(Batch* waves) const
{
    double sum = 0.0;
    for (std::size_t k = 0; k < _grid.steps; ++k) {
        sum += waves[k * _grid.height].lane(0);
    }
    alignas(64) double excess[Batch::size] = {sum / static_cast<double>(_grid.steps)};
    for (std::size_t k = 0; k < _grid.steps; ++k) {
        waves[k * _grid.height] -= Batch::loadAligned(excess);
    }
}

} // namespace zrk::optimalTransport
