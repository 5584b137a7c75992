#include "components/transforms/matrix_transform.h"

#include "components/position_pins.h"
#include "core/engine/formula.h"

namespace zrkmodel {

ComponentIdentity ZRKMatrixTransform::identity()
{
    return {
        .className = "ZRKMatrixTransform",
        .typeName = "MatrixTransform",
        .uuid = "A85E7973-181A-4891-9D5E-395A0E24F73B",
        .icon = IconResources::uvw_x_affine,
        .strings = ZRKUIStrings::matrix_transformation(),
        .inputs = {Tag::Vector3d},
        .outputs = {Tag::Vector3d},
    };
}

void ZRKMatrixTransform::onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) { addPositionPins(node); }

zrk::Evaluation ZRKMatrixTransform::getEvaluatorForPin(const Pin_ref<1>&, const ZRKContext&) const
{
    return zrk::evaluator(
        zrk::MatrixPosition{inverse.value() ? zrk::inverse(matrix.value()) : matrix.value()});
}

void ZRKMatrixTransform::reset() { matrix.set(zrk::kIdentity4); }

void ZRKMatrixTransform::setRow(int r, const zrk::Tensor<4, double>& row)
{
    if (r < 0 || r > 3) {
        return;
    }
    zrk::Matrix4 edited = matrix.value();
    for (std::size_t c = 0; c < 4; ++c) {
        edited[4 * c + static_cast<std::size_t>(r)] = row[c];
    }
    matrix.set(edited);
}

} // namespace zrkmodel
