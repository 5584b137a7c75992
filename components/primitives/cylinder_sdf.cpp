#include "components/primitives/cylinder_sdf.h"

#include "components/distance_pins.h"
#include "components/primitives/cylinder_sdf_formula.h"
#include "core/engine/formula.h"

namespace zrkmodel {

ComponentIdentity ZRKCylinderSDF::identity()
{
    return {
        .className = "ZRKCylinderSDF",
        .typeName = "CylinderSDF",
        .uuid = "30011FD2-A3B6-4C43-A917-5F5D83C4F37A",
        .icon = IconResources::sc_sdf_cylinder,
        .strings = ZRKUIStrings::cylinder_sdf(),
        .inputs = {Tag::Vector3d},
        .outputs = {Tag::Scalar},
    };
}

void ZRKCylinderSDF::onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) { addDistancePins(node); }

zrk::Evaluation ZRKCylinderSDF::getEvaluatorForPin(const Pin_ref<1>&, const ZRKContext&) const
{
    const auto cylinder = zrk::TaperedCylinder::between(startPoint.value(), endPoint.value(),
                                                        startRadius.value(), endRadius.value());
    switch (capStyle.value()) {
    case CapStyle::none:
        return zrk::evaluator(zrk::OpenCylinderDistance{cylinder});
    case CapStyle::flat:
        return zrk::evaluator(zrk::FlatCylinderDistance{cylinder});
    default: // documents may hold any number
        return zrk::evaluator(zrk::RoundCylinderDistance(cylinder));
    }
}

} // namespace zrkmodel
