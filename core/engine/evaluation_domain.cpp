#include "core/engine/evaluation_domain.h"

#include "core/values/batch.h"
#include "core/values/fault.h"
#include "core/values/stop.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>

namespace zrk {

template <int N, class T>
std::int32_t EvaluationDomain<N, T>::fill(SampleBufferData<T>& buffer) const
{
    const std::int32_t n = sampleCount();
    buffer.resize(static_cast<std::uint64_t>(n));
    inPieces(std::int32_t{0}, n, [&](std::int32_t first, std::int32_t end) {
        for (std::int32_t i = first; i < end; ++i) {
            const Tensor<4, T> p = position(i);
            std::copy(p.begin(), p.end(), buffer.record(static_cast<std::uint64_t>(i)));
        }
    });
    return n;
}

template <int N, class T>
void EvaluationDomain<N, T>::positions(std::int32_t first, std::int32_t count, T* x, T* y, T* z) const
{
    for (std::int32_t i = 0; i < count; ++i) {
        const Tensor<4, T> p = position(first + i);
        T* const rows[3] = {x, y, z};
        for (std::size_t c = 0; c < 3; ++c) {
            if (rows[c]) {
                rows[c][i] = p[c];
            }
        }
    }
}

template <int N, class T>
std::shared_ptr<SampleBufferData<T>> EvaluationDomain<N, T>::samples()
{
    if (_samples && !stale) {
        return _samples;
    }
    if (!_samples) {
        _samples = std::make_shared<SampleBufferData<T>>(3);
    }
    fill(*_samples);
    stale = false;
    return _samples;
}

template class EvaluationDomain<3, double>;

namespace {

/// Per axis the lowest and the highest of the coordinates.
void extend(std::optional<Corners<double>>& box, const Tensor<3, double>& p)
{
    if (!box) {
        box = Corners<double>{p, p};
        return;
    }
    for (int c = 0; c < 3; ++c) {
        box->first[c] = std::min(box->first[c], p[c]);
        box->second[c] = std::max(box->second[c], p[c]);
    }
}

bool areEqual(const std::vector<double>& values)
{
    return std::all_of(values.begin(), values.end(), [&](double value) { return value == values.front(); });
}

/// along[i] + stepY + stepZ for the nodes of a piece of an x line.
void addSteps(const double* along, double stepY, double stepZ, std::int32_t length, double* sums)
{
    constexpr auto kLanes = static_cast<std::int32_t>(Batch::size);
    std::int32_t i = 0;
    for (; i + kLanes <= length; i += kLanes) {
        (Batch::load(along + i) + stepY + stepZ).store(sums + i);
    }
    for (; i < length; ++i) {
        sums[i] = along[i] + stepY + stepZ;
    }
}

} // namespace

std::int32_t gridSampleCount(std::int32_t nx, std::int32_t ny, std::int32_t nz)
{
    if (nx <= 0 || ny <= 0 || nz <= 0) {
        return 0;
    }
    // Two factors of 31 bits fit into 64; the third is tested before it is multiplied.
    const std::int64_t layer = std::int64_t{nx} * ny;
    if (layer > std::numeric_limits<std::int32_t>::max() / nz) {
        throw FaultError(
            {"grid", std::to_string(nx) + " x " + std::to_string(ny) + " x " + std::to_string(nz) + " nodes",
             "at most " + std::to_string(std::numeric_limits<std::int32_t>::max()) + " together",
             "ask for a lower resolution or smaller bounds", FaultKind::FailedWork});
    }
    return static_cast<std::int32_t>(layer * nz);
}

GridDomain::LinearGridDomain(const Region<3, 3, double, 1>& region) : _region(region)
{
    const auto& n = region.dimensions();
    _sampleCount = gridSampleCount(n[0], n[1], n[2]);
    // The sums below are those of Region::localToWorld, term by term, so the bits are too.
    for (int axis = 0; axis < 3 && _sampleCount > 0; ++axis) {
        for (int c = 0; c < 3; ++c) {
            std::vector<double>& steps = _steps[axis][c];
            steps.resize(static_cast<std::size_t>(n[axis]));
            for (std::int32_t i = 0; i < n[axis]; ++i) {
                const double v = region.lower[axis] +
                                 (region.upper[axis] - region.lower[axis]) * (i * region.spacing()[axis]);
                const double step = v * region.axes[axis][c];
                steps[static_cast<std::size_t>(i)] = axis == 0 ? region.origin[c] + step : step;
            }
            // Steps of +0 and -0 differ in the sum only where the origin is -0.
            const bool isNegativeZero = region.origin[c] == 0.0 && std::signbit(region.origin[c]);
            _varies[c][axis] = isNegativeZero || !areEqual(steps);
        }
    }
}

std::optional<Corners<double>> GridDomain::bounds() const
{
    std::optional<Corners<double>> box;
    const auto& cells = _region.cellCounts();
    for (int corner = 0; corner < 8; ++corner) {
        extend(box, _region.localToWorld(corner & 1 ? cells[0] : 0, corner & 2 ? cells[1] : 0,
                                         corner & 4 ? cells[2] : 0));
    }
    return box;
}

Tensor<4, double> GridDomain::position(std::int32_t i) const
{
    const auto& n = _region.dimensions();
    const Tensor<3, double> p = _region.localToWorld(i % n[0], (i / n[0]) % n[1], i / (n[0] * n[1]));
    return {p[0], p[1], p[2], 1.0};
}

void GridDomain::positions(std::int32_t first, std::int32_t count, double* x, double* y, double* z) const
{
    const auto& n = _region.dimensions();
    double* const rows[3] = {x, y, z};
    std::int32_t ix = first % n[0];
    std::int32_t iy = (first / n[0]) % n[1];
    std::int32_t iz = first / (n[0] * n[1]);
    for (std::int32_t done = 0; done < count;) {
        const std::int32_t length = std::min(count - done, n[0] - ix);
        for (int c = 0; c < 3; ++c) {
            if (!rows[c]) {
                continue;
            }
            const double* along = _steps[0][c].data() + ix;
            const double stepY = _steps[1][c][static_cast<std::size_t>(iy)];
            const double stepZ = _steps[2][c][static_cast<std::size_t>(iz)];
            if (_varies[c][0]) {
                addSteps(along, stepY, stepZ, length, rows[c] + done);
            } else {
                std::fill_n(rows[c] + done, length, *along + stepY + stepZ);
            }
        }
        done += length;
        ix = 0;
        if (++iy == n[1]) {
            iy = 0;
            ++iz;
        }
    }
}

std::array<bool, 3> GridDomain::repeatedPositions(std::int32_t earlier, std::int32_t first,
                                                  std::int32_t count) const
{
    // Sample indices fit into 32 bits, and so does a layer.
    const std::int32_t line = _region.dimensions()[0];
    const std::int32_t layer = line * _region.dimensions()[1];
    const std::int32_t distance = first - earlier;
    const std::int32_t low = std::min(earlier, first);
    const std::int32_t high = std::max(earlier, first) + count - 1;
    const bool moved[3] = {
        distance % line != 0,
        distance % layer != 0 && low / line != high / line,
        distance != 0 && low / layer != high / layer,
    };
    std::array<bool, 3> repeated;
    for (std::size_t c = 0; c < 3; ++c) {
        // Without branches, which change from block to block.
        repeated[c] = !((moved[0] & _varies[c][0]) | (moved[1] & _varies[c][1]) | (moved[2] & _varies[c][2]));
    }
    return repeated;
}

std::optional<Corners<double>> PointListDomain::bounds() const
{
    std::optional<Corners<double>> box;
    inPieces(std::size_t{0}, _points.size(), [&](std::size_t first, std::size_t end) {
        for (std::size_t i = first; i < end; ++i) {
            extend(box, _points[i]);
        }
    });
    return box;
}

} // namespace zrk
