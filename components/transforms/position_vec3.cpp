#include "components/transforms/position_vec3.h"

#include "core/engine/formula.h"
#include "core/values/matrix4.h"
#include "model/channel_names.h"
#include "model/pins.h"

namespace zrkmodel {

namespace {

/// The place of a position in a box, from 0 at the lower to 1 at the upper corner.
struct PlaceInBox {
    zrk::Tensor<3, double> lower;
    zrk::Tensor<3, double> inverseSize;

    explicit PlaceInBox(const zrk::BBox<double>& box) : lower(box.min), inverseSize(box.inverseSize) {}

    template <class V>
    zrk::Tensor<3, V> operator()(const zrk::Tensor<3, V>& p) const
    {
        return {(p[0] - lower[0]) * inverseSize[0], (p[1] - lower[1]) * inverseSize[1],
                (p[2] - lower[2]) * inverseSize[2]};
    }
};

/// The place in the model's local box of a position that is first taken to the model's own space.
struct PlaceInObject {
    zrk::MatrixPosition toObject;
    PlaceInBox place;

    template <class V>
    zrk::Tensor<3, V> operator()(const zrk::Tensor<3, V>& p) const
    {
        return place(toObject(p));
    }
};

} // namespace

ComponentIdentity ZRKPositionVec3::identity()
{
    return {
        .className = "ZRKPositionVec3",
        .typeName = "PositionVec3",
        .uuid = "268591C2-C91D-4B9A-B498-9F0A3C917785",
        .icon = IconResources::uvw_coord_system,
        .strings = ZRKUIStrings::coordinate_system(),
        .inputs = {},
        .outputs = {Tag::Vector3d},
    };
}

void ZRKPositionVec3::onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node)
{
    addOutputPin(node, Tag::Vector3d, ChannelNames::pin_coords());
}

zrk::Evaluation ZRKPositionVec3::getEvaluatorForPin(const Pin_ref<1>&, const ZRKContext& context) const
{
    const auto transform = context.modelTransform();
    if (objectSpace.value() && transform) {
        const zrk::MatrixPosition toObject{zrk::inverse(*transform)};
        const auto box = context.modelLocalBounds();
        if (normalized.value() && box) {
            return zrk::positionEvaluator(PlaceInObject{toObject, PlaceInBox(*box)});
        }
        return zrk::positionEvaluator(toObject);
    }
    const auto box = context.modelBounds();
    if (normalized.value() && box) {
        return zrk::positionEvaluator(PlaceInBox(*box));
    }
    return zrk::passThrough();
}

} // namespace zrkmodel
