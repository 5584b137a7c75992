#include "apps/workbench/views/pane_parts.h"

#include "apps/workbench/look/icons.h"
#include "inspectors/css_style.h"

#include <QButtonGroup>
#include <QHBoxLayout>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QWheelEvent>

#include <algorithm>
#include <cmath>

namespace zrkworkbench {

using zrkui::scaled;
using zrkui::ZRKCSSStyle;
using Role = ZRKCSSStyle::Role;

namespace {

QColor colorOf(Role role) { return ZRKCSSStyle::current().color(role); }

QFont weighted(QFont font, int weight)
{
    font.setWeight(static_cast<QFont::Weight>(weight));
    return font;
}

/// One of the axes.
class SegmentButton final : public QAbstractButton {
public:
    SegmentButton(const QString& text, QWidget* parent) : QAbstractButton(parent)
    {
        setText(text);
        setCheckable(true);
        setFocusPolicy(Qt::TabFocus);
        setAccessibleName("cut across " + text);
        setToolTip(QString("Cut across %1 (%2)").arg(text, text.toUpper()));
    }
    QSize sizeHint() const override { return {scaled(*this, 25), scaled(*this, 22)}; }

protected:
    void paintEvent(QPaintEvent*) override
    {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        const QRectF box = QRectF(rect());
        if (isChecked() || underMouse()) {
            painter.setPen(Qt::NoPen);
            painter.setBrush(isChecked() ? colorOf(Role::accentFill) : ZRKCSSStyle::current().hoveredRow());
            painter.drawRoundedRect(box, 3, 3);
        }
        if (hasFocus()) {
            paintFocusRing(painter, box, 3);
        }
        painter.setFont(weighted(font(), isChecked() ? QFont::DemiBold : QFont::Normal));
        painter.setPen(isChecked() ? colorOf(Role::link) : colorOf(Role::secondText));
        painter.drawText(box, Qt::AlignCenter, text());
    }
};

} // namespace

void paintFocusRing(QPainter& painter, const QRectF& box, double radius)
{
    painter.save();
    painter.setPen(QPen(colorOf(Role::accent), 2));
    painter.setBrush(Qt::NoBrush);
    painter.drawRoundedRect(box.adjusted(1, 1, -1, -1), radius, radius);
    painter.restore();
}

void paintNote(QPainter& painter, const QRectF& box, double radius)
{
    QColor ground = colorOf(Role::note);
    ground.setAlphaF(ZRKCSSStyle::kNoteOpacity);
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(ground);
    painter.drawRoundedRect(box, radius, radius);
    painter.restore();
}

void paintChevron(QPainter& painter, const QRectF& box, const QColor& color)
{
    const double unit = box.width() / 16;
    QPainterPath path;
    path.moveTo(box.left() + 4.5 * unit, box.top() + 6.25 * unit);
    path.lineTo(box.left() + 8 * unit, box.top() + 9.75 * unit);
    path.lineTo(box.left() + 11.5 * unit, box.top() + 6.25 * unit);
    painter.setPen(QPen(color, 1.5 * unit, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.setBrush(Qt::NoBrush);
    painter.drawPath(path);
}

TabButton::TabButton(const QString& text, QWidget* parent) : QAbstractButton(parent)
{
    setText(text);
    setCheckable(true);
    setFocusPolicy(Qt::TabFocus);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Expanding);
}

QSize TabButton::sizeHint() const
{
    const QFontMetrics metrics(weighted(font(), QFont::DemiBold));
    return {metrics.horizontalAdvance(text()) + scaled(*this, 4), scaled(*this, 36)};
}

void TabButton::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setFont(weighted(font(), isChecked() ? QFont::DemiBold : QFont::Normal));
    painter.setPen(isChecked() || underMouse() ? colorOf(Role::text) : colorOf(Role::secondText));
    const int line = scaled(*this, 2);
    painter.drawText(rect(), Qt::AlignCenter, text());
    if (isChecked()) {
        painter.fillRect(QRect(0, height() - line, width(), line), colorOf(Role::accent));
    }
    if (hasFocus()) {
        paintFocusRing(painter, QRectF(rect()).adjusted(0, 4, 0, -4), 4);
    }
}

IconButton::IconButton(const QString& icon, const QString& name, const QString& key, QWidget* parent)
    : QAbstractButton(parent), _icon(icon)
{
    setAccessibleName(name);
    setToolTip(key.isEmpty() ? name : name + " (" + key + ")");
    setFocusPolicy(Qt::TabFocus);
    setFixedSize(sizeHint());
}

QSize IconButton::sizeHint() const { return {scaled(*this, 28), scaled(*this, 28)}; }

void IconButton::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF box(rect());
    if (isChecked() || underMouse() || isDown()) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(isChecked() || isDown() ? colorOf(Role::accentFill)
                                                 : ZRKCSSStyle::current().hoveredRow());
        painter.drawRoundedRect(box, 6, 6);
    }
    if (hasFocus()) {
        paintFocusRing(painter, box, 5);
    }
    const int side = scaled(*this, 16);
    const QRectF place((width() - side) / 2, (height() - side) / 2, side, side);
    const Role role = !isEnabled() ? Role::hint : isChecked() ? Role::accent : Role::secondText;
    paintIcon(painter, _icon, place, colorOf(role));
}

