#include "apps/workbench/window/document_panel.h"

#include "formats/part.h"
#include "inspectors/css_style.h"
#include "inspectors/field.h"
#include "inspectors/number_text.h"
#include "inspectors/property_view.h"
#include "inspectors/vector_widget.h"

#include <QLabel>
#include <QVBoxLayout>

#include <algorithm>
#include <cstddef>
#include <string>
#include <utility>

namespace zrkworkbench {

using zrkmodel::ZRKJson;
using zrkui::scaled;
using zrkui::UIField;

namespace {

/// No unit, and then all that there are.
std::vector<std::string> unitLabels()
{
    std::vector<std::string> labels{"none"};
    for (const zrk::NamedUnit& unit : zrk::lengthUnits()) {
        labels.emplace_back(unit.word);
    }
    return labels;
}

} // namespace

DocumentPanel::DocumentPanel(QWidget* parent)
    : QWidget(parent),
      _lower(new zrkui::VectorWidget<3>({0, 0, 0})),
      _upper(new zrkui::VectorWidget<3>({1, 1, 1})),
      _unit(new zrkui::QComboBoxWrapper(unitLabels(), 0))
{
    setObjectName("DocumentPanel");
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, scaled(*this, 28), 0);
    auto* title = new QLabel("Document", this);
    title->setProperty("zrkRole", "title");
    column->addWidget(title);
    auto* form = new zrkui::ZRKPropertyView(this);
    form->setMargins(0);
    form->pushVBoxLayout();
    form->add(_lower, {}, zrkui::captionOf("bounds from"));
    form->add(_upper, {}, zrkui::captionOf("bounds to"));
    form->add(_unit, {}, zrkui::captionOf("unit"));
    form->popLayout();
    column->addWidget(form);
    _lower->setAccessibleName("bounds from");
    _lower->setToolTip("the lower corner of what the views show and exports write, in model units");
    _upper->setAccessibleName("bounds to");
    _upper->setToolTip("the upper corner of what the views show and exports write, in model units");
    _unit->setAccessibleName("unit");
    _unit->setToolTip(
        "what a length of 1 stands for; files that have a unit carry it, and nothing is rescaled");
    for (auto* corner : {_lower, _upper}) {
        corner->setLimits({}, {});
        corner->connectToListener([this, corner](const auto&) { takeBounds(*corner); });
    }
    _unit->connectToListener([this](int index) { takeUnit(index); });
    setFocusProxy(_lower);
}

void DocumentPanel::setSession(zrkmodel::EditSession* session)
{
    _session = session;
    display();
}

void DocumentPanel::display()
{
    if (!_session) {
        return;
    }
    const auto bounds = _session->document().samplingBounds();
    _lower->display(bounds.min);
    _upper->display(bounds.max);
    const std::string name = _session->document().unit();
    const auto units = zrk::lengthUnits();
    const auto unit = std::find_if(units.begin(), units.end(), [&](const auto& u) { return u.name == name; });
    _unit->display(unit == units.end() ? 0 : static_cast<int>(unit - units.begin()) + 1);
}

/// Bounds without room are told at the corner that was edited, and the former ones stay.
void DocumentPanel::takeBounds(zrkui::VectorWidget<3>& edited)
{
    if (!_session) {
        return;
    }
    const auto lower = _lower->value();
    const auto upper = _upper->value();
    const bool isLower = &edited == _lower;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        if (!(lower[axis] < upper[axis])) {
            const double limit = isLower ? upper[axis] : lower[axis];
            display();
            UIField::say(&edited,
                         std::string(1, "xyz"[axis]) + (isLower ? " must lie below " : " must lie above ") +
                             zrkui::textOfNumber(limit, 4).toStdString() + "; the former value stays");
            return;
        }
    }
    UIField::say(_lower, "");
    UIField::say(_upper, "");
    set("modelBounds", ZRKJson{{lower[0], lower[1], lower[2]}, {upper[0], upper[1], upper[2]}});
}

void DocumentPanel::takeUnit(int index)
{
    set("unit", index > 0
                    ? std::optional<ZRKJson>(zrk::lengthUnits()[static_cast<std::size_t>(index) - 1].name)
                    : std::nullopt);
}

void DocumentPanel::set(const char* key, std::optional<ZRKJson> value)
{
    if (!_session) {
        return;
    }
    if (const auto done = _session->setContext(key, std::move(value)); !done && _said) {
        _said(done.error());
    }
}

} // namespace zrkworkbench
