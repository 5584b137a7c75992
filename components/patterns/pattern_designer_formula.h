#pragma once

#include "core/values/scalar_math.h"
#include "core/values/stop.h"
#include "core/values/tensor.h"

#include <cmath>
#include <memory>
#include <numbers>
#include <vector>

namespace zrk {

/// A sine over space. As the user states it, frequencies are in cycles per model unit and the phase is in
/// cycles. As a record of a WaveDensity, both are in radians and the amplitude is normalised.
struct PlaneWave {
    double fx;
    double fy;
    double fz;
    double amplitude;
    double phase;
};

/// How the values of several waves are combined, and what they start from.
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

/// Density of plane waves: 0.5 plus half of the combined value. It isn't cut to 0..1. An infinite or NaN
/// coordinate gives NaN.
template <class Combine>
struct WaveDensity {
    std::shared_ptr<const std::vector<PlaneWave>> waves;

    template <class V>
    V operator()(const Tensor<3, V>& p) const
    {
        V sum = Combine::kStart;
        constexpr std::size_t kMany = 1000;
        if (waves->size() > kMany) {
            stopIfAsked();
        }
        for (const PlaneWave& wave : *waves) {
            const V angle = p[1] * wave.fy + p[0] * wave.fx + p[2] * wave.fz + wave.phase; // y comes first
            sum = Combine::template combine<V>(sum, sin(angle) * wave.amplitude);
        }
        return sum * 0.5 + 0.5;
    }
};

/// Turns waves in cycles into records in radians, whose amplitudes are multiplied by `scale`.
inline std::vector<PlaneWave> waveRecords(std::vector<PlaneWave> waves, double scale)
{
    constexpr double kTurn = 2 * std::numbers::pi;
    for (PlaneWave& wave : waves) {
        wave = {wave.fx * kTurn, wave.fy * kTurn, wave.fz * kTurn, wave.amplitude * scale,
                wave.phase * kTurn};
    }
    return waves;
}

/// Returns records whose amplitudes add up to 1 in size, or are all 0 if all were 0.
inline std::vector<PlaneWave> addedWaves(std::vector<PlaneWave> waves)
{
    double sum = 0;
    for (const PlaneWave& wave : waves) {
        sum += std::abs(wave.amplitude);
    }
    return waveRecords(std::move(waves), sum == 0 ? 0 : 1 / sum);
}

/// Returns records of the waves whose amplitude isn't 0. Each amplitude is divided by the product of the
/// sizes of all of them, so that several amplitudes below 1 give densities below 0 and above 1.
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
