#include "components/operators/fall_off.h"

#include "components/categories.h"
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
        .icon = icon<IconColor::Scalar, 0x80C0E0F0F8FCFEFF>("sc_x_falloff"),
        .strings = {"falloff_gradient", "Fall-off", "Maps a distance to a density by an editable curve.",
                    category::kOperators},
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
