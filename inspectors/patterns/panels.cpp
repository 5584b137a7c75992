#include "inspectors/panels.h"

#include "components/patterns/cross.h"
#include "components/patterns/gyroid.h"
#include "components/patterns/pattern_designer.h"
#include "inspectors/list_view.h"
#include "inspectors/panel_parts.h"

#include <functional>
#include <tuple>

namespace zrkui {

using namespace zrkmodel;

namespace {

void gyroidPanel(ZRKGyroid& c, ZRKPropertyView& view)
{
    view.pushVBoxLayout();
    addPropertyWidget(&view, c.contour);
    view.popLayout();
}

void crossPanel(ZRKCross& c, ZRKPropertyView& view)
{
    view.pushVBoxLayout();
    addPropertyWidget(&view, c.thicknessRatios);
    addPropertyWidget(&view, c.smoothness, 0.0, 1.0);
    view.popLayout();
}

using Wave = ZRKPatternDesigner::Wave;
using WaveList = ZRKQListView<Wave, ZRKPropertyView>;

void buildWave(WaveList::Item& item)
{
    auto* editor = new ZRKPropertyView;
    editor->pushVBoxLayout();
    editor->pushHBoxLayout();
    const std::tuple<const char*, const char*, double Wave::*> frequencies[] = {
        {"x", "waves.fx", &Wave::fx}, {"y", "waves.fy", &Wave::fy}, {"z", "waves.fz", &Wave::fz}};
    for (const auto& [label, key, member] : frequencies) {
        QSpinBoxWrapper* field = editor->addSpinBoxI(item.value.*member, {-6, 6}, {}, captionOf(label));
        setManualKey(*field, key);
        field->connectToListener([&item, member = member](int value) {
            item.value.*member = value;
            item.changed();
        });
    }
    editor->popLayout();
    editor->pushHBoxLayout();
    const std::tuple<const char*, const char*, double Wave::*> shares[] = {
        {"amp", "waves.amplitude", &Wave::amplitude}, {"phase", "waves.phase", &Wave::phase}};
    for (const auto& [label, key, member] : shares) {
        SliderFWrapper* slider = editor->addHSlider(item.value.*member, {0.0, 1.0}, {}, captionOf(label));
        setManualKey(*slider, key);
        slider->connectToListener([&item, member = member](double value) {
            item.value.*member = value;
            item.changed();
        });
    }
    editor->popLayout();
    editor->popLayout();
    item.setEditor(editor);
}

void patternPanel(ZRKPatternDesigner& c, ZRKPropertyView& view)
{
    auto* list = new WaveList;
    list->setItemBuilder(buildWave);
    list->setIsAlike(std::equal_to<Wave>());
    setHint(*list->addButton("+", [list] { list->addItem(Wave(), true); }), "adds a wave");
    addRemoval(*list, "removes the chosen wave");
    setHint(*list->addButton("random", [&c] { c.randomize(); }), "gives all waves other values, at random");
    list->addMenuEntry("clear", [list] { list->clear(true); });
    view.pushVBoxLayout();
    addPropertyWidget(&view, c.multiply);
    view.add(list);
    view.popLayout();
    showList(*list, c, c.waves, "waves");
}

} // namespace

void addPatternPanels()
{
    addPanel(gyroidPanel);
    addPanel(crossPanel);
    addPanel(patternPanel);
}

} // namespace zrkui
