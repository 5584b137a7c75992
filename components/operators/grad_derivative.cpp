#include "components/operators/grad_derivative.h"

#include "components/operators/gradient_kernel.h"
#include "model/pins.h"

#include <cmath>

namespace zrkmodel {

namespace {

constexpr double kStep = 0.001; ///< model units, where the model's size isn't known
constexpr double kStepOfDiagonal = 1e-5;

double stepIn(const ZRKContext& context)
{
    const auto box = context.modelBounds();
    return box ? kStepOfDiagonal * std::sqrt(dot(box->size, box->size)) : kStep;
}

} // namespace

ComponentIdentity ZRKGradDerivative::identity()
{
    return {
        .className = "ZRKGradDerivative",
        .typeName = "GradDerivative",
        .uuid = "DEB32B4F-6A7B-490A-A25C-2F026CDFF30C",
        .icon = IconResources::uvw_x_vector_Dgradient,
        .strings = ZRKUIStrings::derivative_gradient(),
        .inputs = {Tag::Scalar},
        .outputs = {Tag::Vector3d},
    };
}

void ZRKGradDerivative::onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node)
{
    addInputPin(node, Tag::Scalar, "");
    addOutputPin(node, Tag::Vector3d, "grad");
}

zrk::Evaluation ZRKGradDerivative::getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext& context) const
{
    const zrk::Field<1, 3> field = inputField(pin);
    if (!field) {
        return zrk::doNothing();
    }
    return zrk::gradientEvaluator(field.generator(), stepIn(context), normalize.value());
}

} // namespace zrkmodel