AxisButtons::AxisButtons(QWidget* parent) : QWidget(parent), _buttons(new QButtonGroup(this))
{
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(1, 1, 1, 1);
    row->setSpacing(1);
    for (int axis = 0; axis < 3; ++axis) {
        auto* button = new SegmentButton(QString("xyz").mid(axis, 1), this);
        _buttons->addButton(button, axis);
        row->addWidget(button);
        connect(button, &QAbstractButton::clicked, this, [this, axis] {
            if (_chosen) {
                _chosen(axis);
            }
        });
    }
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    setAxis(2);
}

int AxisButtons::axis() const { return _buttons->checkedId(); }
void AxisButtons::setAxis(int axis) { _buttons->button(axis)->setChecked(true); }
QSize AxisButtons::sizeHint() const { return {scaled(*this, 80), scaled(*this, 24)}; }

void AxisButtons::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(colorOf(Role::edge));
    painter.setBrush(colorOf(Role::field));
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 4, 4);
}

PlaceSlider::PlaceSlider(QWidget* parent) : QSlider(Qt::Horizontal, parent)
{
    setRange(0, kSteps);
    setSingleStep(kSteps / 100);
    setPageStep(kSteps / 10);
    setFocusPolicy(Qt::StrongFocus);
    setMinimumWidth(scaled(*this, 48));
}

QSize PlaceSlider::sizeHint() const { return {scaled(*this, 96), scaled(*this, 24)}; }

int PlaceSlider::margin() const { return scaled(*this, 7); }

void PlaceSlider::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const double y = height() / 2.0;
    const double left = margin();
    const double right = width() - margin();
    const double place = left + (right - left) * value() / kSteps;
    const double line = scaled(*this, 2);
    painter.setPen(QPen(colorOf(Role::edge), line, Qt::SolidLine, Qt::RoundCap));
    painter.drawLine(QPointF(left, y), QPointF(right, y));
    painter.setPen(QPen(colorOf(Role::secondText), line, Qt::SolidLine, Qt::RoundCap));
    painter.drawLine(QPointF(left, y), QPointF(place, y));
    const double radius = scaled(*this, isSliderDown() || underMouse() ? 7 : 6);
    painter.setPen(Qt::NoPen);
    painter.setBrush(colorOf(hasFocus() ? Role::accent : Role::secondText));
    painter.drawEllipse(QPointF(place, y), radius, radius);
}

void PlaceSlider::moveTo(double x)
{
    const double share = (x - margin()) / std::max(1, width() - 2 * margin());
    setValue(static_cast<int>(std::lround(std::clamp(share, 0.0, 1.0) * kSteps)));
}

void PlaceSlider::mousePressEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton) {
        setSliderDown(true);
        moveTo(event->pos().x());
    }
}

void PlaceSlider::mouseMoveEvent(QMouseEvent* event)
{
    if (event->buttons() & Qt::LeftButton) {
        moveTo(event->pos().x());
    }
}

void PlaceSlider::mouseReleaseEvent(QMouseEvent*) { setSliderDown(false); }

void PlaceSlider::wheelEvent(QWheelEvent* event)
{
    const double turns = event->angleDelta().y() / 120.0;
    const int step = event->modifiers() & Qt::ControlModifier ? pageStep()
                     : event->modifiers() & Qt::ShiftModifier ? 1
                                                              : singleStep();
    setValue(value() + static_cast<int>(std::lround(turns * step)));
    event->accept();
}

} // namespace zrkworkbench
