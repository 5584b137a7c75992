#pragma once

#include "core/engine/formula.h"
#include "core/values/interval_batch.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <vector>

/// The check that every formula has to pass: its value types agree. Over random boxes of
/// arguments, wide and narrow, with infinities and NaN, every lane of a batch gives what doubles
/// give, and the interval, alone and as a lane among others, contains what both give.
namespace zrk::agreement {

/// The arguments of a formula: the components and the weight of each input, in as many doubles as the longest
/// record takes.
template <class V>
using Arguments = std::vector<std::array<V, 5>>;

using Random = std::mt19937_64;

inline double uniform(Random& random, double from, double to)
{
    return std::uniform_real_distribution<double>(from, to)(random);
}

/// Draws an end of a box. It is often a round number, so that edges of cells and equal arguments come up.
inline double randomEnd(Random& random)
{
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    const double round[] = {-1, -0.5, -0.0, 0, 0.25, 0.5, 1, 1, 1, 2, 3};
    const double extreme[] = {-kInfinity, -1e300, -1e-310, 1e-310, 1e18, 1e300, kInfinity};
    const std::uint64_t kind = random() % 40;
    if (kind == 0) {
        return extreme[random() % std::size(extreme)];
    }
    return kind < 20 ? round[random() % std::size(round)] : uniform(random, -3, 3);
}

inline Interval<double> randomBox(Random& random)
{
    const double end = randomEnd(random);
    const std::uint64_t kind = random() % 16;
    if (kind == 0) {
        return Interval<double>::entire();
    }
    if (kind < 5) {
        return end;
    }
    const double other = kind < 10 ? end + uniform(random, 0, 0.1) : randomEnd(random);
    return {std::min(end, other), std::max(end, other)};
}

inline double randomWithin(Random& random, const Interval<double>& box)
{
    const std::uint64_t kind = random() % 4;
    if (box.isEntire() && kind == 0) {
        return std::numeric_limits<double>::quiet_NaN();
    }
    if (kind < 2 || box.lower == box.upper) {
        return kind == 0 ? box.lower : box.upper;
    }
    const double from = std::max(box.lower, -1e6);
    const double to = std::min(box.upper, 1e6);
    return from < to ? uniform(random, from, to) : box.lower;
}

/// Returns the components of a formula's result and, if the formula gives one, its weight.
template <class V, class F>
std::vector<V> valuesOf(const F& formula, const Arguments<V>& arguments)
{
    using Call = formula_detail::CallOf<F, V>;
    const auto result = Call::call(formula, [&](std::size_t k, std::size_t c) { return arguments[k][c]; });
    std::vector<V> values;
    formula_detail::storeResult<V>(result, [&](std::size_t, const V& value) { values.push_back(value); });
    if constexpr (Call::ResultForm::hasWeight) {
        values.push_back(result.weight);
    }
    return values;
}

/// Returns the bounds over a box that is one lane of many, the others being random.
template <class F>
std::vector<Interval<double>> boundsAmongOthers(const F& formula, const Arguments<Interval<double>>& box,
                                                Random& random)
{
    const std::size_t lane = random() % Batch::size;
    Arguments<IntervalBatch> boxes(box.size());
    for (std::size_t k = 0; k < box.size(); ++k) {
        for (std::size_t c = 0; c < box[k].size(); ++c) {
            double lower[Batch::size];
            double upper[Batch::size];
            for (std::size_t i = 0; i < Batch::size; ++i) {
                const Interval<double> one = i == lane ? box[k][c] : randomBox(random);
                lower[i] = one.lower;
                upper[i] = one.upper;
            }
            boxes[k][c] = IntervalBatch::ordered(Batch::load(lower), Batch::load(upper));
        }
    }
    std::vector<Interval<double>> bounds;
    for (const IntervalBatch& value : valuesOf(formula, boxes)) {
        bounds.push_back(value.lane(lane));
    }
    return bounds;
}

inline std::string describe(const Arguments<double>& arguments)
{
    std::ostringstream text;
    text.precision(17);
    for (const auto& input : arguments) {
        text << " (" << input[0] << ", " << input[1] << ", " << input[2] << ", " << input[3] << ", "
             << input[4] << ")";
    }
    return text.str();
}

inline double largest(const Arguments<double>& arguments)
{
    double size = 1;
    for (const auto& input : arguments) {
        for (const double value : input) {
            size = std::isfinite(value) ? std::max(size, std::abs(value)) : size;
        }
    }
    return size;
}

/// @param tolerance  how far a batch and doubles may differ, relative to the largest of the
///                   arguments, the result and 1: 0 for arithmetic, a few 1e-15 where sines, powers
///                   or exponentials take part.
template <class F>
void expectAgreement(const F& formula, double tolerance)
{
    constexpr std::size_t kInputs = formula_detail::CallOf<F, double>::arity;
    constexpr int kBoxes = 2000;
    Random random(20240611);
    for (int round = 0; round < kBoxes && !::testing::Test::HasFailure(); ++round) {
        Arguments<Interval<double>> box(kInputs);
        Arguments<Batch> batch(kInputs);
        Arguments<double> samples[Batch::size];
        for (auto& sample : samples) {
            sample.resize(kInputs);
        }
        for (std::size_t k = 0; k < kInputs; ++k) {
            for (std::size_t c = 0; c < 5; ++c) {
                box[k][c] = randomBox(random);
                double lanes[Batch::size];
                for (std::size_t lane = 0; lane < Batch::size; ++lane) {
                    lanes[lane] = samples[lane][k][c] = randomWithin(random, box[k][c]);
                }
                batch[k][c] = Batch::load(lanes);
            }
        }

        const std::vector<Interval<double>> bounds = valuesOf(formula, box);
        const std::vector<Interval<double>> laneBounds = boundsAmongOthers(formula, box, random);
        const std::vector<Batch> batched = valuesOf(formula, batch);
        for (std::size_t lane = 0; lane < Batch::size; ++lane) {
            const std::vector<double> values = valuesOf(formula, samples[lane]);
            for (std::size_t i = 0; i < values.size(); ++i) {
                const double one = batched[i].lane(lane);
                const double scale = std::max(largest(samples[lane]), std::abs(values[i]));
                const bool agree = (std::isnan(one) && std::isnan(values[i])) || one == values[i] ||
                                   std::abs(one - values[i]) <= tolerance * scale;
                const bool isBounded = bounds[i].contains(one) && bounds[i].contains(values[i]) &&
                                       laneBounds[i].contains(one) && laneBounds[i].contains(values[i]);
                if (!agree || !isBounded) {
                    ADD_FAILURE() << "box " << round << ", result " << i << ", arguments"
                                  << describe(samples[lane]) << ": batch " << one << ", double " << values[i]
                                  << ", interval [" << bounds[i].lower << ", " << bounds[i].upper
                                  << "], in lanes [" << laneBounds[i].lower << ", " << laneBounds[i].upper
                                  << "]";
                }
            }
        }
    }
}

} // namespace zrk::agreement
