#include "components/mesh/beam_kernel.h"

#include "core/engine/centred_box.h"
#include "core/engine/evaluation_context.h"

#include <limits>
#include <utility>

namespace zrk {

namespace {

class BeamKernel final : public Kernel {
public:
    explicit BeamKernel(std::shared_ptr<const BeamField> field) : _field(std::move(field)) {}

    KernelReads reads() const override { return {1, false}; }

    void sample(EvaluationContext& context) const override
    {
        const double* p = context.readInput(0);
        const double weight = p[3];
        context.writeOutput(_field ? _field->distance({p[0], p[1], p[2]}) : kNoBeam, weight);
    }

    void block(BlockRun& run) const override
    {
        const Block& p = run.input(0);
        if (_field) {
            const double* const rows[3] = {p.row(0), p.row(1), p.row(2)};
            _field->distances(rows, run.sampleCount(), run.output(0));
        } else {
            run.outputConstant(0, kNoBeam);
        }
        run.forwardWeights(p);
    }

    /// By the distance at a box's centre.
    bool bounds(BoxRun& run) const override
    {
        const BoxBounds& positions = run.input(0);
        IntervalRow& out = run.output(0);
        run.forwardWeights(positions);
        out.fill(_field ? Interval<double>::entire() : Interval<double>(kNoBeam));
        if (!_field) {
            return true;
        }
        for (std::size_t i = 0; i < run.boxCount(); ++i) {
            if (const auto box = centredBox(positions, i)) {
                out.set(i, _field->bounds(*box));
            }
        }
        return true;
    }

private:
    static constexpr double kNoBeam = std::numeric_limits<double>::max();

    std::shared_ptr<const BeamField> _field;
};

} // namespace

std::shared_ptr<const Kernel> beamKernel(std::shared_ptr<const BeamField> field)
{
    return std::make_shared<BeamKernel>(std::move(field));
}

} // namespace zrk
