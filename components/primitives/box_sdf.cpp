#include "components/primitives/box_sdf.h"

#include "components/distance_pins.h"
#include "components/primitives/box_sdf_formula.h"
#include "core/engine/formula.h"

namespace zrkmodel {

ComponentIdentity ZRKBoxSDF::identity()
{
    return {
        .className = "ZRKBoxSDF",
        .typeName = "BoxSDF",
        .uuid = "643A5F35-7A73-481F-8D10-DACAA3EF38AB",
        .icon = IconResources::sc_sdf_box,
        .strings = ZRKUIStrings::box_sdf(),
        .inputs = {Tag::Vector3d},
        .outputs = {Tag::Scalar},
    };
}

void ZRKBoxSDF::onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) { addDistancePins(node); }

zrk::Evaluation ZRKBoxSDF::getEvaluatorForPin(const Pin_ref<1>&, const ZRKContext&) const
{
    if (wireframe.value()) {
        return zrk::evaluator(
            zrk::WireframeBoxDistance::around(center.value(), dimensions.value(), edgeThickness.value()));
    }
    return zrk::evaluator(zrk::BoxDistance::rounded(center.value(), dimensions.value(), radius.value()));
}

} // namespace zrkmodel
