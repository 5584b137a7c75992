#include "inspectors/fall_off_editor.h"

#include "inspectors/css_style.h"
#include "inspectors/plot.h"

#include <QHBoxLayout>
#include <QVBoxLayout>

#include <algorithm>
#include <cmath>

namespace zrkui {

namespace {

// In the order of zrk::FallOffCurve.
const std::vector<std::string> kCurves = {"linear", "smooth", "gauss"};

/// The ramp with some of the flat on both sides.
QRectF windowOf(const zrk::FallOff& function)
{
    const double start = std::isfinite(function.start) ? function.start : 0;
    const double end = std::isfinite(function.end) ? function.end : start;
    const double low = std::min(start, end);
    const double width = std::max(std::abs(end - start), 1e-6);
    return {low - width / 4, -0.1, width * 1.5, 1.2};
}

} // namespace

FallOffEditor::FallOffEditor(const Function& function, QWidget* parent)
    : QWidget(parent),
      _plot(new UIPlot(this)),
      _start(new QDoubleSpinBoxWrapper(this)),
      _end(new QDoubleSpinBoxWrapper(this)),
      _curve(new QComboBoxWrapper(kCurves, 0, this))
{
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(scaled(*this, 4));
    column->addWidget(_plot, 1);
    auto* row = new QHBoxLayout;
    row->setSpacing(scaled(*this, 4));
    for (QWidget* field :
         {static_cast<QWidget*>(_start), static_cast<QWidget*>(_end), static_cast<QWidget*>(_curve)}) {
        row->addWidget(field, 1);
    }
    column->addLayout(row);
    _start->setMark("1 at");
    _start->setAccessibleName("start");
    _start->setToolTip("up to here the fall-off is 1");
    _end->setMark("0 at");
    _end->setAccessibleName("end");
    _end->setToolTip("from here on it is 0");
    _curve->setAccessibleName("curve");
    _curve->setToolTip("how it falls between them");
    _start->onEdited([this](double) { edited(); });
    _end->onEdited([this](double) { edited(); });
    _curve->connectToListener([this](int) { edited(); });
    setFocusProxy(_start);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    setMinimumHeight(scaled(*this, 112));
    display(function);
}

void FallOffEditor::display(const Function& function)
{
    _function = function;
    _start->display(function.start);
    _end->display(function.end);
    _curve->display(static_cast<int>(function.curve));
    static_cast<UIPlot*>(_plot)->setCurve([function](double x) { return function(x); }, windowOf(function));
}

void FallOffEditor::edited()
{
    Function function = _function;
    function.start = _start->exact();
    function.end = _end->exact();
    if (_curve->currentIndex() >= 0) {
        function.curve = static_cast<zrk::FallOffCurve>(_curve->currentIndex());
    }
    display(function);
    _changed(function);
}

void FallOffEditor::describe(zrkmodel::ZRKJson& out) const
{
    out["widget"] = "falloff";
    zrkmodel::ZRKJson start, end;
    _start->describe(start);
    _end->describe(end);
    out["value"] = {
        {"start", start["value"]}, {"end", end["value"]}, {"curve", _curve->currentText().toStdString()}};
}

} // namespace zrkui
