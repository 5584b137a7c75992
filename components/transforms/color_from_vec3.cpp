#include "components/transforms/color_from_vec3.h"

#include "core/engine/formula.h"
#include "model/channel_names.h"
#include "model/pins.h"

namespace zrkmodel {

namespace {

struct OpaqueColor {
    template <class V>
    zrk::Tensor<4, V> operator()(const zrk::Tensor<3, V>& rgb) const
    {
        return {rgb[0], rgb[1], rgb[2], V(1.0)};
    }
};

struct ColorWithAlpha {
    template <class V>
    zrk::Tensor<4, V> operator()(const zrk::Tensor<3, V>& rgb, const V& alpha) const
    {
        return {rgb[0], rgb[1], rgb[2], alpha};
    }
};

} // namespace

ComponentIdentity ZRKColorFromVec3::identity()
{
    return {
        .className = "ZRKColorFromVec3",
        .typeName = "ColorFromVec3",
        .uuid = "031925FC-C101-4C3E-A80D-0D0F3AB4E05E", // as ZRKNormalizeVec3: documents carry it
        .icon = IconResources::rgb_x_from_uvw,
        .strings = ZRKUIStrings::color_from_vector(),
        .inputs = {Tag::Vector3d},
        .outputs = {Tag::Color},
    };
}

void ZRKColorFromVec3::onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node)
{
    addInputPin(node, Tag::Vector3d, "rgb");
    addDefaultedInputPin(node, Tag::Scalar, "alpha", 1.0);
    addOutputPin(node, Tag::Color, ChannelNames::pin_color());
}

zrk::Evaluation ZRKColorFromVec3::getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext&) const
{
    if (isConnected(inputPin(pin.node, 1))) {
        return zrk::evaluator(ColorWithAlpha{});
    }
    return zrk::evaluator(OpaqueColor{});
}

} // namespace zrkmodel
