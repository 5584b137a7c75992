#include "components/coordinates/face_uvw.h"

#include "components/coordinates/position_kernel.h"
#include "model/channel_names.h"
#include "model/pins.h"

#include <cmath>

namespace zrkmodel {

namespace {

/// The triple (u as a share of its range, v as a share of its range, distance to the closest surface point).
struct FaceMeasure {
    static constexpr std::uint32_t kShape = 3;
    SurfaceParametrization surface;

    zrk::Tensor<3, double> operator()(const zrk::Tensor<3, double>& p, double&) const
    {
        zrk::Tensor<2, double> uv{};
        surface.closestParameters(uv, p);
        const zrk::Tensor<3, double> offset = surface.position(uv) - p;
        const auto [uMin, vMin] = surface.uvMin;
        const auto [uMax, vMax] = surface.uvMax;
        return {(uv[0] - uMin) * (1 / (uMax - uMin)), (uv[1] - vMin) * (1 / (vMax - vMin)),
                std::sqrt(dot(offset, offset))};
    }
};

} // namespace

ComponentIdentity ZRKFaceUVW::identity()
{
    return {
        .className = "ZRKFaceUVW",
        .typeName = "Face UVW",
        .uuid = "C68B78B3-58D5-4CBB-A5AE-D944CC69D379",
        .icon = IconResources::uvw_surface,
        .strings = ZRKUIStrings::surface_coordinates(),
        .inputs = {},
        .outputs = {Tag::Vector3d},
    };
}

void ZRKFaceUVW::onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node)
{
    addOutputPin(node, Tag::Vector3d, ChannelNames::pin_coords());
}

zrk::Evaluation ZRKFaceUVW::getEvaluatorForPin(const Pin_ref<1>&, const ZRKContext&) const
{
    const auto shape = geometryAs<IParametricSurface>(face);
    return shape ? zrk::measureEvaluator(FaceMeasure{shape->parametrization()}) : zrk::doNothing();
}

} // namespace zrkmodel
