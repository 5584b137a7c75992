#include "core/mesh/beams/beam_field.h"

#include "core/values/stop.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace zrk {

namespace {

double largestNumber(std::span<const Capsule<double>> beams)
{
    double largest = 0;
    StopLookout lookout;
    for (const Capsule<double>& beam : beams) {
        lookout.step();
        const double numbers[] = {beam.start[0], beam.start[1], beam.start[2], beam.length, beam.radius};
        for (const double number : numbers) {
            largest = std::isfinite(number) ? std::max(largest, std::abs(number))
                                            : std::numeric_limits<double>::infinity();
        }
    }
    return largest;
}

} // namespace

BeamField::BeamField(std::span<const Capsule<double>> beams, const LatticeGrid* grid)
    : _tree(beams, beams.empty() ? 0.0 : beams.front().radius), _size(largestNumber(beams))
{
    if (grid && !beams.empty()) {
        _grid = BeamGrid::over(*grid, beams.front().radius);
    }
}

double BeamField::distance(const Tensor<3, double>& p) const
{
    const Tensor<3, Batch> everywhere{p[0], p[1], p[2]};
    if (_grid && all(_grid->covers(everywhere))) {
        return _grid->distance(everywhere).lane(0);
    }
    std::size_t hint = 0;
    return _tree.distance(p, hint);
}

Interval<double> BeamField::bounds(const CentredBox& box) const
{
    // A distance is computed in some twenty operations on numbers of this size.
    constexpr double kRounding = 64 * std::numeric_limits<double>::epsilon();
    const double atCenter = distance(box.center);
    const double size = _size + std::abs(atCenter) + box.reach;
    return size < 1e120 ? box.around(atCenter, kRounding * size) : Interval<double>::entire();
}

void BeamField::distances(const double* const (&coordinates)[3], std::size_t count, double* out) const
{
    if (_grid) {
        gridDistances(coordinates, count, out);
        return;
    }
    // Neighbours have the same beams near them.
    std::size_t hint = 0;
    for (std::size_t i = 0; i < count; ++i) {
        stopIfAsked();
        out[i] = _tree.distance({coordinates[0][i], coordinates[1][i], coordinates[2][i]}, hint);
    }
    fillLastBatch(out, count);
}

void BeamField::gridDistances(const double* const (&coordinates)[3], std::size_t count, double* out) const
{
    for (std::size_t i = 0; i < count; i += Batch::size) {
        const Tensor<3, Batch> p{Batch::loadAligned(coordinates[0] + i),
                                 Batch::loadAligned(coordinates[1] + i),
                                 Batch::loadAligned(coordinates[2] + i)};
        if (all(_grid->covers(p))) {
            _grid->distance(p).storeAligned(out + i);
            continue;
        }
        for (std::size_t k = i; k < i + Batch::size; ++k) {
            out[k] = k < count ? distance({coordinates[0][k], coordinates[1][k], coordinates[2][k]}) : 0.0;
        }
    }
}

} // namespace zrk
