#include "components/transforms/apply_transform.h"

#include "core/engine/evaluation_context.h"
#include "model/channel_names.h"
#include "model/pins.h"

namespace zrkmodel {

namespace {

constexpr std::size_t kCoordinates = 0;
constexpr std::size_t kField = 1;

/// Hands on the record of the field as it is: N components and the weight.
template <std::uint32_t N>
class ForwardField final : public zrk::Kernel {
public:
    void sample(zrk::EvaluationContext& context) const override
    {
        const double* record = context.readInput(kField);
        zrk::Tensor<N, double> value;
        std::copy_n(record, N, value.begin());
        context.writeOutput(value, record[N]);
    }
    void block(zrk::BlockRun& run) const override { run.forward(run.input(kField)); }
    bool bounds(zrk::BoxRun& run) const override
    {
        run.forward(run.input(kField));
        return true;
    }
};

} // namespace

ComponentIdentity ZRKApplyTransform::identity()
{
    return {
        .className = "ZRKApplyTransform",
        .typeName = "ApplyTransform",
        .uuid = "AB6F6413-0642-4CEE-9880-BBFDE9019667",
        .icon = IconResources::uvw_x_apply_instance,
        .strings = ZRKUIStrings::apply_transformation(),
        .inputs = {Tag::Vector3d, Tag::Any},
        .outputs = {Tag::Vector3d}, // although the pin is a wildcard
    };
}

void ZRKApplyTransform::onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node)
{
    addInputPin(node, Tag::Vector3d, ChannelNames::pin_coords());
    addInputPin(node, Tag::Any, "");
    addOutputPin(node, Tag::Any, "");
}

Tag ZRKApplyTransform::queryEffectiveOutputPinTag(const Pin_ref<1>& pin)
{
    return effectiveTag(inputPin(pin.node, kField));
}

zrk::Evaluation ZRKApplyTransform::getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext&) const
{
    const auto forward = [](auto n) -> zrk::Evaluation {
        return zrk::Evaluator(std::make_shared<ForwardField<n()>>());
    };
    return makeForTag(effectiveTag(pin), forward, zrk::doNothing());
}

std::optional<std::size_t> ZRKApplyTransform::coordinatesInput(std::size_t k) const
{
    return k == kField ? std::optional(kCoordinates) : std::nullopt;
}

} // namespace zrkmodel
