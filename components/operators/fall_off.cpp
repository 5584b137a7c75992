#include "components/operators/fall_off.h"

#include "core/engine/formula.h"
#include "model/channel_names.h"
#include "model/pins.h"

namespace zrkmodel {

ComponentIdentity ZRKFallOff::identity()
{
    return {
        .className = "ZRKFallOff",
        .typeName = "FallOff",
        .uuid = "2D1DEAEA-8E22-4856-8261-07E67671B5C7",
        .icon = IconResources::sc_x_falloff,
        .strings = ZRKUIStrings::falloff_gradient(),
        .inputs = {Tag::Scalar},
        .outputs = {Tag::Scalar},
    };
}

void ZRKFallOff::onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node)
{
    addInputPin(node, Tag::Scalar, ChannelNames::pin_sdf());
    addOutputPin(node, Tag::Scalar, "");
}

zrk::Evaluation ZRKFallOff::getEvaluatorForPin(const Pin_ref<1>&, const ZRKContext&) const
{
    return zrk::evaluator(function.value());
}

} // namespace zrkmodel
