#pragma once

#include "core/values/scalar_math.h"
#include "core/values/tensor.h"

#include <cmath>
#include <memory>
#include <numbers>
#include <vector>

namespace zrk {

/// A sine over space. As a record of a WaveDensity: angles in radians, amplitude normalised.
struct PlaneWave {
    double fx;
    double fy;
    double fz;
    double amplitude;
    double phase;
};

/// What waves do to each other.
struct AddWaves {
    static constexpr double kStart = 0;
    template <class V>
    static V combine(const V& a, const V& b)
    {
        return a + b;
    }
};
struct MultiplyWaves {
    static constexpr double kStart = 1;
    template <class V>
    static V combine(const V& a, const V& b)
    {
        return a * b;
    }
};

/// Density of plane waves, 0.5 where they are 0. Not clamped.
template <class Combine>
struct WaveDensity {
    std::shared_ptr<const std::vector<PlaneWave>> waves;

    template <class V>
    V operator()(const Tensor<3, V>& p) const
    {
        V sum = Combine::kStart;
        for (const PlaneWave& wave : *waves) {
            const V angle = p[1] * wave.fy + p[0] * wave.fx + p[2] * wave.fz + wave.phase; // y comes first
            sum = Combine::template combine<V>(sum, sin(angle) * wave.amplitude);
        }
        return sum * 0.5 + 0.5;
    }
};

/// Waves in cycles become records in radians, with amplitudes times `scale`.
inline std::vector<PlaneWave> waveRecords(std::vector<PlaneWave> waves, double scale)
{
    constexpr double kTurn = 2 * std::numbers::pi;
    for (PlaneWave& wave : waves) {
        wave = {wave.fx * kTurn, wave.fy * kTurn, wave.fz * kTurn, wave.amplitude * scale,
                wave.phase * kTurn};
    }
    return waves;
}

/// Records whose amplitudes add up to 1 in size; all 0 where all were 0.
inline std::vector<PlaneWave> addedWaves(std::vector<PlaneWave> waves)
{
    double sum = 0;
    for (const PlaneWave& wave : waves) {
        sum += std::abs(wave.amplitude);
    }
    return waveRecords(std::move(waves), sum == 0 ? 0 : 1 / sum);
}

/// Records of the waves with an amplitude, each divided by the product of all amplitudes' sizes:
/// several amplitudes below 1 thus give densities beyond 0 and 1.
inline std::vector<PlaneWave> multipliedWaves(std::vector<PlaneWave> waves)
{
    std::erase_if(waves, [](const PlaneWave& wave) { return wave.amplitude == 0; });
    double product = 1;
    for (const PlaneWave& wave : waves) {
        product *= std::abs(wave.amplitude);
    }
    return waveRecords(std::move(waves), 1 / product);
}

} // namespace zrk
