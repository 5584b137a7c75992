#include "components/transforms/twist_transform.h"

#include "components/position_pins.h"
#include "components/transforms/twist_transform_formula.h"
#include "core/engine/formula.h"

namespace zrkmodel {

ComponentIdentity ZRKTwistTransform::identity()
{
    return {
        .className = "ZRKTwistTransform",
        .typeName = "TwistTransform",
        .uuid = "C84CB689-1D93-4026-BBAE-3D6B2F5F29F4",
        .icon = IconResources::uvw_x_twist,
        .strings = ZRKUIStrings::twist(),
        .inputs = {Tag::Vector3d},
        .outputs = {Tag::Vector3d},
    };
}

void ZRKTwistTransform::onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) { addPositionPins(node); }

// Documents hold the values in another order than the class does.
void ZRKTwistTransform::onSerialize(ZRKSerialization& s) const
{
    angle.serialize(s);
    axis.serialize(s);
    center.serialize(s);
}

void ZRKTwistTransform::onDeserialize(const ZRKDeserialization& d)
{
    angle.deserialize(d);
    axis.deserialize(d);
    center.deserialize(d);
}

zrk::Evaluation ZRKTwistTransform::getEvaluatorForPin(const Pin_ref<1>&, const ZRKContext&) const
{
    return zrk::evaluator(zrk::TwistPosition::about(center.value(), axis.value(), angle.value()));
}

} // namespace zrkmodel
