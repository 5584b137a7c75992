#include "benchmarks/report.h"
#include "core/transport/cosine_transform.h"
#include "core/transport/solver.h"
#include "testing/literal_transport.h"

#include <cmath>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>

namespace zrk::bench {

namespace {

using namespace optimalTransport;

struct Size {
    int edge;
    int steps;

    std::string name() const
    {
        return std::to_string(edge) + "x" + std::to_string(edge) + "x" + std::to_string(steps);
    }
};

/// A soft blob on a ground bright enough for a stable iteration.
Image blob(int n, double cx, double cy)
{
    Image image(n, n);
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < n; ++i) {
            const double x = (i + 0.5) / n - cx;
            const double y = (j + 0.5) / n - cy;
            image.data[static_cast<std::size_t>(j * n + i)] = 0.05 + std::exp(-30 * (x * x + y * y));
        }
    }
    return image;
}

/// Checks that the solver gives the same numbers as the iteration written down step by step.
void compareWithLiteral()
{
    const Image a = blob(16, 0.3, 0.4);
    const Image b = blob(16, 0.7, 0.6);
    DynamicTransportSolver solver(a, b, 5, nullptr);
    solver.solve(1, nullptr, nullptr);
    const Raster<1, 3, double> expected = literal::solve(a, b, 5, nullptr);
    const Raster<1, 3, double> density = solver.density();
    for (std::size_t i = 0; i < density.data.size(); ++i) {
        if (!(std::abs(density.data[i] - expected.data[i]) <= 1e-12)) {
            throw std::runtime_error("the solver differs from the iteration step by step");
        }
    }
}

/// The number of iterations that are timed together, so that starting threads doesn't count.
constexpr int kAtOnce = 100;

/// Times one iteration.
void iterate(benchmark::State& state, Size size, std::size_t threads)
{
    DynamicTransportSolver solver(blob(size.edge, 0.3, 0.4), blob(size.edge, 0.7, 0.6), size.steps, nullptr);
    for (auto _ : state) {
        int done = 0;
        solver.solve(threads, nullptr, [&done] { return done++ >= kAtOnce; });
    }
}

/// Times the two transforms along all axes of these iterations, by pocketfft.
void transformOnly(benchmark::State& state, Size size)
{
    DCT<double> dct;
    dct.resize(size.edge, size.edge, size.steps);
    for (auto _ : state) {
        for (int i = 0; i < kAtOnce; ++i) {
            dct.forward();
            dct.inverse();
        }
    }
}

/// Times the Poisson solves of these iterations.
void poissonOnly(benchmark::State& state, Size size)
{
    const SpaceTimeGrid grid(size.edge, size.edge, size.steps);
    SpaceTimeArray values(grid);
    const PoissonSolver poisson(grid);
    PoissonSolver::Scratch scratch = poisson.makeScratch();
    values.plane(0)[0] = 1;
    for (auto _ : state) {
        for (int i = 0; i < kAtOnce; ++i) {
            poisson.transformRows(values, {0, poisson.rowItems()}, scratch);
            poisson.solveColumns(values, {0, poisson.columnItems()}, scratch);
            poisson.transformRowsBack(values, {0, poisson.rowItems()}, scratch);
            values.plane(0)[0] = 1; // otherwise the values fade to denormal numbers, which are slow
        }
    }
}

template <class Body>
void add(const std::string& name, Body body)
{
    // Wall-clock time, as not all work is on the thread that is measured.
    benchmark::RegisterBenchmark(name.c_str(), body)->UseRealTime()->Unit(benchmark::kMillisecond);
}

std::vector<Row> registerSize(Size size, double mostOverTransforms)
{
    const std::string name = size.name();
    add(name + "/transforms", [size](benchmark::State& state) { transformOnly(state, size); });
    add(name + "/poisson", [size](benchmark::State& state) { poissonOnly(state, size); });
    add(name + "/iterations", [size](benchmark::State& state) { iterate(state, size, 1); });
    return {ratio("iteration of " + name + ", one thread: over its two cosine transforms",
                  {name + "/iterations"}, {name + "/transforms"})
                .atMost(mostOverTransforms),
            ratio("   of which the Poisson solve", {name + "/poisson"}, {name + "/transforms"})};
}

std::vector<Row> registerAll()
{
    compareWithLiteral();
    const Size large{128, 16};
    std::vector<Row> rows = registerSize({32, 8}, 2);
    for (const Row& row : registerSize({50, 10}, 2.5)) {
        rows.push_back(row);
    }
    for (const Row& row : registerSize(large, 2.5)) {
        rows.push_back(row);
    }
    add(large.name() + "/iterations/two_threads", [=](benchmark::State& state) { iterate(state, large, 2); });
    rows.push_back(ratio("iteration of " + large.name() + ", two threads: times faster than one",
                         {large.name() + "/iterations"}, {large.name() + "/iterations/two_threads"})
                       .noLess(1.6));
    return rows;
}

} // namespace

} // namespace zrk::bench

int main(int argc, char** argv)
{
    try {
        return zrk::bench::run(argc, argv, zrk::bench::registerAll());
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "bench_transport: %s\n", failure.what());
        return 1;
    }
}
