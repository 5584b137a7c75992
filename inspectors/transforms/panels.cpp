#include "inspectors/panels.h"

#include "components/transforms/affine_transform.h"
#include "components/transforms/bend_transform.h"
#include "components/transforms/matrix_transform.h"
#include "components/transforms/position_vec3.h"
#include "components/transforms/quantize_transform.h"
#include "components/transforms/twist_transform.h"
#include "inspectors/panel_parts.h"
#include "inspectors/vector_widget.h"

namespace zrkui {

using namespace zrkmodel;

namespace {

void quantizePanel(ZRKQuantizeTransform& c, ZRKPropertyView& view)
{
    view.pushVBoxLayout();
    addPropertyWidgets(view, c.strength, c.step, c.shift);
    view.popLayout();
}

void twistPanel(ZRKTwistTransform& c, ZRKPropertyView& view)
{
    view.pushVBoxLayout();
    addPropertyWidgets(view, c.angle, c.axis, c.center);
    view.popLayout();
}

void bendPanel(ZRKBendTransform& c, ZRKPropertyView& view)
{
    view.pushVBoxLayout();
    addPropertyWidgets(view, c.angle, c.axis, c.bendDirection, c.center);
    view.popLayout();
}

zrk::Tensor<4, double> rowOf(const zrk::Matrix4& matrix, std::size_t r)
{
    return {matrix[r], matrix[4 + r], matrix[8 + r], matrix[12 + r]};
}

void addMatrixRow(ZRKMatrixTransform& c, ZRKPropertyView& view, int r)
{
    const auto row = static_cast<std::size_t>(r);
    auto* widget = new VectorWidget<4>(rowOf(c.matrix.value(), row));
    widget->hideMarks(); // the columns of a matrix aren't x, y, z, w
    setShownProperty(*widget, c.matrix.name());
    view.add(widget, {}, captionOf("row" + std::to_string(r)));
    widget->connectToListener([&c, r](const zrk::Tensor<4, double>& value) { c.setRow(r, value); });
    follow<zrk::Matrix4>(*widget, c.matrix,
                         [widget, row](const zrk::Matrix4& matrix) { widget->display(rowOf(matrix, row)); });
}

void matrixPanel(ZRKMatrixTransform& c, ZRKPropertyView& view)
{
    view.pushHBoxLayout();
    view.pushVBoxLayout();
    for (int r = 0; r < 4; ++r) {
        addMatrixRow(c, view, r);
    }
    setHint(*view.addButton("reset", {}, [&c] { c.reset(); }), "makes it the transform that changes nothing");
    view.popLayout();
    addPropertyWidget(view, c.inverse);
    view.popLayout();
}

/// Its numbers have the range of a VectorWidget.
void addVector(ZRKPropertyView& view, ZRKProperty<zrk::Tensor<3, double>>& property)
{
    constexpr double kLimit = VectorWidget<3>::kLimit;
    ZRKDynamicPropertyPack pack(property.owner());
    pack.add(property, zrk::Tensor<3, double>{-kLimit, -kLimit, -kLimit},
             zrk::Tensor<3, double>{kLimit, kLimit, kLimit});
    addFirstEntry(view, pack);
}

void affinePanel(ZRKAffineTransform& c, ZRKPropertyView& view)
{
    view.pushHBoxLayout();
    view.pushVBoxLayout();
    for (auto* property : {&c.translation, &c.rotation, &c.scaling}) {
        addVector(view, *property);
    }
    setHint(*view.addButton("reset", {}, [&c] { c.reset(); }), "makes it the transform that changes nothing");
    view.popLayout();
    addPropertyWidget(view, c.inverse);
    view.popLayout();
}

void positionPanel(ZRKPositionVec3& c, ZRKPropertyView& view)
{
    view.pushVBoxLayout();
    addPropertyWidgets(view, c.normalized, c.objectSpace);
    view.popLayout();
}

} // namespace

void addTransformPanels()
{
    addPanel(quantizePanel);
    addPanel(twistPanel);
    addPanel(bendPanel);
    addPanel(matrixPanel);
    addPanel(affinePanel);
    addPanel(positionPanel);
}

} // namespace zrkui
