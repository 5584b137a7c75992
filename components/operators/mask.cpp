#include "components/operators/mask.h"

#include "components/operators/mask_formula.h"
#include "model/pins.h"

namespace zrkmodel {

ComponentIdentity ZRKMask::identity()
{
    return {"ZRKMask",
            "mask", // lower case: documents carry it
            "4B550F53-36E0-44FE-A3AE-6794BD09FFF0",
            IconResources::comp_x_mask,
            &ZRKUIStrings::apply_mask,
            {Tag::Any}, // one, although there are two pins
            {Tag::Any}};
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
    return makeForTag(effectiveTag(pin), [this](auto n) {
        return replace.value() ? zrk::evaluator(zrk::Masking<MaskMode::replace, n()>{multiplier.value()})
                               : zrk::evaluator(zrk::Masking<MaskMode::lower, n()>{multiplier.value()});
    });
}

} // namespace zrkmodel
