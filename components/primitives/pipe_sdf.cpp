#include "components/primitives/pipe_sdf.h"

#include "components/distance_pins.h"

namespace zrkmodel {

ComponentIdentity ZRKPipeSDF::identity()
{
    return {"ZRKPipeSDF",
            "PipeSDF",
            "5F0E65B0-DAE5-4B6A-A475-2471D28D1D08",
            IconResources::sc_sdf_curve,
            &ZRKUIStrings::pipe_sdf,
            {Tag::Vector3d},
            {Tag::Scalar}};
}

void ZRKPipeSDF::onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) { addDistancePins(node); }

zrk::Evaluation ZRKPipeSDF::getEvaluatorForPin(const Pin_ref<1>&, const ZRKContext&) const
{
    return zrk::doNothing();
}

} // namespace zrkmodel
