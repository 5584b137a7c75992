#include "benchmarks/raster/lookup_benchmarks.h"

#include "components/raster/image_stack.h"
#include "core/engine/evaluation_domain.h"
#include "core/engine/field_sampler.h"
#include "core/engine/rasterize.h"
#include "model/graph.h"
#include "model/image_library.h"
#include "model/pins.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <random>
#include <stdexcept>

namespace zrk::bench {

namespace {

using Grid = Region<3, 3, double, 1>;
using Volume = Raster<1, 3, double>;
using Position = Tensor<3, double>;
using zrkmodel::ZRK3DImage;

constexpr int kGridEdge = 160;
constexpr double kGridSamples = static_cast<double>(kGridEdge) * kGridEdge * kGridEdge;
constexpr std::size_t kScattered = 1'000'000;

/// An image library that has one volume of random numbers.
class OneVolume final : public zrkmodel::ZRKImage3dLibraryView {
public:
    std::shared_ptr<zrkmodel::ZRKImage3d> volume;

    explicit OneVolume(int edge)
    {
        Volume voxels(edge, edge, edge);
        std::mt19937_64 random(1);
        for (double& value : voxels.data) {
            value = static_cast<double>(random() >> 11) * 0x1p-53;
        }
        std::vector<zrkmodel::ZRKImage3d::Channel> channels;
        channels.emplace_back(std::move(voxels));
        volume = std::make_shared<zrkmodel::ZRKImage3d>(std::move(channels));
    }
    const Volume& voxels() const { return std::get<Volume>(volume->channel(0)); }

    std::shared_ptr<zrkmodel::ZRKResourceEntry> ensureImageFromfolder(const std::string&) override
    {
        const auto entry = std::make_shared<zrkmodel::ZRKResourceEntry>(zrkmodel::ZRKuuid("volume"));
        entry->resolve(volume);
        return entry;
    }
};

OneVolume& volumeOf256()
{
    static OneVolume volume(256);
    return volume;
}

/// A stack component that stands alone in a graph.
struct Stack {
    std::shared_ptr<ZRK3DImage> component = std::make_shared<ZRK3DImage>();
    std::shared_ptr<zrkmodel::ZRKGraph> graph = zrkmodel::ZRKGraph::create();
    zrkmodel::ZRKGraph::Node node = graph->addNode(component);

