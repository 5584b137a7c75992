#include "components/transforms/split_components.h"

#include "components/transforms/component_pins.h"
#include "core/engine/evaluation_context.h"
#include "model/pins.h"

namespace zrkmodel {

namespace {

/// Gives one component of an N-component record, with the record's weight. In a block nothing is copied.
template <int N>
class OneComponent final : public zrk::Kernel {
public:
    explicit OneComponent(std::size_t index) : _index(index) {}

    void sample(zrk::EvaluationContext& context) const override
    {
        const double* record = context.readInput(0);
        context.writeOutput(record[_index], record[N]);
    }
    void block(zrk::BlockRun& run) const override
    {
        run.forwardRow(0, run.input(0), _index);
        run.forwardWeights(run.input(0));
    }
    bool bounds(zrk::BoxRun& run) const override
    {
        run.forwardRow(0, run.input(0), _index);
        run.forwardWeights(run.input(0));
        return true;
    }

private:
    std::size_t _index;
};

} // namespace

template <int N>
void ZRKSplitComponents<N>::onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node)
{
    addInputPin(node, ComponentPins<N>::tag, ComponentPins<N>::name());
    for (const std::string& component : ComponentPins<N>::components()) {
        addOutputPin(node, Tag::Scalar, component);
    }
}

template <int N>
zrk::Evaluation ZRKSplitComponents<N>::getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext&) const
{
    return zrk::Evaluator(std::make_shared<OneComponent<N>>(pin.handle.index()));
}

template class ZRKSplitComponents<3>;
template class ZRKSplitComponents<4>;

ComponentIdentity ZRKVector3SplitComponents::identity()
{
    return {
        .className = "ZRKVector3SplitComponents",
        .typeName = "Vector3SplitComponents",
        .uuid = "FFC2A888-571E-415E-A0B7-1287877D793C",
        .icon = IconResources::uvw_x_split,
        .strings = ZRKUIStrings::split_vector(),
        .inputs = {Tag::Vector3d},
        .outputs = {Tag::Scalar}, // one, although there are three pins
    };
}

ComponentIdentity ZRKRGBASplitComponents::identity()
{
    return {
        .className = "ZRKRGBASplitComponents",
        .typeName = "RGBASplitComponents",
        .uuid = "5C9C3D16-3A8E-4307-B13A-75D9C11CF3A6",
        .icon = IconResources::rgb_x_split,
        .strings = ZRKUIStrings::split_color(),
        .inputs = {Tag::Color},
        .outputs = {Tag::Scalar}, // one, although there are four pins
    };
}

} // namespace zrkmodel
