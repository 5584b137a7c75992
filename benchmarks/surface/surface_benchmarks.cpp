#include "benchmarks/surface/surface_benchmarks.h"

#include "benchmarks/comparison.h"
#include "benchmarks/surface/peers.h"
#include "benchmarks/surface/shapes.h"
#include "core/engine/rasterize.h"
#include "core/surface/quality.h"

#include <benchmark/benchmark.h>

#include <functional>
#include <map>

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

/// What takes long is run a few times only.
void limit(benchmark::internal::Benchmark* benchmark, const Shape& shape, int n)
{
    const bool isLarge = shape.name == "gyr" || shape.name == "beams" || shape.isDear();
    if (n > 256 || (n == 256 && isLarge)) {
        benchmark->Iterations(1)->Repetitions(3);
    }
}

void addSurface(const Shape& shape, int n)
{
    limit(add(entry("surface", shape, n),
              [shape, n](benchmark::State& state) {
                  SurfaceMesh mesh;
                  for (auto _ : state) {
                      mesh = *extractSurface(shape.prepared, shape.settings(n));
                  }
                  using benchmark::Counter;
                  state.counters["ns/triangle"] =
                      Counter(static_cast<double>(mesh.triangles.size()) * 1e-9,
                              Counter::Flags(Counter::kIsIterationInvariantRate | Counter::kInvert));
                  state.counters["triangles"] = static_cast<double>(mesh.triangles.size());
                  state.counters["leaves left, %"] =
                      100 * static_cast<double>(mesh.sampledLeaves) / static_cast<double>(mesh.leaves);
              }),
          shape, n);
}

void addSampling(const Shape& shape, int n)
{
    limit(add(entry("sampling", shape, n),
              [shape, n](benchmark::State& state) {
                  for (auto _ : state) {
                      Image image;
                      rasterizeField(shape.field, shape.grid(n), image, nullptr, 1);
                      benchmark::DoNotOptimize(image.data.data());
                  }
              }),
          shape, n);
}

void addPeer(const Shape& shape, int n, PeerGrid form)
{
    const char* kind = form == PeerGrid::Dense ? "openvdb dense" : "openvdb band";
    add(entry(kind, shape, n),
        [shape, n, form](benchmark::State& state) {
            const SurfacePeer peer = openVdbPeer(shape, n, form);
            for (auto _ : state) {
                benchmark::DoNotOptimize(peer.run());
            }
        })
        ->Iterations(n > 256 ? 1 : 3)
        ->Repetitions(3);
}

/// Fails unless the surface is closed, manifold and without self-intersections, thinned or not.
void addReport(const Shape& shape, int n)
{
    add(entry("clean", shape, n),
        [shape, n](benchmark::State& state) {
            SurfaceSettings settings = shape.settings(n);
            for (auto _ : state) {
                for (const double flatness : {0.0, 0.02 * shape.cell(n)}) {
                    settings.flatness = flatness;
                    if (!reportOn(*extractSurface(shape.prepared, settings)).isClean()) {
                        state.SkipWithError("the surface has defects");
                    }
                }
            }
        })
        ->Iterations(1)
        ->Repetitions(1);
}

} // namespace

std::vector<Row> registerSurfaces()
{
    // Goals: time over OpenVDB's mesh of a dense grid at hand.
    const std::map<std::string, double> overPeer[] = {
        {{"sphere", 0.2}, {"box", 0.2}, {"wire", 0.2}, {"gyr", 0.6}, {"beams", 0.7}},
        {{"sphere", 0.15}, {"box", 0.15}, {"wire", 0.15}, {"gyr", 0.5}, {"beams", 0.6}},
    };
    std::vector<Row> rows;
    for (const Shape& shape : shapes()) {
        addReport(shape, 64);
        for (const int n : {128, 256, 512}) {
            if (shape.isDear() && n > 256) {
                continue;
            }
            addSurface(shape, n);
            addSampling(shape, n);
            const std::string ours = entry("surface", shape, n);
            const std::string what = shape.name + " of " + std::to_string(n) + "^3: ";
            const Row overSampling =
                ratio(what + "time over sampling the whole grid", {ours}, {entry("sampling", shape, n)});
            rows.push_back(shape.isDear() && n == 256 ? overSampling.atMost(0.5)
                           : n == 512                 ? overSampling.atMost(1)
                                                      : overSampling);
            if (n > 128 && hasOpenVdbPeer() && overPeer[0].contains(shape.name)) {
                addPeer(shape, n, PeerGrid::Dense);
                rows.push_back(ratio("   over OpenVDB's volumeToMesh alone, all nodes at hand", {ours},
                                     {entry("openvdb dense", shape, n)})
                                   .atMost(overPeer[n == 256 ? 0 : 1].at(shape.name)));
            }
            if (n == 256 && hasOpenVdbPeer() && overPeer[0].contains(shape.name)) {
                addPeer(shape, n, PeerGrid::NarrowBand);
                rows.push_back(ratio("   over the same, a narrow band at hand", {ours},
                                     {entry("openvdb band", shape, n)}));
            }
            if (n == 256 && !shape.isDear()) {
                rows.push_back(counter("   ns a triangle", ours, "ns/triangle").atMost(200));
            }
            if (n == 256 && shape.name == "gyr") {
                rows.push_back(counter("   leaves that bounds leave, %", ours, "leaves left, %").atMost(60));
            }
        }
    }
    return rows;
}

} // namespace zrk::bench
