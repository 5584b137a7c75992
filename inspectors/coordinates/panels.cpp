#include "inspectors/panels.h"

#include "components/coordinates/curve_length.h"
#include "components/coordinates/curve_uvw.h"
#include "components/coordinates/cylinder_uvw.h"
#include "components/coordinates/face_uvw.h"
#include "components/coordinates/multipole_uvw.h"
#include "components/coordinates/sphere_uvw.h"
#include "components/coordinates/torus_uvw.h"
#include "inspectors/list_view.h"
#include "inspectors/panel_parts.h"

namespace zrkui {

using namespace zrkmodel;

namespace {

void spherePanel(ZRKSphereUVW& c, ZRKPropertyView& view)
{
    view.pushVBoxLayout();
    addPropertyWidget(&view, c.radius);
    addPropertyWidget(&view, c.poles, 0.0, 1.0);
    addPropertyWidgets(view, c.center, c.inverse);
    view.popLayout();
}

void torusPanel(ZRKTorusUVW& c, ZRKPropertyView& view)
{
    view.pushVBoxLayout();
    addPropertyWidgets(view, c.center, c.ringRadius, c.tubeRadius);
    view.popLayout();
}

void cylinderPanel(ZRKCylinderUVW& c, ZRKPropertyView& view)
{
    view.pushHBoxLayout();
    view.pushVBoxLayout();
    addPropertyWidgets(view, c.startPoint, c.endPoint, c.startRadius, c.endRadius);
    view.popLayout();
    view.pushVBoxLayout();
    addChoice(view, c.capStyle, {"none", "round"});
    addPropertyWidget(&view, c.twist);
    view.popLayout();
    view.popLayout();
}

void curvePanel(ZRKCurveUVW& c, ZRKPropertyView& view)
{
    view.pushVBoxLayout();
    view.pushHBoxLayout();
    addChoice(view, c.mode, {"extrude", "wrap"});
    addPropertyWidget(&view, c.normalizeLength);
    view.popLayout();
    addGeometryPicker(view, c.curve, kCurveGeometry, 1, c.curve.name(),
                      [&c](const PickedGeometries& selection) { c.pick(selection); });
    view.popLayout();
}

void curveLengthPanel(ZRKCurveLength& c, ZRKPropertyView& view)
{
    view.pushVBoxLayout();
    view.pushHBoxLayout();
    addPropertyWidgets(view, c.normalize, c.useLength);
    view.popLayout();
    addGeometryPicker(view, c.curve, kCurveGeometry, 1, c.curve.name(),
                      [&c](const PickedGeometries& selection) { c.pick(selection); });
    view.popLayout();
}

void facePanel(ZRKFaceUVW& c, ZRKPropertyView& view)
{
    view.pushVBoxLayout();
    addGeometryPicker(view, c.face, kSurfaceGeometry, 1, c.face.name(),
                      [&c](const PickedGeometries& selection) { c.pick(selection); });
    view.popLayout();
}

using Pole = ZRKMultipoleUVW::Pole;
using PoleList = ZRKQListView<Pole, ZRKPropertyView>;

void addPoleReference(PoleList::Item& item, ZRKPropertyView& editor)
{
    auto* picker = new ZRKGeometryPicker(kPointGeometry, 1, {item.value.geometry()});
    setManualKey(*picker, "poles.point_handle");
    editor.add(picker, {}, captionOf("select:"));
    if (!item.value.is_valid()) {
        UIField::say(picker, "no point is chosen: no effect");
    }
    picker->onSelectionChanged([&item, picker] {
        const auto& selection = picker->selectedObjects();
        if (selection.empty()) {
            picker->display({item.value.geometry()}); // a reference keeps its geometry
        } else {
            item.value.set_ref(selection.front());
            UIField::say(picker, "");
            item.changed();
        }
    });
}

void addPolePosition(PoleList::Item& item, ZRKPropertyView& editor)
{
    editor.pushHBoxLayout();
    const char* const axes[] = {"x", "y", "z"};
    for (int i = 0; i < 3; ++i) {
        const double coordinate = item.value.get_point()[static_cast<std::size_t>(i)];
        QDoubleSpinBoxWrapper* field =
            editor.addSpinBox(coordinate, {-999999.0, 999999.0}, {}, captionOf(axes[i]));
        setManualKey(*field, "poles.point");
        field->connectToListener([&item, i](double value) {
            item.value.set(i, value);
            item.changed();
        });
    }
    editor.popLayout();
}

void buildPole(PoleList::Item& item)
{
    auto* editor = new ZRKPropertyView;
    editor->pushVBoxLayoutInGroup("");
    if (item.value.is_ref()) {
        addPoleReference(item, *editor);
    } else {
        addPolePosition(item, *editor);
    }
    UIRect rect;
    rect.width = UIInterval::withMinimum(50);
    SliderFWrapper* slider =
        editor->addHSlider(item.value.strength, {-1.0, 1.0}, rect, captionOf("strength"));
    setManualKey(*slider, "poles.strength");
    slider->connectToListener([&item](double value) {
        item.value.strength = value;
        item.changed();
    });
    editor->popLayout();
    item.setEditor(editor);
}

void multipolePanel(ZRKMultipoleUVW& c, ZRKPropertyView& view)
{
    auto* list = new PoleList;
    list->setItemBuilder(buildPole);
    list->setIsAlike([](const Pole& a, const Pole& b) { // what a reference shows depends on its geometry
        return !a.is_ref() && !b.is_ref() && a.strength == b.strength && a.get_point() == b.get_point();
    });
    list->addButton("add ref", [list] { list->addItem(Pole(std::shared_ptr<ZRKGeometry>(), 1.0), true); })
        ->setToolTip("add a point by reference");
    list->addButton("add",
                    [list] {
                        list->addItem(Pole(zrk::Tensor<3, double>{0, 0, 0}, 1.0), true);
                    })
        ->setToolTip("add fixed point");
    addRemoval(*list, "removes the chosen pole");
    list->addMenuEntry("clear", [list] { list->clear(true); });
    view.pushHBoxLayout();
    addPropertyWidget(&view, c.constDirection);
    view.add(list);
    view.popLayout();
    showList(*list, c, c.poles, "poles");
}

} // namespace

void addCoordinatePanels()
{
    addPanel(spherePanel);
    addPanel(torusPanel);
    addPanel(cylinderPanel);
    addPanel(multipolePanel);
    addPanel(curvePanel);
    addPanel(curveLengthPanel);
    addPanel(facePanel);
}

} // namespace zrkui
