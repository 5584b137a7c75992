#include "components/primitives/plane_sdf.h"

#include "components/distance_pins.h"
#include "components/primitives/plane_sdf_formula.h"
#include "core/engine/formula.h"

namespace zrkmodel {

ComponentIdentity ZRKPlaneSDF::identity()
{
    return {
        .className = "ZRKPlaneSDF",
        .typeName = "PlaneSDF",
        .uuid = "70E951B9-FC76-416E-9A80-B6A070DC68F3",
        .icon = IconResources::sc_sdf_plane,
        .strings = ZRKUIStrings::plane_sdf(),
        .inputs = {Tag::Vector3d},
        .outputs = {Tag::Scalar},
    };
}

void ZRKPlaneSDF::onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) { addDistancePins(node); }

zrk::Evaluation ZRKPlaneSDF::getEvaluatorForPin(const Pin_ref<1>&, const ZRKContext&) const
{
    return zrk::evaluator(zrk::PlaneDistance::through(origin.value(), normal.value()));
}

} // namespace zrkmodel
