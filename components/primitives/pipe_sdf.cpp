#include "components/primitives/pipe_sdf.h"

#include "components/distance_pins.h"

namespace zrkmodel {

ComponentIdentity ZRKPipeSDF::identity()
{
    return {
        .className = "ZRKPipeSDF",
        .typeName = "PipeSDF",
        .uuid = "5F0E65B0-DAE5-4B6A-A475-2471D28D1D08",
        .icon = IconResources::sc_sdf_curve,
        .strings = ZRKUIStrings::pipe_sdf(),
        .inputs = {Tag::Vector3d},
        .outputs = {Tag::Scalar},
    };
}

void ZRKPipeSDF::onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) { addDistancePins(node); }

zrk::Evaluation ZRKPipeSDF::getEvaluatorForPin(const Pin_ref<1>&, const ZRKContext&) const
{
    return zrk::doNothing();
}

} // namespace zrkmodel
