#include "components/coordinates/cylinder_uvw.h"

#include "components/coordinates/cylinder_uvw_formula.h"
#include "components/position_pins.h"
#include "core/engine/formula.h"

namespace zrkmodel {

ComponentIdentity ZRKCylinderUVW::identity()
{
    return {
        .className = "ZRKCylinderUVW",
        .typeName = "CylinderUVW",
        .uuid = "98790207-7A9E-47EF-B7CB-A9676CDBEF08",
        .icon = IconResources::uvw_cylinder,
        .strings = ZRKUIStrings::cylindrical_coordinates(),
        .inputs = {Tag::Vector3d},
        .outputs = {Tag::Vector3d},
    };
}

void ZRKCylinderUVW::onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) { addPositionPins(node); }

zrk::Evaluation ZRKCylinderUVW::getEvaluatorForPin(const Pin_ref<1>&, const ZRKContext&) const
{
    using zrk::CylinderCoordinates;
    using zrk::CylinderEnds;
    const auto axis = zrk::CylinderAxis::between(startPoint.value(), endPoint.value());
    if (capStyle.value() == CapStyle::none) {
        return zrk::evaluator(CylinderCoordinates<CylinderEnds::Infinite>{axis, startRadius.value(),
                                                                          endRadius.value(), twist.value()});
    }
    return zrk::evaluator(CylinderCoordinates<CylinderEnds::Round>{axis, startRadius.value(),
                                                                   endRadius.value(), twist.value()});
}

void ZRKCylinderUVW::onSerialize(ZRKSerialization& s) const
{
    startPoint.serialize(s);
    endPoint.serialize(s);
    startRadius.serialize(s);
    endRadius.serialize(s);
    capStyle.serialize(s);
    twist.serialize(s);
    inverse.serialize(s);
}

void ZRKCylinderUVW::onDeserialize(const ZRKDeserialization& d)
{
    startPoint.deserialize(d);
    endPoint.deserialize(d);
    startRadius.deserialize(d);
    endRadius.deserialize(d);
    capStyle.deserialize(d);
    twist.deserialize(d);
    inverse.deserialize(d);
}

} // namespace zrkmodel
