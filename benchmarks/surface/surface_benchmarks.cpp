#include "benchmarks/surface/surface_benchmarks.h"

#include "benchmarks/comparison.h"
#include "benchmarks/surface/peers.h"
#include "benchmarks/surface/shapes.h"
#include "core/engine/rasterize.h"
#include "core/surface/quality.h"

#include <benchmark/benchmark.h>

#include <functional>
#include <map>
#include <stdexcept>

namespace zrk::bench {

namespace {

using benchmark::kMillisecond;

benchmark::internal::Benchmark* add(const std::string& name, std::function<void(benchmark::State&)> body)
{
    return benchmark::RegisterBenchmark(name.c_str(), std::move(body))->Unit(kMillisecond);
}

std::string entry(const std::string& kind, const Shape& shape, int n)
{
    return kind + "/" + shape.name + "/" + std::to_string(n);
}

void addSurface(const Shape& shape, int n)
{
    add(entry("surface", shape, n), [shape, n](benchmark::State& state) {
        std::size_t triangles = 0;
        for (auto _ : state) {
            triangles = extractSurface(shape.prepared, settingsFor(n))->triangles.size();
        }
        using benchmark::Counter;
        state.counters["ns/triangle"] =
            Counter(static_cast<double>(triangles) * 1e-9,
                    Counter::Flags(Counter::kIsIterationInvariantRate | Counter::kInvert));
        state.counters["triangles"] = static_cast<double>(triangles);
    });
}

void addSampling(const Shape& shape, int n)
{
    add(entry("sampling", shape, n), [shape, n](benchmark::State& state) {
        for (auto _ : state) {
            Image image;
            rasterizeField(shape.field, cube(n), image, nullptr, 1);
            benchmark::DoNotOptimize(image.data.data());
        }
    });
}

bool addPeer(const Shape& shape, int n)
{
    const SurfacePeer peer = openVdbPeer(shape, n);
    if (!peer.run) {
        return false;
    }
    add(entry("openvdb", shape, n), [peer](benchmark::State& state) {
        for (auto _ : state) {
            benchmark::DoNotOptimize(peer.run());
        }
    });
    return true;
}

void expectClean(const Shape& shape, int n)
{
    SurfaceSettings settings = settingsFor(n);
    for (const double flatness : {0.0, 0.02 * 3 / n}) {
        settings.flatness = flatness;
        if (!reportOn(*extractSurface(shape.prepared, settings)).isClean()) {
            throw std::runtime_error("the surface of " + shape.name + " has defects");
        }
    }
}

} // namespace

std::vector<Row> registerSurfaces()
{
    // Goals: time over OpenVDB's mesh of a grid at hand, and over sampling the whole grid.
    const std::map<std::string, double> overPeer{
        {"sphere", 0.2}, {"box", 0.2}, {"wire", 0.2}, {"gyr", 0.6}, {"beams", 0.7}};
    std::vector<Row> rows;
    for (const Shape& shape : shapes()) {
        expectClean(shape, 64);
        const bool isDear = shape.name == "mesh";
        for (const int n : {128, 256, 512}) {
            if (isDear && n > 128) {
                continue;
            }
            addSurface(shape, n);
            addSampling(shape, n);
            const std::string what = shape.name + " of " + std::to_string(n) + "^3: time over ";
            const Row overSampling = ratio(what + "sampling the whole grid", {entry("surface", shape, n)},
                                           {entry("sampling", shape, n)});
            rows.push_back(isDear     ? overSampling.atMost(0.5)
                           : n == 512 ? overSampling.atMost(1)
                                      : overSampling);
            const auto goal = overPeer.find(shape.name);
            if (n == 256 && goal != overPeer.end() && addPeer(shape, n)) {
                rows.push_back(ratio(what + "OpenVDB's volumeToMesh alone", {entry("surface", shape, n)},
                                     {entry("openvdb", shape, n)})
                                   .atMost(goal->second));
            }
        }
        if (!isDear) {
            rows.push_back(
                counter(shape.name + " of 256^3: ns a triangle", entry("surface", shape, 256), "ns/triangle")
                    .atMost(200));
        }
    }
    return rows;
}

} // namespace zrk::bench
