#include "bowl.h"

#include <zrk/core/engine/formula.h>
#include <zrk/model/pins.h>

namespace {

/// z - height * (x^2 + y^2)^squares: of products and sums alone, so that all processors give the same bits.
struct BowlHeight {
    double height;
    int squares;

    template <class V>
    V operator()(const zrk::Tensor<3, V>& p) const
    {
        const V radiusSquared = p[0] * p[0] + p[1] * p[1];
        V power = 1.0;
        for (int k = 0; k < squares; ++k) {
            power = power * radiusSquared;
        }
        return p[2] - height * power;
    }
};

} // namespace

zrkmodel::ComponentIdentity Bowl::identity()
{
    return {
        .className = "Bowl",
        .typeName = "Bowl",
        .uuid = "4D0B7A2E-53B1-4D0C-9A57-6C5A1E0F8B11",
        .icon = {},
        .strings = {"bowl", "Bowl", "A bowl over the z axis.", "Own"},
        .inputs = {zrkmodel::Tag::Vector3d},
        .outputs = {zrkmodel::Tag::Scalar},
    };
}

void Bowl::onAddedToGraph(const zrkmodel::ZRKNodeBase<0, zrkmodel::ZRKGraphObject>& node)
{
    addCoordinatesPin(node, zrkmodel::Tag::Vector3d, "coords");
    addOutputPin(node, zrkmodel::Tag::Scalar, "sdf");
}

zrk::Evaluation Bowl::getEvaluatorForPin(const zrkmodel::Pin_ref<1>&, const zrkmodel::ZRKContext&) const
{
    return zrk::evaluator(BowlHeight{height.value(), squares.value()});
}
