#include "benchmarks/components/component_benchmarks.h"
#include "core/curves/point_interpolator.h"
#include "core/curves/polyline.h"

#include <cmath>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>

namespace zrk::bench {

namespace {

constexpr int kSegments = 10'000;

std::vector<Vector3> coil()
{
    std::vector<Vector3> points;
    for (int i = 0; i <= kSegments; ++i) {
        const double angle = 0.05 * i;
        points.push_back({std::cos(angle), std::sin(angle), 2.0 * i / kSegments - 1});
    }
    return points;
}

std::vector<Vector3> randomWalk()
{
    std::mt19937 random(1);
    std::normal_distribution<double> step(0, 0.02);
    std::vector<Vector3> points{{0, 0, 0}};
    for (int i = 0; i < kSegments; ++i) {
        const Vector3& p = points.back();
        points.push_back({p[0] + step(random), p[1] + step(random), p[2] + step(random)});
    }
    return points;
}

/// A curve whose segments each cross a good part of the box, which is the hardest case for a hierarchy of
/// boxes.
std::vector<Vector3> scattered()
{
    std::mt19937 random(2);
    std::uniform_real_distribution<double> number(-1, 1);
    std::vector<Vector3> points;
    for (int i = 0; i <= kSegments; ++i) {
        points.push_back({number(random), number(random), number(random)});
    }
    return points;
}

std::vector<Vector3> queries()
{
    std::mt19937 random(3);
    std::uniform_real_distribution<double> number(-1, 1);
    std::vector<Vector3> positions;
    for (int i = 0; i < 2000; ++i) {
        positions.push_back({number(random), number(random), number(random)});
    }
    return positions;
}

Row registerClosest(const std::string& name, const std::vector<Vector3>& points)
{
    const auto curve = std::make_shared<const Polyline>(points, false);
    const std::string entry = "closest_point/" + name;
    benchmark::RegisterBenchmark(entry.c_str(), [curve, positions = queries()](benchmark::State& state) {
        for (auto _ : state) {
            double sum = 0;
            for (const Vector3& p : positions) {
                sum += curve->closestParameter(p);
            }
            benchmark::DoNotOptimize(sum);
        }
        countSamples(state, static_cast<double>(positions.size()));
    })->Unit(benchmark::kMillisecond);
    return counter(entry + ", 10,000 segments: ns a query", entry, "ns/sample");
}

} // namespace

std::vector<Row> registerCurves()
{
    return {registerClosest("coil", coil()).atMost(2000),
            registerClosest("random_walk", randomWalk()).atMost(2000),
            registerClosest("scattered", scattered()).atMost(2000)};
}

} // namespace zrk::bench
