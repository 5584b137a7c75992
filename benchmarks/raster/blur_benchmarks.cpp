#include "benchmarks/raster/blur_benchmarks.h"
#include "benchmarks/engine/chains.h"
#include "benchmarks/peak_memory.h"
#include "core/engine/rasterize.h"
#include "core/raster/convolver.h"
#include "core/raster/gaussian_blur.h"
#include "core/raster/gaussian_kernel.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <stdexcept>
#include <string>
#include <thread>

namespace zrk::bench {

namespace {

using Volume = Raster<1, 3, double>;

constexpr int kEdge = 128;

GridBox<double> grid(int n) { return gridOverBox(BBox<double>({-1.5, -1.5, -1.5}, {1.5, 1.5, 1.5}), n); }

Volume frozen(int n, std::size_t threads)
{
    Volume volume;
    rasterizeField(TwistedGyroid{}.field(kernel), grid(n).region, volume, nullptr, threads);
    return volume;
}

/// Blurs by transforms of the whole volume.
Volume blurredByVolume(double radius, std::size_t threads)
{
    RasterConvolver convolver;
    convolver.image = frozen(kEdge, threads);
    convolver.kernel = gaussianKernel(grid(kEdge), radius);
    convolver.boundaryMode = 2;
    convolver.threadCount = threads;
    Volume blurred;
    convolver.convolve(blurred);
    return blurred;
}

Volume blurredByLines(int n, double radius, std::size_t threads)
{
    Volume volume = frozen(n, threads);
    gaussianBlur(volume, grid(n), radius, threads);
    return volume;
}

void compareWays(double radius)
{
    const Volume whole = blurredByVolume(radius, 1);
    const Volume lines = blurredByLines(kEdge, radius, 1);
    for (std::size_t i = 0; i < whole.data.size(); ++i) {
        if (!(std::abs(whole.data[i] - lines.data[i]) <= 1e-12)) {
            throw std::runtime_error("blur by lines and by the volume differ at radius " +
                                     std::to_string(radius));
        }
    }
}

template <class Body>
void add(const std::string& name, Body body)
{
    benchmark::RegisterBenchmark(name.c_str(),
                                 [body](benchmark::State& state) {
                                     for (auto _ : state) {
                                         benchmark::DoNotOptimize(body().data.data());
                                     }
                                 })
        ->UseRealTime()
        ->Unit(benchmark::kMillisecond);
}

void memoryOfBlur(benchmark::State& state)
{
    double bytes = 0;
    for (auto _ : state) {
        bytes = peakMemoryOfCall("--peak-memory-of-blur=" + std::to_string(kEdge));
    }
    const double raster = std::pow(kEdge, 3) * sizeof(double);
    state.counters["times raster"] = bytes / raster - 1;
}

} // namespace

std::vector<Row> registerBlurs()
{
    for (double radius : {0.2, 2.0}) {
        compareWays(radius);
    }
    const std::size_t all = std::thread::hardware_concurrency();
    add("freeze/128/one_thread", [] { return frozen(kEdge, 1); });
    add("freeze_blur/128/volume/one_thread", [] { return blurredByVolume(0.2, 1); });
    add("freeze_blur/128/volume/all_threads", [all] { return blurredByVolume(0.2, all); });
    add("freeze_blur/128/lines/one_thread", [] { return blurredByLines(kEdge, 0.2, 1); });
    add("freeze_blur/128/lines/all_threads", [all] { return blurredByLines(kEdge, 0.2, all); });
    add("freeze_blur/128/lines_wide/one_thread", [] { return blurredByLines(kEdge, 2.0, 1); });
    add("freeze_blur/256/lines/one_thread", [] { return blurredByLines(256, 0.2, 1); });
    benchmark::RegisterBenchmark("freeze_blur/128/peak_memory", memoryOfBlur)
        ->Iterations(1)
        ->Repetitions(1)
        ->Unit(benchmark::kMillisecond);
    return {ratio("freeze and blur 128^3, one thread: times faster than by the volume's transform",
                  {"freeze_blur/128/volume/one_thread"}, {"freeze_blur/128/lines/one_thread"})
                .noLess(6),
            ratio("freeze and blur 128^3, all threads: times faster than by the volume's transform",
                  {"freeze_blur/128/volume/all_threads"}, {"freeze_blur/128/lines/all_threads"})
                .noLess(6),
            ratio("freeze and blur 128^3: times the freezing alone", {"freeze_blur/128/lines/one_thread"},
                  {"freeze/128/one_thread"}),
            counter("freeze and blur 128^3: peak memory beside the raster, in rasters, whole process",
                    "freeze_blur/128/peak_memory", "times raster")
                .atMost(3)};
}

void printPeakMemoryOfBlur(int n)
{
    benchmark::DoNotOptimize(blurredByLines(n, 0.2, std::thread::hardware_concurrency()).data.data());
    printPeakMemory();
}

} // namespace zrk::bench
