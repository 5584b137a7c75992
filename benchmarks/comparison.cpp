#include "benchmarks/comparison.h"

#include "core/engine/rasterize.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <stdexcept>

namespace zrk::bench {

std::vector<double> byBlocks(const IField& field)
{
    Image image;
    rasterizeField(field, cube(kNodes), image, nullptr, 1);
    return image.data;
}

void expectEqual(const std::string& what, const std::vector<double>& expected,
                 const std::vector<double>& found, double tolerance)
{
    for (std::size_t i = 0; i < expected.size(); ++i) {
        const bool same = std::bit_cast<std::uint64_t>(expected[i]) == std::bit_cast<std::uint64_t>(found[i]);
        const double difference = std::abs(expected[i] - found[i]);
        if (!same && !(tolerance > 0 && difference <= tolerance * std::max(1.0, std::abs(expected[i])))) {
            throw std::runtime_error("the results of " + what + " differ at sample " + std::to_string(i) +
                                     ": " + std::to_string(expected[i]) + " and " + std::to_string(found[i]));
        }
    }
}

void benchmarkBlocks(benchmark::State& state, const IField& field)
{
    Image image(kNodes, kNodes, kNodes);
    for (auto _ : state) {
        rasterizeField(field, cube(kNodes), image, nullptr, 1);
        benchmark::ClobberMemory();
    }
    countSamples(state, kSamples);
}

} // namespace zrk::bench
