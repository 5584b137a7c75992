#include "components/operators/mask.h"

#include "components/operators/mask_formula.h"
#include "model/pins.h"

namespace zrkmodel {

ComponentIdentity ZRKMask::identity()
{
    return {
        .className = "ZRKMask",
        .typeName = "mask", // lower case: documents carry it
        .uuid = "4B550F53-36E0-44FE-A3AE-6794BD09FFF0",
        .icon = IconResources::comp_x_mask,
        .strings = ZRKUIStrings::apply_mask(),
        .inputs = {Tag::Any}, // one, although there are two pins
        .outputs = {Tag::Any},
    };
}

void ZRKMask::onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node)
{
    addInputPin(node, Tag::Any, "f");
    addInputPin(node, Tag::Scalar, "mask");
    addOutputPin(node, Tag::Any, "masked(f)");
}

Tag ZRKMask::queryEffectiveOutputPinTag(const Pin_ref<1>& pin) { return effectiveTag(inputPin(pin.node, 0)); }

zrk::Evaluation ZRKMask::getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext&) const
{
    using zrk::MaskMode;
    using Arguments = zrk::FromSecondInputFirst;
    return makeForTag(effectiveTag(pin), [this](auto n) {
        const double factor = multiplier.value();
        return replace.value() ? zrk::evaluator<Arguments>(zrk::Masking<MaskMode::replace, n()>{factor})
                               : zrk::evaluator<Arguments>(zrk::Masking<MaskMode::lower, n()>{factor});
    });
}

} // namespace zrkmodel
