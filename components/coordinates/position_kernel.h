#pragma once

#include "core/engine/centred_box.h"
#include "core/engine/evaluation_context.h"
#include "core/engine/kernel.h"
#include "core/values/batch.h"
#include "core/values/stop.h"
#include "core/values/tensor.h"

#include <cstddef>
#include <limits>
#include <memory>
#include <utility>

namespace zrk {

/// A kernel that measures the positions of the domain sample by sample and keeps their weights. It has no
/// input.
///
/// `Measure` has a `static constexpr std::uint32_t kShape` and a
/// `Tensor<kShape, double> operator()(const Tensor<3, double>& p, double& near) const` that is safe to call
/// from many threads at once. `near` is what the measure left there at the neighbouring sample, or NaN at the
/// first one. It may make the measure faster and never changes its result.
///
/// A measure may have bounds: `bool hasBounds() const` says whether they are known, and
/// `Tensor<kShape, Interval<double>> bounds(const CentredBox& box) const` gives them.
template <class Measure>
class PositionKernel final : public Kernel {
public:
    explicit PositionKernel(Measure measure) : _measure(std::move(measure)) {}

    KernelReads reads() const override { return {0, true}; }

    void sample(EvaluationContext& context) const override
    {
        const double* record = context.readCoordinates();
        const double weight = record[3];
        double near = std::numeric_limits<double>::quiet_NaN();
        context.writeOutput(_measure({record[0], record[1], record[2]}, near), weight);
    }

    void block(BlockRun& run) const override
    {
        const Block& positions = run.coordinates();
        double* rows[Measure::kShape];
        for (std::size_t c = 0; c < Measure::kShape; ++c) {
            rows[c] = run.output(c);
        }
        run.forwardWeights(positions);
        double near = std::numeric_limits<double>::quiet_NaN();
        for (std::size_t i = 0; i < run.sampleCount(); ++i) {
            stopIfAsked(); // a host's curve may take its time
            const auto value =
                _measure({positions.row(0)[i], positions.row(1)[i], positions.row(2)[i]}, near);
            for (std::size_t c = 0; c < Measure::kShape; ++c) {
                rows[c][i] = value[c];
            }
        }
        for (double* row : rows) {
            fillLastBatch(row, run.sampleCount());
        }
    }

    bool bounds(BoxRun& run) const override
    {
        if constexpr (requires(const CentredBox& box) { _measure.bounds(box); }) {
            if (_measure.hasBounds()) {
                boundsOver(run);
                return true;
            }
        }
        return false;
    }

private:
    Measure _measure;

    void boundsOver(BoxRun& run) const requires requires(const Measure& measure, const CentredBox& box)
    {
        measure.bounds(box);
    }
    {
        IntervalRow* rows[Measure::kShape];
        for (std::size_t c = 0; c < Measure::kShape; ++c) {
            rows[c] = &run.output(c);
            rows[c]->fill(Interval<double>::entire());
        }
        run.forwardWeights(run.coordinates());
        for (std::size_t i = 0; i < run.boxCount(); ++i) {
            if (const auto box = centredBox(run.coordinates(), i)) {
                const auto values = _measure.bounds(*box);
                for (std::size_t c = 0; c < Measure::kShape; ++c) {
                    rows[c]->set(i, values[c]);
                }
            }
        }
    }
};

/// Returns the evaluator of a measure.
template <class Measure>
Evaluation measureEvaluator(Measure measure)
{
    return Evaluator(std::make_shared<PositionKernel<Measure>>(std::move(measure)));
}

} // namespace zrk
