#include "benchmarks/engine/chains.h"
#include "benchmarks/engine/engine_benchmarks.h"
#include "core/engine/prepared_field.h"

#include <benchmark/benchmark.h>

#include <memory>
#include <random>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>
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

/// @param goal    times faster than the formula over single intervals.
/// @param mostNs  a share of what a box cost when boxes were bounded one by one in scalar numbers.
template <class Formula>
std::vector<Row> registerShape(const std::string& name, const Formula& formula, double goal, double mostNs)
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
                  {stem + "/one_by_one"}, {stem + "/together"})
                .noLess(15),
            ratio("bounds of a " + name + ": time of the formula over single intervals over many together",
                  {stem + "/formula"}, {stem + "/together"})
                .noLess(goal),
            counter("bounds of a " + name + ": ns a box", stem + "/together", "ns/sample").atMost(mostNs)};
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

/// Cubes of 16 pixels of a picture of 512^2 over three units, each cut into 64 of 4 pixels, with positions in
/// these.
struct Picture {
    static constexpr std::size_t kParts = 64;
    static constexpr std::size_t kPerPart = 64;
    std::vector<PositionBox> boxes = boxesOf(3.0 / 512 * 16, 32);
    std::vector<PositionBox> parts;
    std::vector<double> x, y, z;
    std::vector<double> values;

    Picture()
    {
        std::mt19937 random(6);
        for (const PositionBox& box : boxes) {
            for (std::size_t part = 0; part < kParts; ++part) {
                const std::size_t place[3] = {part % 4, part / 4 % 4, part / 16};
                PositionBox inner;
                for (std::size_t c = 0; c < 3; ++c) {
                    const double edge = (box[c].upper - box[c].lower) / 4;
                    const double lower = box[c].lower + edge * static_cast<double>(place[c]);
                    inner[c] = {lower, lower + edge};
                }
                parts.push_back(inner);
                for (std::size_t i = 0; i < kPerPart; ++i) {
                    x.push_back(uniform(random, inner[0].lower, inner[0].upper));
                    y.push_back(uniform(random, inner[1].lower, inner[1].upper));
                    z.push_back(uniform(random, inner[2].lower, inner[2].upper));
                }
            }
        }
        values.resize(x.size());
    }
    void evaluate(const PreparedField& field, std::size_t firstPart, std::size_t count)
    {
        const std::size_t at = firstPart * kPerPart;
        field.evaluate(x.data() + at, y.data() + at, z.data() + at, count * kPerPart, values.data() + at);
    }
};

/// How far a field is simplified before its samples are taken.
enum class Simplified { No, For16Pixels, For4Pixels };

void evaluate(Picture& picture, const PreparedField& field, Simplified how)
{
    std::vector<PreparedField> inBox(picture.boxes.size(), field);
    if (how != Simplified::No) {
        field.simplifiedFor(picture.boxes, inBox);
    }
    std::vector<PreparedField> inPart(Picture::kParts);
    for (std::size_t box = 0; box < picture.boxes.size(); ++box) {
        const std::size_t first = box * Picture::kParts;
        if (how != Simplified::For4Pixels) {
            picture.evaluate(inBox[box], first, Picture::kParts);
            continue;
        }
        inBox[box].simplifiedFor(std::span(picture.parts).subspan(first, Picture::kParts), inPart);
        for (std::size_t part = 0; part < Picture::kParts; ++part) {
            picture.evaluate(inPart[part], first + part, 1);
        }
    }
}

/// A union of 64 spheres, simplified for boxes of 16 pixels, and for boxes of 4 pixels within these.
std::vector<Row> registerSimplified()
{
    const PreparedField field(unionOfSpheres(64));
    const auto picture = std::make_shared<Picture>();
    evaluate(*picture, field, Simplified::No);
    const std::vector<double> expected = picture->values;
    std::vector<Row> rows;
    for (const auto& [how, name] :
         {std::pair(Simplified::No, "whole"), std::pair(Simplified::For16Pixels, "16_pixels"),
          std::pair(Simplified::For4Pixels, "4_pixels")}) {
        const std::string entry = std::string("simplified/64_spheres/") + name;
        evaluate(*picture, field, how);
        if (picture->values != expected) {
            throw std::runtime_error(entry + ": the values differ from the whole field's");
        }
        benchmark::RegisterBenchmark(entry.c_str(), [picture, field, how = how](benchmark::State& state) {
            for (auto _ : state) {
                evaluate(*picture, field, how);
            }
            countSamples(state, static_cast<double>(picture->values.size()));
        })->Unit(benchmark::kMillisecond);
        if (how != Simplified::No) {
            rows.push_back(ratio(std::string("64 spheres, boxes of ") + name +
                                     ", 64 samples in 4 pixels: time of the whole field over simplified",
                                 {"simplified/64_spheres/whole"}, {entry})
                               .noLess(2));
        }
    }
    return rows;
}

} // namespace

std::vector<Row> registerBounds()
{
    std::vector<Row> rows;
    for (const auto& part :
         {registerShape("sphere", SphereDistance{{0.1, -0.05, 0.2}, 0.9}, 10, 157.0 / 50),
          registerShape("box", BoxDistance::rounded({0, 0, 0}, {2, 1.6, 1.2}, 0.1), 10, 197.0 / 50),
          registerShape("gyroid", GyroidDensity::withContour(0), 10, 385.0 / 25), registerSimplified()}) {
        rows.insert(rows.end(), part.begin(), part.end());
    }
    return rows;
}

} // namespace zrk::bench
