#include "components/patterns/cross.h"

#include "components/patterns/cross_formula.h"
#include "components/patterns/density_pins.h"
#include "core/engine/formula.h"

namespace zrkmodel {

ComponentIdentity ZRKCross::identity()
{
    return {
        .className = "ZRKCross",
        .typeName = "Cross",
        .uuid = "E22BE999-A552-4034-ADA4-2DB5E2AF90C7",
        .icon = IconResources::pattern_cross,
        .strings = ZRKUIStrings::tricross_pattern(),
        .inputs = {Tag::Vector3d},
        .outputs = {Tag::Scalar},
    };
}

void ZRKCross::onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) { addDensityPins(node); }

// Documents hold the values in another order than the class does.
void ZRKCross::onSerialize(ZRKSerialization& s) const
{
    thicknessRatios.serialize(s);
    smoothness.serialize(s);
}

void ZRKCross::onDeserialize(const ZRKDeserialization& d)
{
    thicknessRatios.deserialize(d);
    smoothness.deserialize(d);
}

zrk::Evaluation ZRKCross::getEvaluatorForPin(const Pin_ref<1>&, const ZRKContext&) const
{
    constexpr double kHardUpTo = 0.0001;
    const auto bars = zrk::CrossBars::withThickness(thicknessRatios.value());
    if (smoothness.value() <= kHardUpTo) {
        return zrk::evaluator(zrk::HardCrossDensity{bars});
    }
    return zrk::evaluator(zrk::SmoothCrossDensity::withSmoothness(bars, smoothness.value()));
}

} // namespace zrkmodel
