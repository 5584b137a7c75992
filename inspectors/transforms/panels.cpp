#include "inspectors/panels.h"

#include "components/transforms/affine_transform.h"
#include "components/transforms/bend_transform.h"
#include "components/transforms/matrix_transform.h"
#include "components/transforms/position_vec3.h"
#include "components/transforms/quantize_transform.h"
#include "components/transforms/twist_transform.h"
#include "inspectors/panel_parts.h"
#include "inspectors/vector_widget.h"

#include <array>
#include <cstddef>

namespace zrkui {

using namespace zrkmodel;

namespace {

const char* const kResetHint = "makes it the transform that changes nothing";

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

VectorWidget<4>* addMatrixRow(ZRKMatrixTransform& c, ZRKPropertyView& view, int r)
{
    const auto row = static_cast<std::size_t>(r);
    auto* widget = new VectorWidget<4>(rowOf(c.matrix.value(), row));
    widget->hideMarks(); // the columns of a matrix aren't x, y, z, w
    setShownProperty(*widget, c.matrix.name());
    view.add(widget, {}, captionOf("row" + std::to_string(r)));
    widget->connectToListener([&c, r](const zrk::Tensor<4, double>& value) { c.setRow(r, value); });
    follow<zrk::Matrix4>(*widget, c.matrix,
                         [widget, row](const zrk::Matrix4& matrix) { widget->display(rowOf(matrix, row)); });
    return widget;
}

void matrixPanel(ZRKMatrixTransform& c, ZRKPropertyView& view)
{
    view.pushHBoxLayout();
    view.pushVBoxLayout();
    std::array<VectorWidget<4>*, 4> rows{};
    for (int r = 0; r < 4; ++r) {
        rows[static_cast<std::size_t>(r)] = addMatrixRow(c, view, r);
    }
    QPushButtonWrapper* reset = view.addButton("reset", {}, [&c, rows] {
        c.reset();
        for (std::size_t r = 0; r < rows.size(); ++r) { // of a silent component they aren't told
            rows[r]->display(rowOf(c.matrix.value(), r));
        }
    });
    setHint(*reset, kResetHint);
    view.popLayout();
    addPropertyWidget(&view, c.inverse);
    view.popLayout();
}

/// Its numbers have the range of a VectorWidget.
VectorWidget<3>* addVector(ZRKPropertyView& view, ZRKProperty<zrk::Tensor<3, double>>& property)
{
    constexpr double kLimit = VectorWidget<3>::kLimit;
    ZRKDynamicPropertyPack pack(property.owner());
    pack.add(property, zrk::Tensor<3, double>{-kLimit, -kLimit, -kLimit},
             zrk::Tensor<3, double>{kLimit, kLimit, kLimit});
    return static_cast<VectorWidget<3>*>(addFirstEntry(view, pack));
}

void affinePanel(ZRKAffineTransform& c, ZRKPropertyView& view)
{
    view.pushHBoxLayout();
    view.pushVBoxLayout();
    const std::array properties{&c.translation, &c.rotation, &c.scaling};
    std::array<VectorWidget<3>*, 3> rows{};
    for (std::size_t i = 0; i < rows.size(); ++i) {
        rows[i] = addVector(view, *properties[i]);
    }
    QPushButtonWrapper* reset = view.addButton("reset", {}, [&c, properties, rows] {
        c.reset();
        for (std::size_t i = 0; i < rows.size(); ++i) { // of a silent component they aren't told
            rows[i]->display(properties[i]->value());
        }
    });
    setHint(*reset, kResetHint);
    view.popLayout();
    addPropertyWidget(&view, c.inverse);
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
