#include "components/operators/levelset_iso_value.h"

#include "components/operators/levelset_formula.h"
#include "core/engine/formula.h"
#include "model/channel_names.h"
#include "model/pins.h"

namespace zrkmodel {

ComponentIdentity ZRKLevelsetIsoValue::identity()
{
    return {
        .className = "ZRKLevelsetIsoValue",
        .typeName = "Invert", // as ZRKInvert: the UUID tells them apart
        .uuid = "A72F2EDE-422B-487F-8CBB-4642CA90A7E7",
        .icon = IconResources::sc_x_levelset_from_density,
        .strings = ZRKUIStrings::density_to_levelset(),
        .inputs = {Tag::Scalar},
        .outputs = {Tag::Scalar},
    };
}

void ZRKLevelsetIsoValue::onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node)
{
    addInputPin(node, Tag::Scalar, ChannelNames::pin_density());
    addOutputPin(node, Tag::Scalar, ChannelNames::pin_sdf());
}

zrk::Evaluation ZRKLevelsetIsoValue::getEvaluatorForPin(const Pin_ref<1>&, const ZRKContext&) const
{
    return invertInterior.value() ? zrk::evaluator(zrk::InvertedIsoDistance{isoValue.value()})
                                  : zrk::evaluator(zrk::IsoDistance{isoValue.value()});
}

} // namespace zrkmodel
