#include "components/operators/invert.h"

#include "components/operators/levelset_formula.h"
#include "core/engine/formula.h"
#include "model/pins.h"

namespace zrkmodel {

ComponentIdentity ZRKInvert::identity()
{
    return {
        .className = "ZRKInvert",
        .typeName = "Invert", // as ZRKLevelsetIsoValue: the UUID tells them apart
        .uuid = "BD624C1E-A801-44C6-954A-14A44BE779BB",
        .icon = IconResources::sc_x_invert,
        .strings = ZRKUIStrings::invert(),
        .inputs = {Tag::Scalar},
        .outputs = {Tag::Scalar},
    };
}

void ZRKInvert::onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node)
{
    addInputPin(node, Tag::Scalar, "");
    addOutputPin(node, Tag::Scalar, "");
}

zrk::Evaluation ZRKInvert::getEvaluatorForPin(const Pin_ref<1>&, const ZRKContext&) const
{
    return zrk::evaluator(zrk::Inversion{});
}

} // namespace zrkmodel
