#include "components/operators/multiply.h"

#include "components/operators/multiply_formula.h"
#include "core/engine/formula.h"
#include "model/pins.h"

namespace zrkmodel {

ComponentIdentity ZRKMultiply::identity()
{
    return {
        .className = "ZRKMultiply",
        .typeName = "Multiply",
        .uuid = "CD969AF7-D5C0-40A0-B03C-A59C0E3BA1F4",
        .icon = IconResources::comp_x_multiply_scalar,
        .strings = ZRKUIStrings::multiply_with_scalar(),
        .inputs = {Tag::Any}, // one, although there are two pins
        .outputs = {Tag::Any},
    };
}

void ZRKMultiply::onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node)
{
    addInputPin(node, Tag::Any, "a");
    addDefaultedInputPin(node, Tag::Scalar, "b", 1.0);
    addOutputPin(node, Tag::Any, "a*b");
}

Tag ZRKMultiply::queryEffectiveOutputPinTag(const Pin_ref<1>& pin)
{
    return effectiveTag(inputPin(pin.node, 0));
}

zrk::Evaluation ZRKMultiply::getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext&) const
{
    const bool byField = isConnected(inputPin(pin.node, 1));
    return makeForTag(effectiveTag(pin), [&](auto n) {
        return byField ? zrk::evaluator(zrk::ScalingByField<n()>{multiplier.value()})
                       : zrk::evaluator(zrk::Scaling<n()>{multiplier.value()});
    });
}

} // namespace zrkmodel
