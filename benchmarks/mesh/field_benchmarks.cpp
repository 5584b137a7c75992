#include "benchmarks/mesh/mesh_benchmarks.h"
#include "benchmarks/mesh/peers.h"
#include "components/mesh/mesh_kernel.h"
#include "core/engine/rasterize.h"
#include "core/mesh/mesh_field.h"
#include "testing/literal_engine.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <functional>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

namespace zrk::bench {

namespace {

using zrktest::GeneratedMesh;
using zrktest::Point;

constexpr int kGrid = 128;
constexpr std::size_t kRows = 256;       ///< rows of the grid that are measured
constexpr std::size_t kLiteralRows = 32; ///< rows where the exact search is one side
constexpr double kLower = -0.5;          ///< lower corner of the grid over a mesh in the box from 0 to 5
constexpr double kUpper = 5.5;

/// Returns a number of rows of the grid, spread evenly.
std::vector<Point> gridPoints(std::size_t rows)
{
    std::vector<Point> points;
    for (std::size_t r = 0; r < rows; ++r) {
        const std::size_t row = r * kGrid * kGrid / rows + r % 7;
        for (int x = 0; x < kGrid; ++x) {
            const auto at = [](auto node) {
                return kLower + (kUpper - kLower) * static_cast<double>(node) / (kGrid - 1);
            };
            points.push_back({at(x), at(row % kGrid), at(row / kGrid)});
        }
    }
    return points;
}

std::vector<Point> randomPoints(std::size_t count)
{
    std::mt19937 random(7);
    std::uniform_real_distribution<double> coordinate(kLower, kUpper);
    std::vector<Point> points(count);
    for (Point& p : points) {
        p = {coordinate(random), coordinate(random), coordinate(random)};
    }
    return points;
}

/// Points a hundred-thousandth of the mesh's size off its triangles, as those are that a surface is moved
/// onto.
std::vector<Point> pointsBeside(const GeneratedMesh& mesh, std::size_t count)
{
    std::mt19937 random(8);
    std::uniform_real_distribution<double> unit(0, 1);
    std::vector<Point> points;
    while (points.size() < count) {
        const std::size_t t = random() % mesh.triangleCount();
        const Point a = mesh.corner(t, 0);
        const Point ab = mesh.corner(t, 1) - a;
        const Point ac = mesh.corner(t, 2) - a;
        const double u = unit(random);
        const double height = (random() % 2 == 0 ? 1 : -1) * 1e-5 * (kUpper - kLower);
        points.push_back(a + u * ab + ((1 - u) * unit(random)) * ac + height * normalized(cross(ab, ac)));
    }
    return points;
}

/// Returns the signed distance by the exact searches of the hierarchy, one position at a time.
double literalSignedDistance(const MeshWindingField& field, const double* p)
{
    const BVH<double, 3, 3>& tree = field.bvh();
    double distance;
    tree.closestPrimitive(
        [&tree](std::int32_t t, const double* point, double* closest) {
            return closestPointOnTriangle(point, tree.vertexOf(t, 0), tree.vertexOf(t, 1),
                                          tree.vertexOf(t, 2), closest);
        },
        p, distance);
    return field.windingNumber(pointAt(p)) > 0.5 ? -distance : distance;
}

/// One mesh with its points, for all its entries.
struct Case {
    GeneratedMesh mesh;
    std::shared_ptr<const MeshWindingField> field;
    std::unique_ptr<DistancePeer> embree;
    std::unique_ptr<DistancePeer> cgal;
    std::vector<Point> grid = gridPoints(kRows);
    std::vector<Point> random = randomPoints(kGrid * kRows);
    std::vector<Point> shortGrid = gridPoints(kLiteralRows);
    std::vector<Point> shortRandom = randomPoints(kGrid * kLiteralRows);
    std::vector<Point> beside;

    explicit Case(GeneratedMesh generated)
        : mesh(std::move(generated)),
          field(std::make_shared<const MeshWindingField>(mesh.vertices, mesh.indices)),
          embree(embreePeer(mesh)),
          cgal(cgalPeer(mesh)),
          beside(pointsBeside(mesh, kGrid * kLiteralRows))
    {}

