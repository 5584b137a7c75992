#include "components/coordinates/torus_uvw.h"

#include "components/coordinates/torus_uvw_formula.h"
#include "components/position_pins.h"
#include "core/engine/formula.h"

namespace zrkmodel {

ComponentIdentity ZRKTorusUVW::identity()
{
    return {
        .className = "ZRKTorusUVW",
        .typeName = "ZRKTorusUVW",
        .uuid = "B1360CF0-36E7-4B0E-9A94-6814A5137397",
        .icon = IconResources::uvw_torus,
        .strings = ZRKUIStrings::toroidal_coordinates(),
        .inputs = {Tag::Vector3d},
        .outputs = {Tag::Vector3d},
    };
}

void ZRKTorusUVW::onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) { addPositionPins(node); }

zrk::Evaluation ZRKTorusUVW::getEvaluatorForPin(const Pin_ref<1>&, const ZRKContext&) const
{
    return zrk::evaluator(zrk::TorusCoordinates{center.value(), ringRadius.value(), tubeRadius.value()});
}

void ZRKTorusUVW::onSerialize(ZRKSerialization& s) const
{
    ringRadius.serialize(s);
    tubeRadius.serialize(s);
    center.serialize(s);
    inverse.serialize(s);
}

void ZRKTorusUVW::onDeserialize(const ZRKDeserialization& d)
{
    ringRadius.deserialize(d);
    tubeRadius.deserialize(d);
    center.deserialize(d);
    inverse.deserialize(d);
}

} // namespace zrkmodel
