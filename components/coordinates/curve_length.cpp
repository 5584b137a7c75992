#include "components/coordinates/curve_length.h"

#include "components/coordinates/curve_measures.h"
#include "components/coordinates/position_kernel.h"
#include "model/channel_names.h"
#include "model/pins.h"

namespace zrkmodel {

ComponentIdentity ZRKCurveLength::identity()
{
    return {
        .className = "ZRKCurveLength",
        .typeName = "Curve Length",
        .uuid = "659C17DF-6560-4ADD-B4D3-0378730CE97F",
        .icon = IconResources::sc_curve_gradient,
        .strings = ZRKUIStrings::curve_length_gradient(),
        .inputs = {},
        .outputs = {Tag::Scalar},
    };
}

void ZRKCurveLength::onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node)
{
    addOutputPin(node, Tag::Scalar, ChannelNames::pin_density());
}

zrk::Evaluation ZRKCurveLength::getEvaluatorForPin(const Pin_ref<1>&, const ZRKContext&) const
{
    const auto shape = geometryAs<IParametricCurve>(curve);
    if (!shape) {
        return zrk::doNothing();
    }
    const CurveParametrization record = shape->parametrization();
    if (useLength.value()) {
        return zrk::measureEvaluator(LengthMeasure{record, normalize.value() ? 1 / shape->length() : 1});
    }
    return zrk::measureEvaluator(ParameterMeasure{record, normalize.value()});
}

} // namespace zrkmodel
