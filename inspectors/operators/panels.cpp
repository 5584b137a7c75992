#include "inspectors/panels.h"

#include "components/operators/binary_operator.h"
#include "components/operators/fall_off.h"
#include "components/operators/geometry_blend.h"
#include "components/operators/grad_derivative.h"
#include "components/operators/levelset_iso_value.h"
#include "components/operators/mask.h"
#include "components/operators/multiply.h"
#include "components/operators/shell.h"
#include "inspectors/fall_off_editor.h"
#include "inspectors/panel_parts.h"

#include <QBoxLayout>

namespace zrkui {

using namespace zrkmodel;

namespace {

using Sliders = std::vector<SliderFWrapper*>;

/// Makes the sliders of the operation's parameters anew.
void updateParamSliders(ZRKBinaryOperator& c, ZRKPropertyView& view, Sliders& sliders)
{
    for (SliderFWrapper* slider : sliders) {
        view.remove(slider);
    }
    sliders.clear();
    const BinaryOperation& operation = c.operation();
    for (std::size_t i = 0; i < operation.paramNames.size(); ++i) {
        SliderFWrapper* slider = view.addHSlider(operation.params[i], {0.0, 1.0});
        slider->setAccessibleName(QString::fromStdString(operation.paramNames[i]));
        setManualKey(*slider, "op_params");
        slider->connectToListener([&c, i](double value) { c.setParameter(static_cast<int>(i), value); });
        sliders.push_back(slider);
    }
}

void binaryPanel(ZRKBinaryOperator& c, ZRKPropertyView& view)
{
    view.pushHBoxLayout();
    view.pushVBoxLayout();
    QBoxLayout* column = view.innermost();
    QComboBoxWrapper* combo = view.addComboBox(ZRKBinaryOperator::operationNames(), c.operationIndex());
    combo->setAccessibleName("operation");
    setManualKey(*combo, "op_name");
    auto sliders = std::make_shared<Sliders>();
    updateParamSliders(c, view, *sliders);
    view.popLayout();
    view.pushVBoxLayout();
    addPropertyWidgets(view, c.strengthA, c.strengthB);
    view.popLayout();
    view.popLayout();

    combo->connectToListener([&c](int index) { c.selectOperation(index); });
    auto shown = std::make_shared<std::string>(c.operation().name);
    followEvent(*combo, c, "op", [&c, &view, combo, column, sliders, shown] {
        combo->display(c.operationIndex());
        if (std::exchange(*shown, c.operation().name) != c.operation().name) {
            view.reopen(column);
            updateParamSliders(c, view, *sliders);
            view.popLayout();
        }
        for (std::size_t i = 0; i < sliders->size(); ++i) {
            (*sliders)[i]->display(c.operation().params[i]);
        }
    });
}

void maskPanel(ZRKMask& c, ZRKPropertyView& view)
{
    view.pushVBoxLayout();
    addShareSlider(view, c.multiplier);
    addPropertyWidget(&view, c.replace);
    view.popLayout();
}

void multiplyPanel(ZRKMultiply& c, ZRKPropertyView& view)
{
    view.pushVBoxLayout();
    addPropertyWidget(&view, c.multiplier);
    view.popLayout();
}

void shellPanel(ZRKShell& c, ZRKPropertyView& view)
{
    view.pushVBoxLayout();
    addPropertyWidgets(view, c.offset, c.innerThickness, c.outerThickness);
    view.popLayout();
}

void addFallOff(ZRKPropertyView& view, ZRKProperty<ZRKFallOffFunction>& property)
{
    auto* editor = new FallOffEditor(property.value());
    setShownProperty(*editor, property.name());
    view.add(editor, {}, captionOf(property.name()));
    editor->connectToListener([&property](const ZRKFallOffFunction& function) { property.set(function); });
    follow<ZRKFallOffFunction>(*editor, property,
                               [editor](const auto& function) { editor->display(function); });
}

void fallOffPanel(ZRKFallOff& c, ZRKPropertyView& view)
{
    view.pushHBoxLayout();
    addFallOff(view, c.function);
    view.popLayout();
}

void isoValuePanel(ZRKLevelsetIsoValue& c, ZRKPropertyView& view)
{
    view.pushVBoxLayout();
    addPropertyWidgets(view, c.isoValue, c.invertInterior);
    view.popLayout();
}

void gradientPanel(ZRKGradDerivative& c, ZRKPropertyView& view)
{
    view.pushVBoxLayout();
    addPropertyWidget(&view, c.normalize);
    view.popLayout();
}

void geometryBlendPanel(ZRKGeometryBlend& c, ZRKPropertyView& view)
{
    view.pushHBoxLayout();
    addGeometryPicker(view, c.geometries, kAnyGeometry, ZRKGeometryPicker::kNoLimit, c.geometries.name(),
                      [&c](const ZRKGeometryPicker::Selection& selection) { c.pick(selection); });
    addFallOff(view, c.falloff);
    view.popLayout();
}

} // namespace

void addOperatorPanels()
{
    addPanel(binaryPanel);
    addPanel(maskPanel);
    addPanel(multiplyPanel);
    addPanel(shellPanel);
    addPanel(fallOffPanel);
    addPanel(isoValuePanel);
    addPanel(gradientPanel);
    addPanel(geometryBlendPanel);
}

} // namespace zrkui
