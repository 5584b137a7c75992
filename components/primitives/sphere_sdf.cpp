#include "components/primitives/sphere_sdf.h"

#include "components/distance_pins.h"
#include "components/primitives/sphere_sdf_formula.h"
#include "core/engine/formula.h"

namespace zrkmodel {

ComponentIdentity ZRKSphereSDF::identity()
{
    return {
        .className = "ZRKSphereSDF",
        .typeName = "SphereSDF",
        .uuid = "6E8C3D87-C1B8-4F58-A88A-E8E774076AFF",
        .icon = IconResources::sc_sdf_sphere,
        .strings = ZRKUIStrings::sphere_sdf(),
        .inputs = {Tag::Vector3d},
        .outputs = {Tag::Scalar},
    };
}

void ZRKSphereSDF::onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) { addDistancePins(node); }

zrk::Evaluation ZRKSphereSDF::getEvaluatorForPin(const Pin_ref<1>&, const ZRKContext&) const
{
    return zrk::evaluator(zrk::SphereDistance{center.value(), radius.value()});
}

} // namespace zrkmodel
