#include "components/transforms/normalize_vec3.h"

#include "core/engine/formula.h"
#include "model/channel_names.h"
#include "model/pins.h"

namespace zrkmodel {

namespace {

struct Direction {
    template <class V>
    zrk::Tensor<3, V> operator()(const zrk::Tensor<3, V>& v) const
    {
        return zrk::normalized(v);
    }
};

} // namespace

ComponentIdentity ZRKNormalizeVec3::identity()
{
    return {
        .className = "ZRKNormalizeVec3",
        .typeName = "NormalizeVec3",
        .uuid = "031925FC-C101-4C3E-A80D-0D0F3AB4E05E", // ZRKColorFromVec3 has the same
        .icon = IconResources::uvw_x_vector_normalize,
        .strings = ZRKUIStrings::normalize_vector(),
        .inputs = {Tag::Vector3d},
        .outputs = {Tag::Vector3d},
    };
}

void ZRKNormalizeVec3::onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node)
{
    addInputPin(node, Tag::Vector3d, ChannelNames::pin_coords());
    addOutputPin(node, Tag::Vector3d, "|" + ChannelNames::pin_coords() + "|");
}

zrk::Evaluation ZRKNormalizeVec3::getEvaluatorForPin(const Pin_ref<1>&, const ZRKContext&) const
{
    return zrk::evaluator(Direction{});
}

} // namespace zrkmodel
