#include "benchmarks/engine/chains.h"
#include "benchmarks/engine/engine_benchmarks.h"
#include "core/engine/prepared_field.h"

#include <benchmark/benchmark.h>

#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

namespace zrk::bench {

namespace {

double uniform(std::mt19937& random, double from, double to)
{
    return std::uniform_real_distribution<double>(from, to)(random);
}

/// Cubes that lie anywhere around the shapes, each near the one before, as those of a tree are.
std::vector<PositionBox> boxesOf(double edge, std::size_t count)
{
    std::mt19937 random(5);
    std::vector<PositionBox> boxes(count);
    for (PositionBox& box : boxes) {
        for (std::size_t c = 0; c < 3; ++c) {
            const double lower = uniform(random, -1.5, 1.5 - edge);
            box[c] = {lower, lower + edge};
        }
    }
    return boxes;
}

constexpr std::size_t kBoxes = 4096;

/// The formula alone, over one box after the other.
template <class Formula>
void byFormula(benchmark::State& state, const Formula& formula)
{
    const std::vector<PositionBox> boxes = boxesOf(0.1, kBoxes);
    for (auto _ : state) {
        for (const PositionBox& box : boxes) {
            benchmark::DoNotOptimize(formula(box));
        }
    }
    countSamples(state, kBoxes);
}

void oneByOne(benchmark::State& state, const IField& field)
{
    const PreparedField prepared(field);
    const std::vector<PositionBox> boxes = boxesOf(0.1, kBoxes);
    for (auto _ : state) {
        for (const PositionBox& box : boxes) {
            benchmark::DoNotOptimize(prepared.bounds(box).components[0].lower);
        }
    }
    countSamples(state, kBoxes);
}

void together(benchmark::State& state, const IField& field)
{
    const PreparedField prepared(field);
    const std::vector<PositionBox> boxes = boxesOf(0.1, kBoxes);
    std::vector<Interval<double>> bounds(kBoxes);
    for (auto _ : state) {
        prepared.bounds(boxes, bounds.data());
        benchmark::ClobberMemory();
    }
    countSamples(state, kBoxes);
}

template <class Formula>
std::vector<Row> registerShape(const std::string& name, const Formula& formula, double goal)
{
    const IField field = node(1, kernel(formula), {position()});
    const std::string stem = "bounds/" + name;
    const auto add = [&](const std::string& variant, auto body) {
        benchmark::RegisterBenchmark((stem + variant).c_str(), body)->Unit(benchmark::kMicrosecond);
    };
    add("/formula", [formula](benchmark::State& state) { byFormula(state, formula); });
    add("/one_by_one", [field](benchmark::State& state) { oneByOne(state, field); });
    add("/together", [field](benchmark::State& state) { together(state, field); });
    return {ratio("bounds of a " + name + ": time of boxes one by one over many together",
                  {stem + "/one_by_one"}, {stem + "/together"}),
            ratio("bounds of a " + name + ": time of the formula over single intervals over many together",
                  {stem + "/formula"}, {stem + "/together"})
                .noLess(goal),
            counter("bounds of a " + name + ": ns a box", stem + "/together", "ns/sample")};
}

IField unionOfSpheres(int count)
{
    std::mt19937 random(3);
    IField all;
    for (int i = 0; i < count; ++i) {
        const Tensor<3, double> center{uniform(random, -1, 1), uniform(random, -1, 1),
                                       uniform(random, -1, 1)};
        const IField sphere = node(1, kernel(SphereDistance{center, 0.2}), {position()});
        all = i == 0 ? sphere : combined<Minimum>(kernel, all, sphere);
    }
    return all;
}

/// Positions within boxes as pictures ask for them: `perBox` in each box.
struct BoxSamples {
    std::vector<PositionBox> boxes;
    std::size_t perBox;
    std::vector<double> x, y, z;
    std::vector<double> values;

    BoxSamples(double edge, std::size_t count, std::size_t samplesPerBox)
        : boxes(boxesOf(edge, count)), perBox(samplesPerBox), values(count * samplesPerBox)
    {
        std::mt19937 random(6);
        for (const PositionBox& box : boxes) {
            for (std::size_t i = 0; i < perBox; ++i) {
                x.push_back(uniform(random, box[0].lower, box[0].upper));
                y.push_back(uniform(random, box[1].lower, box[1].upper));
                z.push_back(uniform(random, box[2].lower, box[2].upper));
            }
        }
    }
    void evaluate(std::size_t box, const PreparedField& field)
    {
        const std::size_t at = box * perBox;
        field.evaluate(x.data() + at, y.data() + at, z.data() + at, perBox, values.data() + at);
    }
};

void evaluateWhole(BoxSamples& samples, const PreparedField& field)
{
    for (std::size_t i = 0; i < samples.boxes.size(); ++i) {
        samples.evaluate(i, field);
    }
}

void evaluateSimplified(BoxSamples& samples, const PreparedField& field, std::vector<PreparedField>& simple)
{
    field.simplifiedFor(samples.boxes, simple);
    for (std::size_t i = 0; i < samples.boxes.size(); ++i) {
        samples.evaluate(i, simple[i]);
    }
}

/// A union of 64 spheres in boxes of a picture of 512^2 over three units.
std::vector<Row> registerSimplified(int pixels, std::size_t samplesPerBox)
{
    const PreparedField field(unionOfSpheres(64));
    const std::string stem = "simplified/64_spheres/" + std::to_string(pixels) + "_pixels";
    const auto samples = std::make_shared<BoxSamples>(3.0 / 512 * pixels, 512, samplesPerBox);
    const auto simple = std::make_shared<std::vector<PreparedField>>(samples->boxes.size());
    evaluateWhole(*samples, field);
    const std::vector<double> expected = samples->values;
    evaluateSimplified(*samples, field, *simple);
    if (samples->values != expected) {
        throw std::runtime_error(stem + ": the values differ from the whole field's");
    }
    benchmark::RegisterBenchmark((stem + "/whole").c_str(), [=](benchmark::State& state) {
        for (auto _ : state) {
            evaluateWhole(*samples, field);
        }
        countSamples(state, static_cast<double>(samples->values.size()));
    })->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark((stem + "/simplified").c_str(), [=](benchmark::State& state) {
        for (auto _ : state) {
            evaluateSimplified(*samples, field, *simple);
        }
        countSamples(state, static_cast<double>(samples->values.size()));
    })->Unit(benchmark::kMillisecond);
    return {ratio("64 spheres, boxes of " + std::to_string(pixels) + " pixels, " +
                      std::to_string(samplesPerBox) +
                      " samples a box: time of the whole field over simplified",
                  {stem + "/whole"}, {stem + "/simplified"})
                .noLess(2)};
}

} // namespace

std::vector<Row> registerBounds()
{
    std::vector<Row> rows;
    for (const auto& part : {registerShape("sphere", SphereDistance{{0.1, -0.05, 0.2}, 0.9}, 10),
                             registerShape("box", BoxDistance::rounded({0, 0, 0}, {2, 1.6, 1.2}, 0.1), 10),
                             registerShape("gyroid", GyroidDensity::withContour(0), 10),
                             registerSimplified(16, 512), registerSimplified(4, 64)}) {
        rows.insert(rows.end(), part.begin(), part.end());
    }
    return rows;
}

} // namespace zrk::bench
