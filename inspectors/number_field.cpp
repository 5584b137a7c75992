#include "inspectors/number_field.h"

#include "inspectors/css_style.h"
#include "inspectors/field.h"
#include "inspectors/number_text.h"

#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMouseEvent>
#include <QPainter>
#include <QSignalBlocker>
#include <QWheelEvent>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace zrkui {

namespace {

/// What the base can hold and write out; numbers beyond it are shown all the same.
constexpr double kFree = 1e15;
constexpr int kDecimals = 4;
constexpr int kDragStart = 3;

QPoint placeOf(const QMouseEvent& event)
{
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
    return event.position().toPoint();
#else
    return event.pos();
#endif
}

} // namespace

NumberField::NumberField(Kind kind, QWidget* parent) : QDoubleSpinBox(parent), _kind(kind)
{
    setLocale(QLocale::c());
    setButtonSymbols(QAbstractSpinBox::NoButtons);
    setAlignment(Qt::AlignRight);
    setKeyboardTracking(false);
    setStepType(QAbstractSpinBox::AdaptiveDecimalStepType);
    setDecimals(kind == Kind::whole ? 0 : kDecimals);
    setFocusPolicy(Qt::StrongFocus);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setLimits(std::nullopt, std::nullopt);
    lineEdit()->installEventFilter(this);
    connect(lineEdit(), &QLineEdit::textEdited, this, [this](const QString& text) { _typed = text; });
    connect(this, &QAbstractSpinBox::editingFinished, this, [this] { takeTyped(); });
    connect(this, QOverload<double>::of(&QDoubleSpinBox::valueChanged), this, [this](double value) {
        if (!_typed) { // what was typed is taken with all its digits, see takeTyped
            enter(value);
        }
    });
    display(0);
}

void NumberField::display(double value)
{
    const QSignalBlocker blocker(this);
    _exact = value;
    setValue(std::isnan(value) ? 0.0 : std::clamp(value, minimum(), maximum()));
    _inner = this->value();
    _typed.reset();
    showText();
    update();
}

void NumberField::showText() { lineEdit()->setText(textFromValue(_inner)); }

void NumberField::enter(double value)
{
    value = withinLimits(value);
    const bool isNew = value != _exact; // true for NaN
    display(value);
    if (isNew) {
        UIField::say(this, "");
        _edited(value);
    }
}

/// Cut to the limits that were given, or to what an int holds.
double NumberField::withinLimits(double value) const
{
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    const bool isWhole = _kind == Kind::whole;
    return std::clamp(value, _min.value_or(isWhole ? std::numeric_limits<int>::min() : -kInfinity),
                      _max.value_or(isWhole ? std::numeric_limits<int>::max() : kInfinity));
}

void NumberField::takeTyped()
{
    if (!_typed) {
        return;
    }
    const QString text = *_typed;
    _typed.reset();
    const std::optional<double> number = numberFromText(text);
    if (isUnchanged(text)) {
        display(_exact);
    } else if (!number || (_kind == Kind::whole && *number != std::trunc(*number))) {
        display(_exact);
        const QString fault = number ? QString("is no whole number") : numberFault(text);
        UIField::say(
            this, QString("\"%1\" %2; %3 stays").arg(text.left(40), fault, fullText(_exact)).toStdString());
    } else {
        UIField::say(this, "");
        enter(*number);
    }
}

void NumberField::setLimits(std::optional<double> min, std::optional<double> max)
{
    const QSignalBlocker blocker(this);
    _min = min;
    _max = max;
    const double free = _kind == Kind::whole ? std::numeric_limits<int>::max() : kFree;
    setRange(min.value_or(_kind == Kind::whole ? std::numeric_limits<int>::min() : -free),
             max.value_or(free));
    display(_exact);
}

void NumberField::setMark(const QString& text)
{
    if (!_mark) {
        _mark = new QLabel(this);
        _mark->setProperty("zrkRole", "hint");
        _mark->setAttribute(Qt::WA_TransparentForMouseEvents);
    }
    _mark->setText(text);
    _mark->adjustSize();
    lineEdit()->setTextMargins(_mark->width() + 2, 0, 0, 0);
    showText();
    updateGeometry();
}

void NumberField::setFilled(bool filled)
{
    _filled = filled;
    update();
}

