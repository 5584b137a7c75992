#include "benchmarks/peak_memory.h"
#include "benchmarks/surface/shapes.h"
#include "benchmarks/surface/surface_benchmarks.h"
#include "core/surface/quality.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <functional>
#include <string>

namespace zrk::bench {

namespace {

benchmark::internal::Benchmark* add(const std::string& name, std::function<void(benchmark::State&)> body)
{
    return benchmark::RegisterBenchmark(name.c_str(), std::move(body))->Unit(benchmark::kMillisecond);
}

void addErrors(const Shape& shape, int n)
{
    add("errors/" + shape.name + "/" + std::to_string(n),
        [shape, n](benchmark::State& state) {
            for (auto _ : state) {
                const SurfaceSettings settings = shape.settings(n);
                const auto mesh = extractSurface(shape.prepared, settings);
                const DistanceError error = *distanceError(*mesh, shape.prepared, settings);
                const double cell = shape.cell(n);
                state.counters["vertex_rms"] = error.vertexRms / cell;
                state.counters["vertex_largest"] = error.vertexLargest / cell;
                state.counters["centroid_rms"] = error.centroidRms / cell;
            }
        })
        ->Iterations(1)
        ->Repetitions(1);
}

/// Thinned within 0.02 of a cell: how many times fewer triangles, and the time for each that was there.
void addThinning(const Shape& shape, int n)
{
    add("thinned/" + shape.name + "/" + std::to_string(n),
        [shape, n](benchmark::State& state) {
            SurfaceSettings settings = shape.settings(n);
            for (auto _ : state) {
                settings.flatness = 0;
                const BusyTime time;
                const auto whole = extractSurface(shape.prepared, settings);
                const double between = time.ofAll();
                settings.flatness = 0.02 * shape.cell(n);
                const auto thin = extractSurface(shape.prepared, settings);
                const double end = time.ofAll();
                const auto triangles = static_cast<double>(whole->triangles.size());
                state.counters["times_fewer"] = triangles / static_cast<double>(thin->triangles.size());
                state.counters["ns/triangle"] = (end - 2 * between) / triangles * 1e9;
                state.counters["smallest_angle"] = reportOn(*thin).smallestAngleDegrees;
            }
        })
        ->Iterations(1)
        ->Repetitions(3);
}

void addThreads(const Shape& shape, int n, std::size_t threads)
{
    add("threads/" + shape.name + "/" + std::to_string(threads),
        [shape, n, threads](benchmark::State& state) {
            SurfaceSettings settings = shape.settings(n);
            settings.threads = threads;
            timeBusier(state, [&] { benchmark::DoNotOptimize(extractSurface(shape.prepared, settings)); });
        })
        ->UseManualTime()
        ->Iterations(1)
        ->Repetitions(5);
}

double bytesOf(const SurfaceMesh& mesh)
{
    return static_cast<double>(mesh.vertices.size() * sizeof(mesh.vertices[0]) +
                               mesh.triangles.size() * sizeof(mesh.triangles[0]));
}

/// The memory beside the mesh as a share of what is allowed, 64 MB and once the mesh.
void addMemory(const Shape& shape, int n)
{
    add("memory/" + shape.name + "/" + std::to_string(n),
        [shape, n](benchmark::State& state) {
            for (auto _ : state) {
                const double peak =
                    peakMemoryOfCall("--peak-memory-of-surface=" + shape.name + "," + std::to_string(n));
                const double mesh = bytesOf(*extractSurface(shape.prepared, shape.settings(n)));
                state.counters["share"] = (peak - mesh) / (64e6 + mesh);
                state.counters["mesh_MB"] = mesh * 1e-6;
                state.counters["peak_MB"] = peak * 1e-6;
            }
        })
        ->Iterations(1)
        ->Repetitions(1);
}

} // namespace

std::vector<Row> registerQuality()
{
    std::vector<Row> rows;
    for (const Shape& shape : shapes()) {
        const std::string of256 = shape.name + " of 256^3: ";
        if (shape.name == "sphere" || shape.name == "rbox" || shape.name == "box") {
            addErrors(shape, 256);
            const std::string entry = "errors/" + shape.name + "/256";
            rows.push_back(counter(of256 + "vertices off, cells rms", entry, "vertex_rms")
                               .atMost(shape.name == "sphere" ? 0.003
                                       : shape.name == "box"  ? 1e-9
                                                              : 0.001));
            if (shape.name == "sphere") {
                rows.push_back(
                    counter(of256 + "centroids off, cells rms", entry, "centroid_rms").atMost(0.001));
            } else {
                rows.push_back(counter(of256 + "vertices off, cells at most", entry, "vertex_largest")
                                   .atMost(shape.name == "box" ? 1e-9 : 0.05));
            }
        }
        if (!shape.isDear()) {
            addThinning(shape, 256);
            const std::string entry = "thinned/" + shape.name + "/256";
            const Row fewer = counter(of256 + "times fewer triangles, thinned", entry, "times_fewer");
            rows.push_back(shape.name == "box" ? fewer.noLess(14) : fewer);
            rows.push_back(
                counter(of256 + "thinning, ns a triangle that was there", entry, "ns/triangle").atMost(500));
            rows.push_back(
                counter(of256 + "smallest angle, degrees, thinned", entry, "smallest_angle").noLess(0.1));
        }
        if (shape.name == "gyr") {
            addThreads(shape, 256, 1);
            addThreads(shape, 256, 2);
            rows.push_back(
                ratio(of256 + "two threads, times faster than one", {"threads/gyr/1"}, {"threads/gyr/2"})
                    .noLess(1.8));
            addMemory(shape, 512);
            rows.push_back(counter("gyr of 512^3: memory beside the mesh over 64 MB and the mesh",
                                   "memory/gyr/512", "share")
                               .atMost(1));
        }
    }
    return rows;
}

void printPeakMemoryOfSurface(const std::string& shapeAndCells)
{
    const std::size_t comma = shapeAndCells.find(',');
    const Shape shape = shapeNamed(shapeAndCells.substr(0, comma));
    const auto mesh =
        extractSurface(shape.prepared, shape.settings(std::stoi(shapeAndCells.substr(comma + 1))));
    printPeakMemory();
}

} // namespace zrk::bench
