#include "benchmarks/mesh/mesh_benchmarks.h"
#include "core/mesh/beams/beam_field.h"
#include "core/mesh/beams/beam_lattice.h"
#include "testing/generated_meshes.h"

#include <limits>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>

namespace zrk::bench {

namespace {

using Vector = Tensor<3, double>;

constexpr std::size_t kRow = 128;

/// Positions in rows of x, y and z, as blocks have them.
struct Positions {
    struct alignas(64) Row {
        double coordinates[3][kRow];
    };
    std::vector<Row> rows;

    Vector at(std::size_t i) const
    {
        const Row& row = rows[i / kRow];
        return {row.coordinates[0][i % kRow], row.coordinates[1][i % kRow], row.coordinates[2][i % kRow]};
    }
    std::size_t count() const { return kRow * rows.size(); }
};

/// A lattice with the positions at which its distance is measured.
struct Case {
    std::shared_ptr<const BeamCacheData> lattice;
    std::vector<Capsule<double>> beams;
    Positions positions;

    double bySearch(const Vector& p) const
    {
        double distance = 0;
        lattice->bvh->closestPrimitive(
            [&](std::int32_t i, const double*, double*) {
                return beams[static_cast<std::size_t>(i)].distance(p);
            },
            p.begin(), distance);
        return distance;
    }
    double byAll(const Vector& p) const
    {
        double nearest = std::numeric_limits<double>::max();
        for (const Capsule<double>& beam : beams) {
            const double d = beam.distance(p);
            nearest = d < nearest ? d : nearest;
        }
        return nearest;
    }
    /// Computes the distances of one row.
    void byField(std::size_t row, double* out) const
    {
        const auto& c = positions.rows[row].coordinates;
        lattice->field->distances({c[0], c[1], c[2]}, kRow, out);
    }
};

/// Returns a number of rows, spread evenly, of a grid of kRow^3 nodes over the lattice's bounds grown by a
/// tenth.
Positions rowsOfGrid(const BVH<double, 2, 3>::Box& box, std::size_t rowCount)
{
    Positions positions;
    positions.rows.resize(rowCount);
    for (std::size_t r = 0; r < rowCount; ++r) {
        const std::size_t row = r * kRow * kRow / rowCount;
        for (std::size_t i = 0; i < kRow; ++i) {
            const std::size_t node[3] = {i, row % kRow, row / kRow};
            for (std::size_t axis = 0; axis < 3; ++axis) {
                const double size = box.max[axis] - box.min[axis];
                positions.rows[r].coordinates[axis][i] =
                    box.min[axis] - 0.1 * size + 1.2 * size * static_cast<double>(node[axis]) / (kRow - 1);
            }
        }
    }
    return positions;
}

Positions randomRows(const BVH<double, 2, 3>::Box& box, std::size_t rowCount)
{
    std::mt19937 generator(7);
    std::uniform_real_distribution<double> share(-0.1, 1.1);
    Positions positions;
    positions.rows.resize(rowCount);
    for (Positions::Row& row : positions.rows) {
        for (std::size_t i = 0; i < kRow; ++i) {
            for (std::size_t axis = 0; axis < 3; ++axis) {
                row.coordinates[axis][i] = box.min[axis] + (box.max[axis] - box.min[axis]) * share(generator);
            }
        }
    }
    return positions;
}

std::shared_ptr<const Case> makeCase(const std::shared_ptr<const BeamCacheData>& lattice, Positions positions)
{
    auto made = std::make_shared<Case>(Case{lattice, {}, std::move(positions)});
    for (std::int32_t i = 0; i < lattice->beamCount(); ++i) {
        made->beams.push_back(lattice->beam(i));
    }
    return made;
}

void compare(const Case& c, const std::string& name, bool withAll)
{
    alignas(64) double block[kRow];
    for (std::size_t i = 0; i < c.positions.count(); ++i) {
        if (i % kRow == 0) {
            c.byField(i / kRow, block);
        }
        const Vector p = c.positions.at(i);
        const double expected = withAll ? c.byAll(p) : c.bySearch(p);
        if (block[i % kRow] != expected) {
            throw std::runtime_error(name + ": the field differs from its baseline");
        }
    }
}

template <class Ask>
void addEntry(const std::string& name, const std::shared_ptr<const Case>& c, Ask ask)
{
    benchmark::RegisterBenchmark(name.c_str(), [c, ask](benchmark::State& state) {
        for (auto _ : state) {
            ask(*c);
        }
        countSamples(state, static_cast<double>(c->positions.count()));
    })->Unit(benchmark::kMillisecond);
}

/// Registers the entries "NAME/field" and "NAME/BASELINE" and returns the row that compares them.
Row addCase(const std::string& name, const std::string& what, const std::shared_ptr<const Case>& c,
            bool withAll, double goal)
{
    compare(*c, name, withAll);
    addEntry(name + "/field", c, [](const Case& asked) {
        alignas(64) double block[kRow];
        for (std::size_t row = 0; row < asked.positions.rows.size(); ++row) {
            asked.byField(row, block);
            benchmark::DoNotOptimize(block);
        }
    });
    const std::string baseline = name + (withAll ? "/all beams" : "/best-first");
    addEntry(baseline, c, [withAll](const Case& asked) {
        for (std::size_t i = 0; i < asked.positions.count(); ++i) {
            const Vector p = asked.positions.at(i);
            benchmark::DoNotOptimize(withAll ? asked.byAll(p) : asked.bySearch(p));
        }
    });
    return ratio(what, {baseline}, {name + "/field"}).noLess(goal);
}

} // namespace

std::vector<Row> registerBeams()
{
    const auto small = BeamCacheData::ofGrid(LatticeGrid::between({0, 0, 0}, {5, 5, 5}, 6));
    const auto large = BeamCacheData::ofGrid(LatticeGrid::between({0, 0, 0}, {5, 5, 5}, 32));
    zrktest::GeneratedMesh knot = zrktest::torusKnot(400, 84);
    const auto edges = BeamCacheData::ofEdges(std::move(knot.vertices), std::move(knot.indices));
    const auto gridCase = [](const auto& lattice) {
        return makeCase(lattice, rowsOfGrid(lattice->bvh->bounds, 32));
    };
    const auto randomCase = [](const auto& lattice) {
        return makeCase(lattice, randomRows(lattice->bvh->bounds, 32));
    };
    return {
        addCase("beams/882/grid", "default lattice, grid: times asking all 882 beams", gridCase(small), true,
                10),
        addCase("beams/grid104544/grid", "lattice of 104,544 beams, grid: times best-first", gridCase(large),
                false, 6),
        addCase("beams/grid104544/random", "lattice of 104,544 beams, random: times best-first",
                randomCase(large), false, 6),
        addCase("beams/edges100800/grid", "edges of a torus knot, 100,800 beams, grid: times best-first",
                gridCase(edges), false, 6),
        addCase("beams/edges100800/random", "edges of a torus knot, 100,800 beams, random: times best-first",
                randomCase(edges), false, 6),
    };
}

} // namespace zrk::bench
