#include "components/mesh/mesh_kernel.h"

#include "core/engine/centred_box.h"
#include "core/engine/evaluation_context.h"
#include "core/values/batch.h"
#include "core/values/stop.h"

#include <utility>

namespace zrk {

namespace {

class MeshKernel final : public Kernel {
public:
    explicit MeshKernel(std::shared_ptr<const MeshWindingField> field) : _field(std::move(field)) {}

    KernelReads reads() const override { return {1, false}; }

    void sample(EvaluationContext& context) const override
    {
        const double* p = context.readInput(0);
        const double weight = p[3];
        context.writeOutput(_field ? _field->value({p[0], p[1], p[2]}) : 0.0, weight);
    }

    void block(BlockRun& run) const override
    {
        const Block& p = run.input(0);
        if (_field) {
            distances(p, run.sampleCount(), run.output(0));
        } else {
            run.outputConstant(0, 0.0);
        }
        run.forwardWeights(p);
    }

    /// By the value at a box's centre.
    bool bounds(BoxRun& run) const override
    {
        const BoxBounds& positions = run.input(0);
        IntervalRow& out = run.output(0);
        run.forwardWeights(positions);
        out.fill(_field ? Interval<double>::entire() : Interval<double>(0.0));
        if (!_field) {
            return true;
        }
        MeshWindingField::Trail trail;
        for (std::size_t i = 0; i < run.boxCount(); ++i) {
            if (const auto box = centredBox(positions, i)) {
                out.set(i, _field->bounds(*box, trail));
            }
        }
        return true;
    }

private:
    std::shared_ptr<const MeshWindingField> _field;

    void distances(const Block& positions, std::size_t count, double* out) const
    {
        MeshWindingField::Trail trail;
        for (std::size_t i = 0; i < count; ++i) {
            stopIfAsked();
            out[i] = _field->value({positions.row(0)[i], positions.row(1)[i], positions.row(2)[i]}, trail);
        }
        fillLastBatch(out, count);
    }
};

} // namespace

std::shared_ptr<const Kernel> meshKernel(std::shared_ptr<const MeshWindingField> field)
{
    return std::make_shared<MeshKernel>(std::move(field));
}

} // namespace zrk
