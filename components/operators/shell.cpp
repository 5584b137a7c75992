#include "components/operators/shell.h"

#include "components/operators/levelset_formula.h"
#include "core/engine/formula.h"
#include "model/channel_names.h"
#include "model/pins.h"

namespace zrkmodel {

ComponentIdentity ZRKShell::identity()
{
    return {
        .className = "ZRKShell",
        .typeName = "Shell",
        .uuid = "B00F743F-1B53-4430-BB0D-8C729EBC099B",
        .icon = IconResources::sc_x_shell,
        .strings = ZRKUIStrings::shell(),
        .inputs = {Tag::Scalar}, // one, although there are three pins
        .outputs = {Tag::Scalar},
    };
}

void ZRKShell::onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node)
{
    addInputPin(node, Tag::Scalar, ChannelNames::pin_sdf());
    addDefaultedInputPin(node, Tag::Scalar, "offset", 1.0);
    addDefaultedInputPin(node, Tag::Scalar, "thickness", 1.0);
    addOutputPin(node, Tag::Scalar, ChannelNames::pin_sdf());
}

zrk::Evaluation ZRKShell::getEvaluatorForPin(const Pin_ref<1>&, const ZRKContext&) const
{
    using Distance = zrk::ShellDistance<zrk::LevelSetKind::distance>;
    using Density = zrk::ShellDistance<zrk::LevelSetKind::density>;
    const double level = offset.value();
    const double inner = innerThickness.value();
    const double outer = outerThickness.value();
    return asDensity.value() ? zrk::evaluator(Density::between(level, inner, outer))
                             : zrk::evaluator(Distance::between(level, inner, outer));
}

} // namespace zrkmodel
