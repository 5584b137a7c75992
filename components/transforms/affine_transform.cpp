#include "components/transforms/affine_transform.h"

#include "components/position_pins.h"
#include "components/transforms/axis_rotation.h"
#include "core/engine/formula.h"

#include <cmath>

namespace zrkmodel {

namespace {

/// Returns the matrix that scales first, then turns about z, y and x, and then translates.
zrk::Matrix4 composed(const zrk::Tensor<3, double>& translation,
                      const zrk::Tensor<3, double>& rotationDegrees, const zrk::Tensor<3, double>& scaling)
{
    const double a = rotationDegrees[0] * zrk::kRadiansPerDegree;
    const double b = rotationDegrees[1] * zrk::kRadiansPerDegree;
    const double c = rotationDegrees[2] * zrk::kRadiansPerDegree;
    const double ca = std::cos(a), cb = std::cos(b), cc = std::cos(c);
    const double sa = std::sin(a), sb = std::sin(b), sc = std::sin(c);
    const double rows[3][3] = {{cb * cc, -cb * sc, sb},
                               {sa * sb * cc + ca * sc, ca * cc - sa * sb * sc, -sa * cb},
                               {sa * sc - ca * sb * cc, ca * sb * sc + sa * cc, ca * cb}};
    zrk::Matrix4 matrix = zrk::kIdentity4;
    for (std::size_t row = 0; row < 3; ++row) {
        for (std::size_t column = 0; column < 3; ++column) {
            matrix[4 * column + row] = rows[row][column] * scaling[column];
        }
        matrix[12 + row] = translation[row];
    }
    return matrix;
}

} // namespace

ComponentIdentity ZRKAffineTransform::identity()
{
    return {
        .className = "ZRKAffineTransform",
        .typeName = "AffineTransform",
        .uuid = "527CC3B7-95C3-44FC-93BC-E1888B31DDD5",
        .icon = IconResources::uvw_x_affine2,
        .strings = ZRKUIStrings::basic_transformation(),
        .inputs = {Tag::Vector3d},
        .outputs = {Tag::Vector3d},
    };
}

void ZRKAffineTransform::onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) { addPositionPins(node); }

zrk::Evaluation ZRKAffineTransform::getEvaluatorForPin(const Pin_ref<1>&, const ZRKContext&) const
{
    const zrk::Matrix4 matrix = composed(translation.value(), rotation.value(), scaling.value());
    return zrk::evaluator(zrk::MatrixPosition{inverse.value() ? zrk::inverse(matrix) : matrix});
}

void ZRKAffineTransform::reset()
{
    translation.set({0, 0, 0});
    rotation.set({0, 0, 0});
    scaling.set({1, 1, 1});
}

} // namespace zrkmodel