void NumberField::describe(zrkmodel::ZRKJson& out) const
{
    out["widget"] = _kind == Kind::whole ? "integer" : "number";
    if (std::isfinite(_exact)) {
        if (_kind == Kind::whole) {
            out["value"] = static_cast<std::int64_t>(_exact);
        } else {
            out["value"] = _exact;
        }
    } else {
        out["value"] = textOfNumber(_exact, decimals()).toStdString();
    }
    const auto limit = [&](const char* key, double value) {
        if (_kind == Kind::whole) {
            out[key] = static_cast<std::int64_t>(value);
        } else {
            out[key] = value;
        }
    };
    if (_min) {
        limit("min", minimum());
    }
    if (_max) {
        limit("max", maximum());
    }
    if (_kind == Kind::real) {
        out["decimals"] = decimals();
    }
}

QString NumberField::textFromValue(double value) const
{
    const double shown = value == _inner ? _exact : value;
    return hasFocus() ? fullText(shown) : fittingText(shown);
}

QString NumberField::fullText(double value) const
{
    return textOfNumber(_kind == Kind::whole && std::isfinite(value) ? std::trunc(value) : value, decimals());
}

/// With as many digits as there is room for: one reads a wrong number from a text that is cut.
QString NumberField::fittingText(double value) const
{
    const QMargins margins = lineEdit()->textMargins();
    const int room = lineEdit()->width() - margins.left() - margins.right() - 4; // the line's own margins
    const auto fits = [&](const QString& text) { return fontMetrics().horizontalAdvance(text) <= room; };
    QString text = fullText(value);
    if (_kind == Kind::real) {
        for (int digits = decimals() - 1; digits >= 0 && !fits(text); --digits) {
            text = textOfNumber(value, digits);
        }
    }
    for (int digits = 3; digits > 0 && !fits(text) && std::isfinite(value); --digits) {
        text = shortTextOfNumber(value, digits);
    }
    return text;
}

/// Whether a text is one that the field shows its number as.
bool NumberField::isUnchanged(const QString& text) const
{
    return text == fullText(_exact) || text == fittingText(_exact);
}

double NumberField::valueFromText(const QString& text) const
{
    return isUnchanged(text) ? _inner : numberFromText(text).value_or(_inner);
}

QValidator::State NumberField::validate(QString&, int&) const
{
    return QValidator::Acceptable; // told by takeTyped, which keeps the former number
}

/// The tenth part of the number's order, and towards zero that of the numbers just below it, so that a step
/// back undoes a step.
double NumberField::step(bool isTowardsZero) const
{
    if (_kind == Kind::whole) {
        return 1;
    }
    if (_min && _max && *_max - *_min < 1e3) {
        return (*_max - *_min) / 100;
    }
    const double size = std::isfinite(_exact) ? std::abs(_exact) : 0;
    if (size < 1e-3) {
        return 0.1;
    }
    const double within = isTowardsZero ? size / 1.01 : size * (1 + 1e-9); // sums of steps are rounded
    return std::max(1e-4, std::pow(10.0, std::floor(std::log10(within)) - 1));
}

/// Shift makes coarse steps and Ctrl fine ones.
double NumberField::stepFactorOf(Qt::KeyboardModifiers modifiers)
{
    return (modifiers & Qt::ShiftModifier) != 0 ? 10.0 : (modifiers & Qt::ControlModifier) != 0 ? 0.1 : 1.0;
}

void NumberField::stepBy(int steps)
{
    takeTyped();
    const double from = std::isnan(_exact) ? _inner : withinLimits(_exact);
    enter(from + steps * step((steps < 0) == (_exact > 0)) * _stepFactor.value_or(1.0));
    selectAll();
}

QSize NumberField::sizeHint() const
{
    QSize size = QDoubleSpinBox::minimumSizeHint();
    size.setWidth(std::max(scaled(*this, 76), minimumSizeHint().width()));
    return size;
}

QSize NumberField::minimumSizeHint() const
{
    const int mark = _mark ? _mark->width() + 2 : 0;
    return {fontMetrics().horizontalAdvance("-0.000") + mark + scaled(*this, 18), scaled(*this, 24)};
}

