#include "components/transforms/quantize_transform.h"

#include "components/position_pins.h"
#include "components/transforms/quantize_transform_formula.h"
#include "core/engine/formula.h"

namespace zrkmodel {

ComponentIdentity ZRKQuantizeTransform::identity()
{
    return {
        .className = "ZRKQuantizeTransform",
        .typeName = "QuantizeTransform",
        .uuid = "115C2121-9BF9-416D-A8D4-51CE55819748",
        .icon = IconResources::uvw_x_quantize,
        .strings = ZRKUIStrings::voxelate(),
        .inputs = {Tag::Vector3d},
        .outputs = {Tag::Vector3d},
    };
}

void ZRKQuantizeTransform::onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node)
{
    addPositionPins(node);
}

// Documents hold the values in another order than the class does.
void ZRKQuantizeTransform::onSerialize(ZRKSerialization& s) const
{
    strength.serialize(s);
    shift.serialize(s);
    step.serialize(s);
}

void ZRKQuantizeTransform::onDeserialize(const ZRKDeserialization& d)
{
    strength.deserialize(d);
    shift.deserialize(d);
    step.deserialize(d);
}

zrk::Evaluation ZRKQuantizeTransform::getEvaluatorForPin(const Pin_ref<1>&, const ZRKContext&) const
{
    return zrk::evaluator(zrk::QuantizePosition::toLattice(strength.value(), step.value(), shift.value()));
}

} // namespace zrkmodel
