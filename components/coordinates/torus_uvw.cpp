#include "components/coordinates/torus_uvw.h"

#include "components/categories.h"
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
        .icon = icon<IconColor::Vector, 0x3C7EFFE7E7FF7E3C>("uvw_torus"),
        .strings = {"toroidal_coordinates", "Toroidal coordinates",
                    "Expresses a position in the coordinates of a torus.", category::kCoordinates},
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