void NumberField::paintEvent(QPaintEvent* event)
{
    QDoubleSpinBox::paintEvent(event);
    if (!_filled || !(maximum() > minimum()) || std::isnan(_exact)) {
        return;
    }
    using Role = ZRKCSSStyle::Role;
    const ZRKCSSStyle& style = ZRKCSSStyle::current();
    const int edge = hasFocus() ? 2 : 1;
    QRectF inside = QRectF(rect()).adjusted(edge, edge, -edge, -edge);
    const double share = std::clamp((_exact - minimum()) / (maximum() - minimum()), 0.0, 1.0);
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setClipRect(QRectF(inside.left(), inside.top(), inside.width() * share, inside.height()));
    painter.setBrush(style.color(isEnabled() ? Role::accentFill : Role::paneLine));
    painter.drawRoundedRect(inside, 3, 3);
    // Along the foot, where it crosses no text.
    painter.setBrush(style.color(isEnabled() ? Role::accent : Role::edge));
    const double foot = 2 * uiScale(*this);
    painter.drawRect(QRectF(inside.left(), inside.bottom() - foot, inside.width(), foot));
}

void NumberField::resizeEvent(QResizeEvent* event)
{
    QDoubleSpinBox::resizeEvent(event);
    if (_mark) {
        // On the line's own baseline, which lies lower where the room is odd.
        _mark->move(scaled(*this, 7), (height() - _mark->height() + 1) / 2);
        _mark->raise();
    }
    if (!_typed) {
        showText();
    }
}

void NumberField::wheelEvent(QWheelEvent* event)
{
    // A panel scrolls under the pointer; only the field that one works in takes the wheel.
    if (!hasFocus()) {
        event->ignore();
        return;
    }
    const int turned = event->angleDelta().y() + event->angleDelta().x(); // Shift may turn it sideways
    if (turned != 0) {
        _stepFactor = stepFactorOf(event->modifiers());
        stepBy(turned > 0 ? 1 : -1);
        _stepFactor.reset();
    }
    event->accept();
}

void NumberField::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Escape && _drag && _drag->moved) {
        enter(std::exchange(_drag, std::nullopt)->start);
        event->accept();
        return;
    }
    if (event->key() == Qt::Key_Escape && _typed) {
        display(_exact);
        event->accept();
        return;
    }
    if (event->key() == Qt::Key_Up || event->key() == Qt::Key_Down) {
        _stepFactor = stepFactorOf(event->modifiers()); // the base would make ten steps of one with Ctrl
        stepBy(event->key() == Qt::Key_Up ? 1 : -1);
        _stepFactor.reset();
        event->accept();
        return;
    }
    QDoubleSpinBox::keyPressEvent(event);
}

void NumberField::focusInEvent(QFocusEvent* event)
{
    _clickedInto = event->reason() == Qt::MouseFocusReason;
    showText(); // in full
    QDoubleSpinBox::focusInEvent(event);
}

void NumberField::focusOutEvent(QFocusEvent* event)
{
    QDoubleSpinBox::focusOutEvent(event);
    if (!_typed) {
        showText();
    }
}

bool NumberField::eventFilter(QObject* watched, QEvent* event)
{
    if (!isEnabled()) {
        return QDoubleSpinBox::eventFilter(watched, event);
    }
    switch (event->type()) {
    case QEvent::MouseButtonPress: {
        const auto& press = static_cast<QMouseEvent&>(*event);
        if (press.button() == Qt::LeftButton && std::exchange(_clickedInto, false)) {
            _drag = Drag{placeOf(press).x(), std::isfinite(_exact) ? _exact : _inner};
        }
        break;
    }
    case QEvent::MouseMove:
        if (_drag) {
            const int x = placeOf(static_cast<QMouseEvent&>(*event)).x();
            _drag->moved = _drag->moved || std::abs(x - _drag->startX) >= kDragStart;
            if (_drag->moved) {
                dragTo(x);
            }
            return true;
        }
        break;
    case QEvent::MouseButtonRelease:
        if (_drag) {
            const bool moved = _drag->moved;
            _drag.reset();
            if (moved) {
                clearFocus();
            } else {
                selectAll();
            }
        }
        break;
    default:
        break;
    }
    return QDoubleSpinBox::eventFilter(watched, event);
}

void NumberField::dragTo(int x)
{
    if (_filled) {
        const double share = static_cast<double>(x) / std::max(1, lineEdit()->width());
        enter(minimum() + std::clamp(share, 0.0, 1.0) * (maximum() - minimum()));
    } else {
        const double steps = std::trunc((x - _drag->startX) / 4.0);
        enter(_drag->start + steps * step());
    }
}

} // namespace zrkui
