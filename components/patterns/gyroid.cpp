#include "components/patterns/gyroid.h"

#include "components/categories.h"
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
        .icon = icon<IconColor::Pattern, 0xFF310004CEFF7100>("pattern_gyroid"),
        .strings = {"gyroid_pattern", "Gyroid", "A gyroid, repeated in all directions.", category::kPatterns},
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
