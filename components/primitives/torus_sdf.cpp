#include "components/primitives/torus_sdf.h"

#include "components/distance_pins.h"
#include "components/primitives/torus_sdf_formula.h"
#include "core/engine/formula.h"

namespace zrkmodel {

ComponentIdentity ZRKTorusSDF::identity()
{
    return {
        .className = "ZRKTorusSDF",
        .typeName = "TorusSDF",
        .uuid = "890BF42A-366D-47B9-BE62-4007C09F9710",
        .icon = IconResources::sc_sdf_torus,
        .strings = ZRKUIStrings::torus_sdf(),
        .inputs = {Tag::Vector3d},
        .outputs = {Tag::Scalar},
    };
}

void ZRKTorusSDF::onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) { addDistancePins(node); }

// Documents hold the values in another order than the class does.
void ZRKTorusSDF::onSerialize(ZRKSerialization& s) const
{
    ringRadius.serialize(s);
    tubeRadius.serialize(s);
    center.serialize(s);
}

void ZRKTorusSDF::onDeserialize(const ZRKDeserialization& d)
{
    ringRadius.deserialize(d);
    tubeRadius.deserialize(d);
    center.deserialize(d);
}

zrk::Evaluation ZRKTorusSDF::getEvaluatorForPin(const Pin_ref<1>&, const ZRKContext&) const
{
    return zrk::evaluator(zrk::TorusDistance{center.value(), ringRadius.value(), tubeRadius.value()});
}

} // namespace zrkmodel
