#include "benchmarks/comparison.h"
#include "benchmarks/components/component_benchmarks.h"
#include "components/coordinates/torus_uvw_formula.h"
#include "components/operators/gradient_kernel.h"
#include "components/operators/levelset_formula.h"
#include "components/patterns/pattern_designer_formula.h"
#include "components/primitives/cylinder_sdf_formula.h"
#include "components/primitives/sphere_sdf_formula.h"
#include "core/engine/formula.h"
#include "testing/literal_engine.h"

#include <random>

namespace zrk::bench {

namespace {

using literal::node;
using literal::position;

/// One coordinate of the position.
template <std::size_t C>
struct Coordinate {
    template <class V>
    V operator()(const Tensor<3, V>& p) const
    {
        return p[C];
    }
};

/// Shells around shells around x, with the factors y and z. One shell alone is so little work that the
/// positions and the copy into the raster would be measured instead.
struct NestedShells {
    static constexpr int kCount = 8;
    using Shell = ShellDistance<LevelSetKind::distance>;
    Shell shells[kCount];

    NestedShells()
    {
        for (int i = 0; i < kCount; ++i) {
            shells[i] = Shell::between(0.02, 0.4 / (i + 1), 0.3 / (i + 1));
        }
    }
    template <class V>
    V operator()(const Tensor<3, V>& p) const
    {
        V d = p[0];
        for (const Shell& shell : shells) {
            d = shell(d, p[1], p[2]);
        }
        return d;
    }
    IField field() const
    {
        IField d = position();
        const IField offsetFactor = node(1, evaluator(Coordinate<1>{}), {position()});
        const IField thicknessFactor = node(1, evaluator(Coordinate<2>{}), {position()});
        for (const Shell& shell : shells) {
            d = node(1, evaluator(shell), {d, offsetFactor, thicknessFactor});
        }
        return d;
    }
};

RoundCylinderDistance roundCylinder()
{
    return RoundCylinderDistance(TaperedCylinder{{-0.5, -0.4, -0.3}, {0.6, 0.48, 0.64}, 1.4, 0.5, 0.3});
}

WaveDensity<AddWaves> eightWaves()
{
    std::mt19937 random(8);
    std::uniform_real_distribution<double> frequency(-3, 3);
    std::vector<PlaneWave> waves;
    for (int i = 0; i < 8; ++i) {
        waves.push_back({frequency(random), frequency(random), frequency(random), 0.5, 0.125 * i});
    }
    return {std::make_shared<const std::vector<PlaneWave>>(addedWaves(waves))};
}

/// Makes a node with one formula of the position.
template <class Formula>
Row registerNode(const std::string& name, std::uint32_t shape, const Formula& formula)
{
    const IField field = node(shape, evaluator(formula), {position()});
    return registerFused("pointwise/" + name, field, std::make_shared<const Formula>(formula)).atMost(1.5);
}

void registerBlocks(const std::string& name, const IField& field)
{
    benchmark::RegisterBenchmark(name.c_str(), [field](benchmark::State& state) {
        benchmarkBlocks(state, field);
    })->Unit(benchmark::kMillisecond);
}

} // namespace

std::vector<Row> registerPointwise()
{
    std::vector<Row> rows;
    rows.push_back(registerNode("torus_coordinates", 3, TorusCoordinates{{0.05, 0.1, -0.1}, 0.8, 0.25}));
    rows.push_back(registerNode("round_cylinder", 1, roundCylinder()));
    rows.push_back(registerNode("eight_waves", 1, eightWaves()));
    const auto shells = std::make_shared<const NestedShells>();
    rows.push_back(registerFused("pointwise/eight_shells", shells->field(), shells).atMost(1.5));

    const IField sphere = node(1, evaluator(SphereDistance{{0.1, -0.05, 0.2}, 0.9}), {position()});
    registerBlocks("gradient/sphere", sphere);
    for (const bool unit : {false, true}) {
        const std::string name = unit ? "gradient/of_sphere_normalized" : "gradient/of_sphere";
        registerBlocks(name, node(3, gradientEvaluator(sphere.generator(), 1e-3, unit), {sphere}));
        const Row row = ratio(name + ": time over the sphere's", {name}, {"gradient/sphere"});
        rows.push_back(unit ? row : row.atMost(6));
    }
    return rows;
}

} // namespace zrk::bench
