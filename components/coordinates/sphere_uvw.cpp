#include "components/coordinates/sphere_uvw.h"

#include "components/coordinates/sphere_uvw_formula.h"
#include "components/position_pins.h"
#include "core/engine/formula.h"

namespace zrkmodel {

ComponentIdentity ZRKSphereUVW::identity()
{
    return {
        .className = "ZRKSphereUVW",
        .typeName = "ZRKSphereUVW",
        .uuid = "65FE6E5A-E3F7-4C12-89E7-3B899AEDA5B4",
        .icon = IconResources::uvw_sphere,
        .strings = ZRKUIStrings::spherical_coordinates(),
        .inputs = {Tag::Vector3d},
        .outputs = {Tag::Vector3d},
    };
}

void ZRKSphereUVW::onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) { addPositionPins(node); }

zrk::Evaluation ZRKSphereUVW::getEvaluatorForPin(const Pin_ref<1>&, const ZRKContext&) const
{
    if (inverse.value()) {
        return zrk::evaluator(zrk::SpherePosition{center.value(), radius.value()});
    }
    return zrk::evaluator(zrk::SphereCoordinates{center.value(), radius.value()});
}

} // namespace zrkmodel
