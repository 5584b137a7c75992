#include "core/transport/solver.h"

#include "core/engine/worker_team.h"
#include "core/values/stop.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <exception>
#include <limits>
#include <mutex>
#include <numeric>

namespace zrk::optimalTransport {

namespace {

constexpr double kSigma = 85.0;        ///< dual step
constexpr double kTau = 0.99 / kSigma; ///< primal step: the interpolation's norm is at most 1
constexpr int kIterationsPerReport = 20;
constexpr std::size_t kStrip = 1024;           ///< cells worked on at a time, whole batches
constexpr std::size_t kMinSharedCells = 32768; ///< below, waiting for each other takes longer than the work

double sumOf(const double* values, std::size_t count) { return std::accumulate(values, values + count, 0.0); }

/// Scales the values to the sum `total`.
void scaleTo(double total, double* values, std::size_t count)
{
    const double factor = total / sumOf(values, count);
    std::transform(values, values + count, values, [factor](double v) { return v * factor; });
}

bool haveSameExtents(const Image& a, const Image& b)
{
    return a.dims[0] == b.dims[0] && a.dims[1] == b.dims[1];
}

} // namespace

/// Cells of one plane.
struct DynamicTransportSolver::Strip {
    std::size_t plane;
    std::size_t first;
    std::size_t last; ///< one behind; whole batches
};

/// Faces of one axis in a plane, with the dual variables on both sides.
struct DynamicTransportSolver::Faces {
    const double* value;
    const double* open; ///< 1 where something may flow, 0 at walls
    const double* before;
    const double* behind;

    /// The flow after a step against the dual variable.
    Batch moved(std::ptrdiff_t n) const
    {
        const Batch gradient = 0.5 * (Batch::load(before + n) + Batch::load(behind + n));
        return Batch::load(value + n) - kTau * (Batch::load(open + n) * gradient);
    }
};

/// Workers that go through the parts of an iteration together.
class DynamicTransportSolver::Team {
public:
    explicit Team(std::size_t workers) : _barrier(workers) {}

