#include "components/coordinates/curve_uvw.h"

#include "components/coordinates/curve_measures.h"
#include "components/coordinates/position_kernel.h"
#include "model/channel_names.h"
#include "model/pins.h"

namespace zrkmodel {

ComponentIdentity ZRKCurveUVW::identity()
{
    return {
        .className = "ZRKCurveUVW",
        .typeName = "Curve UVW",
        .uuid = "BEF9FB2E-3341-45CA-A705-8095C01BAE92",
        .icon = IconResources::uvw_curve2,
        .strings = ZRKUIStrings::curve_coordinates(),
        .inputs = {},
        .outputs = {Tag::Vector3d},
    };
}

void ZRKCurveUVW::onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node)
{
    addOutputPin(node, Tag::Vector3d, ChannelNames::pin_coords());
}

zrk::Evaluation ZRKCurveUVW::getEvaluatorForPin(const Pin_ref<1>&, const ZRKContext&) const
{
    const auto shape = geometryAs<IParametricCurve>(curve);
    if (!shape) {
        return zrk::doNothing();
    }
    const CurveParametrization record = shape->parametrization();
    const double scale = normalizeLength.value() ? 1 / record.length : 1;
    if (mode.value() == Mode::extrude) {
        return zrk::measureEvaluator(ExtrudeMeasure{record, scale});
    }
    return zrk::measureEvaluator(WrapMeasure{record, scale});
}

} // namespace zrkmodel
