#include "components/transforms/combine_components.h"

#include "components/transforms/component_pins.h"
#include "core/engine/evaluation_context.h"
#include "core/values/batch.h"
#include "model/pins.h"

namespace zrkmodel {

namespace {

using zrk::Batch;

/// Makes one record of N scalars, with the largest of 0 and their weights. In a block the components are
/// forwarded, and only the weights are computed.
template <int N>
class CombinedComponents final : public zrk::Kernel {
public:
    void sample(zrk::EvaluationContext& context) const override
    {
        zrk::Tensor<N, double> value;
        double weight = 0;
        for (std::size_t k = 0; k < N; ++k) {
            const double* record = context.readInput(k);
            value[k] = record[0];
            weight = larger(record[1], weight);
        }
        context.writeOutput(value, weight);
    }

    void block(zrk::BlockRun& run) const override
    {
        const double* weights[N];
        bool allOne = true;
        for (std::size_t k = 0; k < N; ++k) {
            run.forwardRow(k, run.input(k), 0);
            weights[k] = run.input(k).weights();
            allOne = allOne && run.input(k).hasUnitWeight();
        }
        if (allOne) {
            return;
        }
        double* out = run.outputWeights();
        for (std::size_t i = 0; i < run.sampleCount(); i += Batch::size) {
            Batch weight = 0.0;
            for (std::size_t k = 0; k < N; ++k) {
                weight = larger(Batch::loadAligned(weights[k] + i), weight);
            }
            weight.storeAligned(out + i);
        }
    }

    bool bounds(zrk::BoxRun& run) const override
    {
        bool allOne = true;
        for (std::size_t k = 0; k < N; ++k) {
            run.forwardRow(k, run.input(k), 0);
            allOne = allOne && run.input(k).hasUnitWeight();
        }
        if (allOne) {
            return true;
        }
        zrk::IntervalRow& out = run.outputWeights();
        for (std::size_t i = 0; i < run.boxCount(); i += Batch::size) {
            zrk::IntervalBatch weight = 0.0;
            for (std::size_t k = 0; k < N; ++k) {
                weight = larger(zrk::loadBounds(run.input(k).weights(), i), weight);
            }
            zrk::storeBounds(weight, out, i);
        }
        return true;
    }

private:
    /// Returns the input's weight if it is greater, which a NaN isn't, and otherwise the largest so far.
    template <class V>
    static V larger(const V& input, const V& soFar)
    {
        return zrk::maximum(input, soFar);
    }
};

} // namespace

template <int N>
void ZRKCombineComponents<N>::onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node)
{
    for (const std::string& component : ComponentPins<N>::components()) {
        addInputPin(node, Tag::Scalar, component);
    }
    addOutputPin(node, ComponentPins<N>::tag, "");
}

template <int N>
zrk::Evaluation ZRKCombineComponents<N>::getEvaluatorForPin(const Pin_ref<1>&, const ZRKContext&) const
{
    return zrk::Evaluator(std::make_shared<CombinedComponents<N>>());
}

template class ZRKCombineComponents<3>;
template class ZRKCombineComponents<4>;

ComponentIdentity ZRKVector3CombineComponents::identity()
{
    return {
        .className = "ZRKVector3CombineComponents",
        .typeName = "Vector3CombineComponents",
        .uuid = "7CF3D8F6-00BD-411A-A6A3-63675F96231C",
        .icon = IconResources::uvw_x_assemble,
        .strings = ZRKUIStrings::assemble_vector(),
        .inputs = {Tag::Scalar}, // one, although there are three pins
        .outputs = {Tag::Vector3d},
    };
}

ComponentIdentity ZRKRGBACombineComponents::identity()
{
    return {
        .className = "ZRKRGBACombineComponents",
        .typeName = "RGBACombineComponents",
        .uuid = "71DA975C-E73E-4252-8409-691DEF5031A4",
        .icon = IconResources::rgb_x_assemble,
        .strings = ZRKUIStrings::assemble_color(),
        .inputs = {Tag::Scalar}, // one, although there are four pins
        .outputs = {Tag::Color},
    };
}

} // namespace zrkmodel