    /// Does this worker's share and waits for the others.
    template <class Work>
    void together(Work work)
    {
        try {
            work();
        } catch (...) {
            const std::lock_guard lock(_mutex);
            _failure = std::current_exception();
            _stopped = true;
        }
        _barrier.wait();
    }
    void stop() { _stopped = true; }
    bool isStopped() const { return _stopped; }
    void rethrowFailure() const
    {
        if (_failure) {
            std::rethrow_exception(_failure);
        }
    }

private:
    Barrier _barrier;
    std::atomic<bool> _stopped{false};
    std::mutex _mutex;
    std::exception_ptr _failure; ///< guarded by _mutex
};

DynamicTransportSolver::DynamicTransportSolver(const Image& imageA, const Image& imageB, std::int32_t steps,
                                               const Image* obstacle)
    : _grid(imageA.dims[0], imageA.dims[1], steps),
      _solution(_grid),
      _extrapolated(_grid),
      _dual(_grid),
      _potential(_grid),
      _poisson(_grid),
      _openX(_grid, 1),
      _openY(_grid, 1),
      _planes(_grid, kPlaneCount),
      _proximalStep{kSigma, 1e9}
{
    takeImages(imageA, imageB, obstacle);
    start();
}

void DynamicTransportSolver::takeImages(const Image& imageA, const Image& imageB, const Image* obstacle)
{
    const std::size_t cells = _grid.planeCells();
    const auto take = [&](const Image& image, Plane to) {
        std::copy_n(image.data.data(), cells, _planes.plane(to));
        const double mass = sumOf(image.data.data(), cells);
        const double factor = mass == 0.0 ? 1.0 : 1.0 / mass;
        for (std::size_t n = 0; n < cells; ++n) {
            double& pixel = _planes.plane(to)[n];
            pixel *= factor;
            _proximalStep.minimumDensity = std::min(_proximalStep.minimumDensity, pixel);
        }
    };
    take(imageA, kFirstImage);
    take(imageB, kLastImage);
    for (std::size_t n = 0; n < cells; ++n) {
        const bool isClosed = obstacle && obstacle->data[n] > 0.0;
        _planes.plane(kFirstOffset)[n] = 0.5 * plane(kFirstImage)[n];
        _planes.plane(kLastOffset)[n] = 0.5 * plane(kLastImage)[n];
        _planes.plane(kCeiling)[n] =
            isClosed ? _proximalStep.minimumDensity : std::numeric_limits<double>::infinity();
        _openX.plane(0)[n] = (n + 1) % _grid.width != 0 ? 1.0 : 0.0;
        _openY.plane(0)[n] = n + _grid.width < cells ? 1.0 : 0.0;
        _planes.plane(kOnes)[n] = 1.0;
    }
}

/// The flow starts as a crossfade without momentum, the dual variable as its interpolation.
void DynamicTransportSolver::start()
{
    for (std::size_t k = 1; k < _grid.steps; ++k) {
        stopIfAsked();
        const double t = static_cast<double>(k) / static_cast<double>(_grid.steps);
        for (std::size_t n = 0; n < _grid.planeCells(); ++n) {
            const double rho = (1.0 - t) * plane(kFirstImage)[n] + t * plane(kLastImage)[n];
            _solution.density.plane(k - 1)[n] = rho;
            _extrapolated.density.plane(k - 1)[n] = rho;
        }
    }
    for (std::size_t k = 0; k < _grid.steps; ++k) {
        stopIfAsked();
        for (std::size_t n = 0; n < _grid.planeCells(); ++n) {
            const double before = k > 0 ? _solution.density.plane(k - 1)[n] : 0.0;
            _dual.density.plane(k)[n] = 0.5 * (before + _solution.density.plane(k)[n]);
        }
    }
}

std::size_t DynamicTransportSolver::stripsPerPlane() const { return (_grid.plane + kStrip - 1) / kStrip; }

template <class Work>
void DynamicTransportSolver::forEachStrip(std::size_t worker, std::size_t workers, Work work)
{
    const std::size_t perPlane = stripsPerPlane();
    const Share share = Share::of(perPlane * _grid.steps, worker, workers);
    for (std::size_t item = share.first; item < share.last; ++item) {
        stopIfAsked();
        const std::size_t first = item % perPlane * kStrip;
        work(Strip{item / perPlane, first, std::min(first + kStrip, _grid.plane)});
    }
}

DynamicTransportSolver::Faces DynamicTransportSolver::facesX(std::size_t k) const
{
    const double* dual = _dual.momentumX.plane(k);
    return {_solution.momentumX.plane(k), _openX.plane(0), dual, dual + 1};
}

DynamicTransportSolver::Faces DynamicTransportSolver::facesY(std::size_t k) const
{
    const double* dual = _dual.momentumY.plane(k);
    return {_solution.momentumY.plane(k), _openY.plane(0), dual, dual + _grid.width};
}

/// Before time step k; those of 0 and of the number of steps are the images.
DynamicTransportSolver::Faces DynamicTransportSolver::facesInTime(std::size_t k) const
{
    if (k == 0 || k == _grid.steps) {
        const double* nothing = plane(kZeros);
        return {plane(k == 0 ? kFirstImage : kLastImage), nothing, nothing, nothing};
    }
    return {_solution.density.plane(k - 1), plane(kOnes), _dual.density.plane(k - 1), _dual.density.plane(k)};
}

void DynamicTransportSolver::dualStep(const Strip& strip)
{
    const std::size_t k = strip.plane;
    const double* x = _extrapolated.momentumX.plane(k);
    const double* y = _extrapolated.momentumY.plane(k);
    const double* behind = _extrapolated.density.plane(k);
    const double* before = k > 0 ? _extrapolated.density.plane(k - 1) : plane(kZeros);
    const double* offset = plane(k + 1 == _grid.steps ? kLastOffset : k == 0 ? kFirstOffset : kZeros);
    double* dualX = _dual.momentumX.plane(k);
    double* dualY = _dual.momentumY.plane(k);
    double* dualDensity = _dual.density.plane(k);
    const ProximalStep step = _proximalStep;
    for (std::size_t n = strip.first; n < strip.last; n += Batch::size) {
        const auto mean = [n](const double* lower, const double* upper) {
            return 0.5 * (Batch::load(lower + n) + Batch::load(upper + n));
        };
        CellFlow<Batch> dual{Batch::load(dualX + n), Batch::load(dualY + n), Batch::load(dualDensity + n)};
        step(dual, {mean(x - 1, x), mean(y - _grid.width, y), mean(before, behind)}, Batch::load(offset + n),
             Batch::load(plane(kCeiling) + n));
        dual.x.store(dualX + n);
        dual.y.store(dualY + n);
        dual.density.store(dualDensity + n);
    }
}

void DynamicTransportSolver::negativeDivergence(const Strip& strip)
{
    const Faces x = facesX(strip.plane);
    const Faces y = facesY(strip.plane);
    const Faces before = facesInTime(strip.plane);
    const Faces behind = facesInTime(strip.plane + 1);
    const Batch countX = static_cast<double>(_grid.width);
    const Batch countY = static_cast<double>(_grid.height);
    const Batch countInTime = static_cast<double>(_grid.steps);
    double* out = _potential.plane(strip.plane);
    const auto row = static_cast<std::ptrdiff_t>(_grid.width);
    const auto last = static_cast<std::ptrdiff_t>(strip.last);
    for (auto n = static_cast<std::ptrdiff_t>(strip.first); n < last; n += Batch::size) {
        const Batch divergence = (x.moved(n - 1) - x.moved(n)) * countX +
                                 (y.moved(n - row) - y.moved(n)) * countY +
                                 (before.moved(n) - behind.moved(n)) * countInTime;
        divergence.store(out + n);
    }
    if (strip.last == _grid.plane) {
        std::fill(out + _grid.planeCells(), out + _grid.plane, 0.0);
    }
}

/// The flow moves against the dual variable and is projected by the potential; then it is extrapolated.
void DynamicTransportSolver::primalStep(const Strip& strip)
{
    const std::size_t k = strip.plane;
    const double* potential = _potential.plane(k);
    const auto step = [&](const Faces& faces, const double* behind, std::size_t count, double* value,
                          double* extrapolated) {
        const Batch cells = static_cast<double>(count);
        for (std::size_t n = strip.first; n < strip.last; n += Batch::size) {
            const Batch old = Batch::load(value + n);
            const Batch difference = (Batch::load(potential + n) - Batch::load(behind + n)) * cells;
            const Batch now =
                faces.moved(static_cast<std::ptrdiff_t>(n)) + Batch::load(faces.open + n) * difference;
            now.store(value + n);
            (now - old + now).store(extrapolated + n);
        }
    };
    step(facesX(k), potential + 1, _grid.width, _solution.momentumX.plane(k),
         _extrapolated.momentumX.plane(k));
    step(facesY(k), potential + _grid.width, _grid.height, _solution.momentumY.plane(k),
         _extrapolated.momentumY.plane(k));
    if (k + 1 < _grid.steps) {
        step(facesInTime(k + 1), _potential.plane(k + 1), _grid.steps, _solution.density.plane(k),
             _extrapolated.density.plane(k));
    }
}

bool DynamicTransportSolver::solve(std::size_t threads, const std::function<void(double)>& progress,
                                   const std::function<bool()>& shouldStop)
{
    const std::size_t useful = _grid.cells() >= kMinSharedCells ? stripsPerPlane() * _grid.steps : 1;
    std::optional<Team> team;
    std::once_flag isMade;
    runTeam(std::min(threads, useful), [&](std::size_t worker, std::size_t workers) {
        std::call_once(isMade, [&] { team.emplace(workers); });
        PoissonSolver::Scratch scratch = _poisson.makeScratch();
        const auto share = [&](std::size_t items) { return Share::of(items, worker, workers); };
        for (int n = 0; n < kIterations; ++n) {
            team->together([&] {
                if (worker == 0 && shouldStop && shouldStop()) {
                    team->stop();
                } else if (worker == 0 && progress && n % kIterationsPerReport == 0) {
                    progress(n * 100.0 / kIterations);
                }
            });
            if (team->isStopped()) {
                return;
            }
            team->together([&] { forEachStrip(worker, workers, [&](const Strip& s) { dualStep(s); }); });
            team->together(
                [&] { forEachStrip(worker, workers, [&](const Strip& s) { negativeDivergence(s); }); });
            team->together([&] { _poisson.transformRows(_potential, share(_poisson.rowItems()), scratch); });
            team->together(
                [&] { _poisson.solveColumns(_potential, share(_poisson.columnItems()), scratch); });
            team->together(
                [&] { _poisson.transformRowsBack(_potential, share(_poisson.rowItems()), scratch); });
            team->together([&] { forEachStrip(worker, workers, [&](const Strip& s) { primalStep(s); }); });
        }
    });
    team->rethrowFailure();
    return !team->isStopped();
}

void DynamicTransportSolver::projectDivergenceFree()
{
    PoissonSolver::Scratch scratch = _poisson.makeScratch();
    forEachStrip(0, 1, [&](const Strip& s) { negativeDivergence(s); });
    _poisson.transformRows(_potential, {0, _poisson.rowItems()}, scratch);
    _poisson.solveColumns(_potential, {0, _poisson.columnItems()}, scratch);
    _poisson.transformRowsBack(_potential, {0, _poisson.rowItems()}, scratch);
    forEachStrip(0, 1, [&](const Strip& s) { primalStep(s); });
}

Raster<1, 3, double> DynamicTransportSolver::density() const
{
    Raster<1, 3, double> stack(_grid.width, _grid.height, _grid.steps);
    double* out = stack.data.data();
    for (std::size_t k = 0; k < _grid.steps; ++k) {
        stopIfAsked();
        const double* before = facesInTime(k).value;
        const double* behind = facesInTime(k + 1).value;
        for (std::size_t n = 0; n < _grid.planeCells(); ++n) {
            *out++ = 0.5 * (before[n] + behind[n]);
        }
    }
    return stack;
}

Raster<1, 3, double> transportInterpolate(const Image& imageA, const Image& imageB, std::int32_t steps,
                                          std::optional<Image> obstacle, std::uint32_t threadCount,
                                          std::function<void(double)> progress,
                                          std::function<bool()> shouldStop)
{
    if (steps < 1 || imageA.data.empty() || !haveSameExtents(imageA, imageB) ||
        (obstacle && !haveSameExtents(imageA, *obstacle))) {
        return {};
    }
    DynamicTransportSolver solver(imageA, imageB, steps, obstacle ? &*obstacle : nullptr);
    if (!solver.solve(std::max(1u, threadCount), progress, shouldStop)) {
        return {};
    }
    Raster<1, 3, double> stack = solver.density();
    const std::size_t pixels = imageA.data.size();
    double* first = stack.data.data();
    double* last = first + pixels * (static_cast<std::size_t>(steps) - 1);
    const double firstSum = sumOf(first, pixels);
    const double lastSum = sumOf(last, pixels);
    std::copy(imageA.data.begin(), imageA.data.end(), first);
    std::copy(imageB.data.begin(), imageB.data.end(), last); // the same slice where there is one
    scaleTo(firstSum, first, pixels);
    scaleTo(lastSum, last, pixels);
    return stack;
}

} // namespace zrk::optimalTransport