    Stack(OneVolume& volume, bool wrap)
    {
        component->wrap.set(wrap);
        component->loadFolder(volume, "");
    }
    IField field() const { return component->realizeField(node, 0); }
};

/// Beyond the volume on all sides.
Grid grid() { return Grid({-0.1, -0.1, -0.1}, {1.1, 1.1, 1.1}, kGridEdge, kGridEdge, kGridEdge); }

/// Returns the trilinear value as a plain sum, clamped at the faces.
double literalLookup(const Volume& volume, const Position& u)
{
    std::int32_t first[3];
    double share[3];
    for (std::size_t d = 0; d < 3; ++d) {
        const double x = (volume.dims[d] - 1) * u[d];
        first[d] = static_cast<std::int32_t>(std::floor(x));
        share[d] = x - std::floor(x);
    }
    double sum = 0;
    for (int corner = 0; corner < 8; ++corner) {
        double weight = 1;
        std::size_t place = 0;
        for (int d = 0; d < 3; ++d) {
            const int step = corner >> d & 1;
            const std::int32_t index = std::clamp(first[d] + step, 0, volume.dims[d] - 1);
            weight *= step == 1 ? share[d] : 1 - share[d];
            place += static_cast<std::size_t>(index) * static_cast<std::size_t>(volume.strides[d]);
        }
        sum += volume.data[place] * weight;
    }
    return sum;
}

void literalGrid(const Volume& volume, Volume& out)
{
    const GridDomain domain(grid());
    std::vector<double> x(kGridEdge), y(kGridEdge), z(kGridEdge);
    for (int row = 0; row < kGridEdge * kGridEdge; ++row) {
        domain.positions(row * kGridEdge, kGridEdge, x.data(), y.data(), z.data());
        for (std::size_t i = 0; i < kGridEdge; ++i) {
            out.data[static_cast<std::size_t>(row) * kGridEdge + i] =
                literalLookup(volume, {x[i], y[i], z[i]});
        }
    }
}

void compareFirst()
{
    Volume plain(kGridEdge, kGridEdge, kGridEdge);
    Volume swept(kGridEdge, kGridEdge, kGridEdge);
    literalGrid(volumeOf256().voxels(), plain);
    rasterizeField(Stack(volumeOf256(), false).field(), grid(), swept, nullptr, 1);
    if (plain.data != swept.data) {
        throw std::runtime_error("lookups along a grid differ from the plain sum");
    }
}

void literal(benchmark::State& state)
{
    Volume out(kGridEdge, kGridEdge, kGridEdge);
    for (auto _ : state) {
        literalGrid(volumeOf256().voxels(), out);
        benchmark::ClobberMemory();
    }
    countSamples(state, kGridSamples);
}

template <bool Wrap>
void alongGrid(benchmark::State& state)
{
    const Stack stack(volumeOf256(), Wrap);
    const IField field = stack.field();
    Volume out(kGridEdge, kGridEdge, kGridEdge);
    for (auto _ : state) {
        rasterizeField(field, grid(), out, nullptr, 1);
        benchmark::ClobberMemory();
    }
    countSamples(state, kGridSamples);
}

std::vector<Position> scattered()
{
    std::mt19937_64 random(2);
    std::uniform_real_distribution<double> coordinate(0, 1);
    std::vector<Position> positions(kScattered);
    for (Position& p : positions) {
        p = {coordinate(random), coordinate(random), coordinate(random)};
    }
    return positions;
}

void atScattered(benchmark::State& state)
{
    const Stack stack(volumeOf256(), false);
    FieldSampler sampler(stack.field().generator(), std::make_shared<PointListDomain>(scattered()));
    sampler.threadCount = 1;
    for (auto _ : state) {
        sampler.run();
        benchmark::ClobberMemory();
    }
    countSamples(state, kScattered);
}

void literalScattered(benchmark::State& state)
{
    const std::vector<Position> positions = scattered();
    std::vector<double> out(kScattered);
    for (auto _ : state) {
        for (std::size_t i = 0; i < kScattered; ++i) {
            out[i] = literalLookup(volumeOf256().voxels(), positions[i]);
        }
        benchmark::ClobberMemory();
    }
    countSamples(state, kScattered);
}

/// Reads a shared volume of 512^3, which is a gigabyte.
void buildEvaluator(benchmark::State& state)
{
    OneVolume volume(512);
    const Stack stack(volume, false);
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            stack.component->getEvaluatorForPin(zrkmodel::outputPin(stack.node, 0), stack.graph->context()));
    }
    state.counters["us"] =
        benchmark::Counter(1e-6, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

benchmark::internal::Benchmark* add(const char* name, void (*body)(benchmark::State&))
{
    return benchmark::RegisterBenchmark(name, body)->Unit(benchmark::kMillisecond);
}

} // namespace

std::vector<Row> registerLookups()
{
    compareFirst();
    add("lookup/grid/plain", literal);
    add("lookup/grid/clamp", alongGrid<false>);
    add("lookup/grid/wrap", alongGrid<true>);
    add("lookup/scattered/plain", literalScattered);
    add("lookup/scattered/clamp", atScattered);
    add("lookup/build/512", buildEvaluator)->Unit(benchmark::kMicrosecond)->Repetitions(1);
    return {
        counter("trilinear lookup of 256^3 along a grid, clamped: ns a sample", "lookup/grid/clamp",
                "ns/sample")
            .atMost(8),
        counter("the same, wrapped: ns a sample", "lookup/grid/wrap", "ns/sample").atMost(8),
        ratio("the same, clamped: times faster than one by one", {"lookup/grid/plain"},
              {"lookup/grid/clamp"}),
        counter("at scattered positions, clamped: ns a sample", "lookup/scattered/clamp", "ns/sample"),
        ratio("the same: times faster than one by one", {"lookup/scattered/plain"},
              {"lookup/scattered/clamp"}),
        counter("building an evaluator over 512^3: microseconds", "lookup/build/512", "us").atMost(100),
    };
}

} // namespace zrk::bench
