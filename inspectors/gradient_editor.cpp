#include "inspectors/gradient_editor.h"

#include "inspectors/css_style.h"
#include "inspectors/field.h"
#include "inspectors/number_field.h"

#include <QHBoxLayout>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QVBoxLayout>

#include <algorithm>
#include <cmath>

namespace zrkui {

using zrkmodel::InterpolationFunction;

namespace {

constexpr double kReach = 12; ///< pixels at scale 1 around a point that take it

std::vector<std::string> kindNames()
{
    std::vector<std::string> names;
    for (const auto& kind : InterpolationFunction<double>::kinds()) {
        names.emplace_back(kind.name);
    }
    return names;
}

QPointF placeOf(const QMouseEvent& event)
{
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
    return event.position();
#else
    return event.localPos();
#endif
}

} // namespace

/// The curve with its points.
class ZRKScalarGradientEditor::Plot final : public UIPlot {
public:
    explicit Plot(ZRKScalarGradientEditor& editor) : UIPlot(&editor), _editor(editor)
    {
        setFocusPolicy(Qt::StrongFocus);
        setAccessibleName("curve");
        setToolTip("drag points, double-click to add one, Delete removes the selected one; "
                   "arrow keys select, with Ctrl they move it");
    }

protected:
    void paintMore(QPainter& painter) override
    {
        using Role = ZRKCSSStyle::Role;
        const ZRKCSSStyle& style = ZRKCSSStyle::current();
        const double radius = scaled(*this, 4);
        for (std::size_t i = 0; i < _editor._curve.points.size(); ++i) {
            const auto& point = _editor._curve.points[i];
            const bool isSelected = static_cast<int>(i) == _editor._selected;
            painter.setPen(QPen(style.color(isSelected ? Role::accent : Role::curve), 2));
            painter.setBrush(style.color(isSelected ? Role::accent : Role::field));
            if (std::isfinite(point.key) && std::isfinite(point.value)) {
                painter.drawEllipse(toPixels({point.key, point.value}), radius, radius);
            }
        }
        if (_editor._curve.points.empty()) {
            painter.setPen(style.color(Role::hint));
            painter.drawText(rect(), Qt::AlignCenter, "no points: double-click adds one");
        }
    }
    void mousePressEvent(QMouseEvent* event) override
    {
        const int index = _editor.pointAt(placeOf(*event));
        _editor.select(index);
        _isDragging = index >= 0 && event->button() == Qt::LeftButton;
    }
    void mouseMoveEvent(QMouseEvent* event) override
    {
        if (_isDragging) {
            // Values beyond the window are typed: it grows with them.
            const QPointF pixels = placeOf(*event);
            const QRectF area = inside();
            const QPointF place = fromPixels({std::clamp(pixels.x(), area.left(), area.right()),
                                              std::clamp(pixels.y(), area.top(), area.bottom())});
            _editor.movePoint(_editor._selected, place.x(), place.y());
        }
    }
    void mouseReleaseEvent(QMouseEvent*) override { _isDragging = false; }
    void mouseDoubleClickEvent(QMouseEvent* event) override
    {
        if (_editor.pointAt(placeOf(*event)) < 0) {
            const QPointF place = fromPixels(placeOf(*event));
            _editor.addPoint(place.x(), place.y());
        }
    }
    void keyPressEvent(QKeyEvent* event) override
    {
        const int selected = _editor._selected;
        if (event->key() == Qt::Key_Delete || event->key() == Qt::Key_Backspace) {
            _editor.removePoint(selected);
            return;
        }
        const bool moves = (event->modifiers() & Qt::ControlModifier) != 0;
        const int x = (event->key() == Qt::Key_Right) - (event->key() == Qt::Key_Left);
        const int y = (event->key() == Qt::Key_Up) - (event->key() == Qt::Key_Down);
        if (moves && _editor.hasPoint(selected) && (x != 0 || y != 0)) {
            const auto& point = _editor._curve.points[static_cast<std::size_t>(selected)];
            _editor.movePoint(selected, point.key + 0.01 * x, point.value + 0.01 * y);
        } else if (x != 0) {
            const int last = static_cast<int>(_editor._curve.points.size()) - 1;
            _editor.select(std::clamp(selected + x, std::min(0, last), last));
        } else {
            UIPlot::keyPressEvent(event);
        }
    }

private:
    ZRKScalarGradientEditor& _editor;
    bool _isDragging = false;
};

ZRKScalarGradientEditor::ZRKScalarGradientEditor(const Curve& curve, const zrk::Interval<double>& keys,
                                                 QWidget* parent)
    : QWidget(parent),
      _keys(keys),
      _plot(new Plot(*this)),
      _key(new NumberField(NumberField::Kind::real, this)),
      _value(new NumberField(NumberField::Kind::real, this)),
      _kind(new QComboBoxWrapper(kindNames(), -1, this))
{
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(scaled(*this, 4));
    column->addWidget(_plot, 1);
    auto* row = new QHBoxLayout;
    row->setSpacing(scaled(*this, 4));
    auto* addOne = new QPushButton(QString(QChar(0x002B)), this);
    _remove = new QPushButton(QString(QChar(0x2212)), this);
    row->addWidget(_key, 1);
    row->addWidget(_value, 1);
    row->addWidget(_kind, 1);
    row->addWidget(addOne);
    row->addWidget(_remove);
    column->addLayout(row);
    for (QPushButton* button : {addOne, _remove}) {
        button->setAutoDefault(false);
        button->setFixedWidth(scaled(*this, 28));
        button->setStyleSheet("padding: 0;");
    }
    _key->setLimits(keys.lower, keys.upper);
    _key->setMark("x");
    _key->setAccessibleName("key of the selected point");
    _value->setMark("y");
    _value->setAccessibleName("value of the selected point");
    _kind->setAccessibleName("kind of curve that leaves the selected point");
    _kind->setToolTip("kind of curve that leaves the point");
    addOne->setAccessibleName("add a point");
    addOne->setToolTip("add a point behind the selected one");
    _remove->setAccessibleName("remove the selected point");
    _remove->setToolTip("remove the selected point");
    const auto moveSelected = [this](double) { movePoint(_selected, _key->exact(), _value->exact()); };
    _key->onEdited(moveSelected);
    _value->onEdited(moveSelected);
    _kind->connectToListener([this](int kind) { setKind(_selected, kind); });
    connect(addOne, &QPushButton::clicked, this, [this] {
        // In the middle of the segment behind the selected point, or of all.
        const auto& points = _curve.points;
        const auto next = static_cast<std::size_t>(_selected + 1);
        const double from = hasPoint(_selected) ? points[next - 1].key : _keys.lower;
        const double to = hasPoint(_selected) && next < points.size() ? points[next].key : _keys.upper;
        const double key = (from + to) / 2;
        addPoint(key, _curve(key));
    });
    connect(_remove, &QPushButton::clicked, this, [this] { removePoint(_selected); });
    setFocusProxy(_plot);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    setMinimumHeight(scaled(*this, 120));
    display(curve);
}

void ZRKScalarGradientEditor::display(const Curve& curve)
{
    _curve = curve;
    _selected = hasPoint(_selected) ? _selected : -1;
    showCurve();
    showSelected();
}

UIPlot& ZRKScalarGradientEditor::plot() const { return *_plot; }

void ZRKScalarGradientEditor::changed()
{
    showCurve();
    showSelected();
    // By value: a listener may show another curve.
    const Curve curve = _curve;
    _changed(curve);
}

void ZRKScalarGradientEditor::showCurve()
{
    double low = 0;
    double high = 1;
    for (const auto& point : _curve.points) {
        if (std::isfinite(point.value)) {
            low = std::min(low, point.value);
            high = std::max(high, point.value);
        }
    }
    _plot->setCurve(_curve.points.empty() ? UIPlot::Curve() : [curve = _curve](double x) { return curve(x); },
                    {_keys.lower, low, _keys.upper - _keys.lower, high - low});
}

void ZRKScalarGradientEditor::showSelected()
{
    const bool isAny = hasPoint(_selected);
    for (QWidget* widget : {static_cast<QWidget*>(_key), static_cast<QWidget*>(_value),
                            static_cast<QWidget*>(_kind), static_cast<QWidget*>(_remove)}) {
        widget->setEnabled(isAny);
    }
    if (isAny) {
        const auto& point = _curve.points[static_cast<std::size_t>(_selected)];
        _key->display(point.key);
        _value->display(point.value);
        _kind->display(point.function.kind);
    }
    _plot->update();
}

bool ZRKScalarGradientEditor::hasPoint(int index) const
{
    return index >= 0 && static_cast<std::size_t>(index) < _curve.points.size();
}

void ZRKScalarGradientEditor::select(int index)
{
    _selected = hasPoint(index) ? index : -1;
    showSelected();
}

void ZRKScalarGradientEditor::movePoint(int index, double key, double value)
{
    if (hasPoint(index)) {
        _selected = static_cast<int>(_curve.movePoint(static_cast<std::size_t>(index),
                                                      std::clamp(key, _keys.lower, _keys.upper), value));
        changed();
    }
}

void ZRKScalarGradientEditor::addPoint(double key, double value)
{
    const auto& kinds = InterpolationFunction<double>::kinds();
    const InterpolationFunction<double> kind =
        hasPoint(_selected) ? _curve.points[static_cast<std::size_t>(_selected)].function : kinds[0];
    _selected = static_cast<int>(_curve.insertPoint(std::clamp(key, _keys.lower, _keys.upper), value, kind));
    changed();
}

void ZRKScalarGradientEditor::removePoint(int index)
{
    if (!hasPoint(index)) {
        return;
    }
    if (_curve.points.size() == 1) {
        UIField::say(this, "a curve needs a point: the last one stays");
        return;
    }
    _curve.removePoint(static_cast<std::size_t>(index));
    _selected = std::min(index, static_cast<int>(_curve.points.size()) - 1);
    changed();
}

void ZRKScalarGradientEditor::setKind(int index, int kind)
{
    const auto& kinds = InterpolationFunction<double>::kinds();
    if (hasPoint(index) && kind >= 0 && static_cast<std::size_t>(kind) < kinds.size()) {
        _curve.setFunction(static_cast<std::size_t>(index), kinds[static_cast<std::size_t>(kind)]);
        changed();
    }
}

int ZRKScalarGradientEditor::pointAt(const QPointF& pixels) const
{
    int nearest = -1;
    double least = kReach * uiScale(*this);
    for (std::size_t i = 0; i < _curve.points.size(); ++i) {
        const QPointF between = _plot->toPixels({_curve.points[i].key, _curve.points[i].value}) - pixels;
        const double distance = std::hypot(between.x(), between.y());
        if (distance <= least) {
            least = distance;
            nearest = static_cast<int>(i);
        }
    }
    return nearest;
}

void ZRKScalarGradientEditor::describe(zrkmodel::ZRKJson& out) const
{
    out["widget"] = "gradient";
    out["min"] = _keys.lower;
    out["max"] = _keys.upper;
    out["value"] = zrkmodel::ZRKJson::array();
    for (const auto& point : _curve.points) {
        out["value"].push_back({point.key, point.value, point.function.kind});
    }
}

} // namespace zrkui