    void distances(const std::vector<Point>& points, bool inARow, double* out) const
    {
        MeshWindingField::Trail trail;
        for (const Point& p : points) {
            *out++ = inARow ? field->meshDistance(p, trail) : field->meshDistance(p);
        }
    }
    void signedDistances(const std::vector<Point>& points, bool inARow, double* out) const
    {
        MeshWindingField::Trail trail;
        for (const Point& p : points) {
            *out++ = inARow ? field->signedDistance(p, trail) : field->signedDistance(p);
        }
    }
};

void compare(const std::string& name, const Case& c)
{
    std::vector<double> ours(c.shortRandom.size());
    std::vector<double> theirs(ours.size());
    for (const auto* points : {&c.shortRandom, &c.shortGrid}) {
        c.signedDistances(*points, points == &c.shortGrid, ours.data());
        for (std::size_t i = 0; i < points->size(); i += 8) {
            if (ours[i] != literalSignedDistance(*c.field, (*points)[i].begin())) {
                throw std::runtime_error(name + ": the field differs from the exact search");
            }
        }
        for (const auto* peer : {&c.embree, &c.cgal}) {
            if (*peer) {
                (*peer)->distances(*points, points == &c.shortGrid, theirs.data());
                for (std::size_t i = 0; i < ours.size(); ++i) {
                    if (std::abs(std::abs(ours[i]) - theirs[i]) > 1e-5) {
                        throw std::runtime_error(name + ": the field differs from another library's");
                    }
                }
            }
        }
    }
}

using Shared = std::shared_ptr<Case>;

/// Registers an entry that computes the values of some points of a case.
template <class Run>
std::string add(const std::string& name, const Shared& c, const std::vector<Point> Case::*points, Run run)
{
    benchmark::RegisterBenchmark(name.c_str(),
                                 [c, points, run](benchmark::State& state) {
                                     std::vector<double> values(((*c).*points).size());
                                     for (auto _ : state) {
                                         run(*c, (*c).*points, values.data());
                                         benchmark::DoNotOptimize(values.data());
                                         benchmark::ClobberMemory();
                                     }
                                     countSamples(state, static_cast<double>(values.size()));
                                 })
        ->Unit(benchmark::kMillisecond)
        ->Repetitions(5);
    return name;
}

void addDistances(const std::string& name, const Shared& c, std::vector<Row>& rows)
{
    for (const bool inARow : {true, false}) {
        const std::string place = name + (inARow ? "/distance/grid" : "/distance/random");
        const std::vector<Point> Case::*points = inARow ? &Case::grid : &Case::random;
        const std::string ours =
            add(place + "/field", c, points,
                [inARow](const Case& asked, const auto& p, double* out) { asked.distances(p, inARow, out); });
        const std::string what = name + ", closest distance, " + (inARow ? "grid" : "random");
        if (c->embree) {
            const std::string embree =
                add(place + "/Embree", c, points, [inARow](const Case& asked, const auto& p, double* out) {
                    asked.embree->distances(p, inARow, out);
                });
            rows.push_back(ratio(what + ": times Embree", {embree}, {ours}).noLess(2));
        }
        if (c->cgal) {
            const std::string cgal =
                add(place + "/CGAL", c, points, [inARow](const Case& asked, const auto& p, double* out) {
                    asked.cgal->distances(p, inARow, out);
                });
            rows.push_back(ratio(what + ": times CGAL", {cgal}, {ours}));
        }
    }
}

void addSignedDistances(const std::string& name, const Shared& c, std::vector<Row>& rows)
{
    for (const bool inARow : {true, false}) {
        const std::string place = name + (inARow ? "/signed/grid" : "/signed/random");
        const std::vector<Point> Case::*points = inARow ? &Case::shortGrid : &Case::shortRandom;
        const std::string ours =
            add(place + "/field", c, points, [inARow](const Case& asked, const auto& p, double* out) {
                asked.signedDistances(p, inARow, out);
            });
        const std::string literal =
            add(place + "/literal", c, points, [](const Case& asked, const auto& p, double* out) {
                for (const Point& point : p) {
                    *out++ = literalSignedDistance(*asked.field, point.begin());
                }
            });
        rows.push_back(ratio(name + ", signed, " + (inARow ? "grid" : "random") + ": times the exact search",
                             {literal}, {ours})
                           .noLess(inARow ? 10 : 6));
    }
}

/// Near the surface: the sign found otherwise than by the winding number.
void addSignsBeside(const std::string& name, const Shared& c, std::vector<Row>& rows)
{
    for (const Point& p : c->beside) {
        if (std::signbit(c->field->signedDistance(p)) != (c->field->windingNumber(p) > 0.5)) {
            throw std::runtime_error(name + ": a sign differs from that of the winding number");
        }
    }
    const std::string ours =
        add(name + "/signed/beside/field", c, &Case::beside,
            [](const Case& asked, const auto& p, double* out) { asked.signedDistances(p, false, out); });
    const std::string winding = add(
        name + "/signed/beside/winding", c, &Case::beside, [](const Case& asked, const auto& p, double* out) {
            for (const Point& point : p) {
                const double distance = asked.field->meshDistance(point);
                *out++ = asked.field->windingNumber(point) > 0.5 ? -distance : distance;
            }
        });
    rows.push_back(
        ratio(name + ", signed, beside the surface: times distance and winding number", {winding}, {ours}));
}

void addThreads(const std::string& name, const Shared& c, std::vector<Row>& rows)
{
    std::vector<std::string> entries;
    for (const std::size_t threads : {1, 2}) {
        entries.push_back(name + "/raster/" + std::to_string(threads) + " threads");
        benchmark::RegisterBenchmark(
            entries.back().c_str(),
            [c, threads](benchmark::State& state) {
                constexpr int kNodes = 96;
                const IField field = literal::node(1, Evaluator(meshKernel(c->field)), {literal::position()});
                const Region<3, 3, double, 1> grid({kLower, kLower, kLower}, {kUpper, kUpper, kUpper}, kNodes,
                                                   kNodes, kNodes);
                Raster<1, 3, double> raster(kNodes, kNodes, kNodes);
                for (auto _ : state) {
                    rasterizeField(field, grid, raster, nullptr, threads);
                    benchmark::ClobberMemory();
                }
                countSamples(state, 1.0 * kNodes * kNodes * kNodes);
            })
            ->Unit(benchmark::kMillisecond)
            ->UseRealTime()
            ->Repetitions(5);
    }
    rows.push_back(ratio(name + ", raster: two threads over one", {entries[0]}, {entries[1]}).noLess(1.85));
}

double milliseconds(const std::function<void()>& work)
{
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

/// Measures wall-clock time, as all builds take all processors. The two sides take turns, so that each finds
/// memory as the other one left it: after some seconds without use, memory costs much more.
void benchmarkBuild(benchmark::State& state, const Case& c)
{
    std::vector<double> ours;
    std::vector<double> embree;
    for (auto _ : state) {
        ours.push_back(milliseconds([&] {
            const MeshWindingField field(c.mesh.vertices, c.mesh.indices);
            benchmark::DoNotOptimize(field.triangleCount());
        }));
        if (c.embree) {
            embree.push_back(milliseconds([&] { benchmark::DoNotOptimize(embreePeer(c.mesh)); }));
        }
    }
    state.counters["bytes/triangle"] = static_cast<double>(c.field->bytes()) / c.field->triangleCount();
    state.counters["field ms"] = median(ours);
    if (c.embree) {
        state.counters["Embree ms"] = median(embree);
        state.counters["over Embree"] = median(ours) / median(embree);
    }
}

void addBuild(const std::string& name, const Shared& c, std::vector<Row>& rows)
{
    const std::string entry = name + "/build";
    benchmark::RegisterBenchmark(entry.c_str(), [c](benchmark::State& state) { benchmarkBuild(state, *c); })
        ->Unit(benchmark::kMillisecond)
        ->UseRealTime()
        ->Iterations(15)
        ->Repetitions(1);
    rows.push_back(counter(name + ": bytes a triangle", entry, "bytes/triangle").atMost(300));
    rows.push_back(counter(name + ", build: ms", entry, "field ms"));
    if (c->embree) {
        rows.push_back(counter(name + ", build: over Embree's", entry, "over Embree").atMost(1.3));
    }
}

} // namespace

std::vector<Row> registerMeshFields()
{
    struct Kind {
        std::string name;
        GeneratedMesh (*make)();
    };
    const Kind kinds[] = {
        {"sphere20k", [] { return zrktest::icosphere(32); }},
        {"knot20k", [] { return zrktest::torusKnot(400, 25); }},
        {"sphere200k", [] { return zrktest::icosphere(100); }},
        {"knot200k", [] { return zrktest::torusKnot(1240, 80); }},
        {"sphere1M", [] { return zrktest::icosphere(224); }},
        {"knot1M", [] { return zrktest::torusKnot(2500, 200); }},
    };
    std::vector<Row> rows;
    for (const Kind& kind : kinds) {
        const auto c = std::make_shared<Case>(kind.make());
        compare(kind.name, *c);
        addDistances(kind.name, c, rows);
        addSignedDistances(kind.name, c, rows);
        addSignsBeside(kind.name, c, rows);
        addThreads(kind.name, c, rows);
        addBuild(kind.name, c, rows);
    }
    return rows;
}

} // namespace zrk::bench
