#include "components/transforms/norm_vec3.h"

#include "core/engine/formula.h"
#include "model/channel_names.h"
#include "model/pins.h"

namespace zrkmodel {

namespace {

struct Length {
    template <class V>
    V operator()(const zrk::Tensor<3, V>& v) const
    {
        return sqrt(dot(v, v));
    }
};

} // namespace

ComponentIdentity ZRKNormVec3::identity()
{
    return {
        .className = "ZRKNormVec3",
        .typeName = "NormVec3",
        .uuid = "8436CEDC-2A2B-4F7A-A41D-B82B8428CA91",
        .icon = IconResources::uvw_x_vector_norm,
        .strings = ZRKUIStrings::norm_of_vector(),
        .inputs = {Tag::Vector3d},
        .outputs = {Tag::Scalar},
    };
}

void ZRKNormVec3::onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node)
{
    addInputPin(node, Tag::Vector3d, ChannelNames::pin_coords());
    addOutputPin(node, Tag::Scalar, "norm");
}

zrk::Evaluation ZRKNormVec3::getEvaluatorForPin(const Pin_ref<1>&, const ZRKContext&) const
{
    return zrk::evaluator(Length{});
}

} // namespace zrkmodel
