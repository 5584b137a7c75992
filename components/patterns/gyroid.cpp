#include "components/patterns/gyroid.h"

#include "components/patterns/density_pins.h"
#include "components/patterns/gyroid_formula.h"
#include "core/engine/formula.h"

namespace zrkmodel {

ComponentIdentity ZRKGyroid::identity()
{
    return {
        .className = "ZRKGyroid",
        .typeName = "Gyroid",
        .uuid = "D5364AB6-2EC3-4FDD-93B9-A8EDA9026EC8",
        .icon = IconResources::pattern_gyroid,
        .strings = ZRKUIStrings::gyroid_pattern(),
        .inputs = {Tag::Vector3d},
        .outputs = {Tag::Scalar},
    };
}

void ZRKGyroid::onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) { addDensityPins(node); }

zrk::Evaluation ZRKGyroid::getEvaluatorForPin(const Pin_ref<1>&, const ZRKContext&) const
{
    return zrk::evaluator(zrk::GyroidDensity::withContour(contour.value()));
}

} // namespace zrkmodel
