#include "components/transforms/bend_transform.h"

#include "components/position_pins.h"
#include "components/transforms/bend_transform_formula.h"
#include "core/engine/formula.h"

namespace zrkmodel {

ComponentIdentity ZRKBendTransform::identity()
{
    return {
        .className = "ZRKBendTransform",
        .typeName = "BendTransform",
        .uuid = "56344C70-CEF0-4CF9-89FB-80A636B9C76C",
        .icon = IconResources::uvw_x_bend,
        .strings = ZRKUIStrings::bend(),
        .inputs = {Tag::Vector3d},
        .outputs = {Tag::Vector3d},
    };
}

void ZRKBendTransform::onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) { addPositionPins(node); }

zrk::Evaluation ZRKBendTransform::getEvaluatorForPin(const Pin_ref<1>&, const ZRKContext&) const
{
    return zrk::evaluator(
        zrk::BendPosition::about(center.value(), axis.value(), bendDirection.value(), angle.value()));
}

} // namespace zrkmodel
