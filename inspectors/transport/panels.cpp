#include "inspectors/panels.h"

#include "components/transport/image_sweep.h"
#include "inspectors/app.h"
#include "inspectors/field.h"
#include "inspectors/panel_parts.h"

namespace zrkui {

using namespace zrkmodel;

namespace {

void compute(ZRKImageSweep& c, QPushButtonWrapper& button)
{
    bool isDone = false;
    ZRKApp::ui().runLong("computing the sweep", button.window(),
                         [&](zrk::ProgressMonitor& monitor) { isDone = c.compute(&monitor); });
    const bool hasPictures = c.imageA.value() && c.imageB.value();
    UIField::say(&button, !isDone        ? "stopped, the former volume stays"
                          : !hasPictures ? "a sweep needs the pictures A and B"
                                         : "");
}

void addBlendPage(ZRKImageSweep& c, ZRKPropertyView& page)
{
    page.pushHBoxLayout();
    page.pushVBoxLayout();
    addPropertyWidgets(page, c.steps, c.resolution);
    addShareSlider(page, c.smoothing, [&c](double value) { c.moveSmoothing(value); });
    addShareSlider(page, c.transport, [&c](double value) { c.moveTransport(value); });
    page.popLayout();
    const std::pair<const char*, ZRKProperty<ZRKImageSweep::Image>*> pickers[] = {
        {"A", &c.imageA}, {"B", &c.imageB}, {"obstacle", &c.obstacle}};
    for (const auto& [label, property] : pickers) {
        addImagePicker(page, *property, label,
                       [&c, property = property](const auto& picked) { c.pick(*property, picked); });
    }
    QPushButtonWrapper* button = page.addButton("compute >>", {}, nullptr);
    setHint(*button, "computes the volume from the pictures; that may take minutes and can be stopped");
    button->connectToListener([&c, button] { compute(c, *button); });
    page.popLayout();
}

void addScalingPage(ZRKImageSweep& c, ZRKPropertyView& page)
{
    page.pushHBoxLayout();
    page.pushVBoxLayout();
    addPropertyWidgets(page, c.sizeX, c.sizeY, c.sizeZ, c.wrap);
    page.popLayout();
    UIRect rect;
    rect.x = UICoord(0.0, 10.0);
    rect.width = UIInterval::withMinimum(50.0);
    addCurveEditor(page, c.scaling, rect);
    page.popLayout();
}

void addSweepPage(ZRKImageSweep& c, ZRKPropertyView& page)
{
    page.pushHBoxLayout();
    page.pushVBoxLayout();
    UIRect pickerRect;
    pickerRect.width = UIInterval::withMinimum(32.0);
    pickerRect.height = UIInterval::withMinimum(32.0);
    addGeometryPicker(
        page, c.pathCurve, kCurveGeometry, 1, "curve:",
        [&c](const ZRKGeometryPicker::Selection& selection) {
            c.pathCurve.set(selection.empty() ? nullptr : selection.front());
        },
        pickerRect);
    page.popLayout();
    UIRect rect;
    rect.x = UICoord(0.0, 10.0);
    rect.width = UIInterval::withMinimum(200.0);
    addCurveEditor(page, c.interpolation, rect);
    page.popLayout();
}

void imageSweepPanel(ZRKImageSweep& c, ZRKPropertyView& view)
{
    UIRect rect;
    rect.x = UICoord(0.0, 1.0);
    rect.y = UICoord(0.0, 1.0);
    TabHelper* tabs = view.addTabWidget({"image blend", "scaling", "sweep"}, rect);
    addBlendPage(c, tabs->page(0));
    addScalingPage(c, tabs->page(1));
    addSweepPage(c, tabs->page(2));
}

} // namespace

void addTransportPanels() { addPanel(imageSweepPanel); }

} // namespace zrkui
