#include "apps/workbench/canvas/overlays.h"

#include "apps/workbench/look/icons.h"
#include "inspectors/css_style.h"

#include <QAction>
#include <QHBoxLayout>
#include <QPainter>
#include <QTimer>

#include <algorithm>

namespace zrkworkbench {

using zrkui::scaled;
using Style = zrkui::ZRKCSSStyle;
using Role = Style::Role;

namespace {

constexpr int kReasonMs = 3000;

QFont fontAt(const QWidget& widget, double pixels, bool isBold = false)
{
    QFont font = widget.font();
    font.setPixelSize(scaled(widget, pixels));
    font.setWeight(isBold ? QFont::DemiBold : QFont::Normal);
    return font;
}

/// Moves a rectangle so that it lies within its parent.
QRect within(const QWidget& widget, const QPoint& at, const QSize& size)
{
    const QRect room = widget.parentWidget()->rect().adjusted(6, 6, -6, -6);
    return {QPoint(std::clamp(at.x(), room.left(), std::max(room.left(), room.right() - size.width())),
                   std::clamp(at.y(), room.top(), std::max(room.top(), room.bottom() - size.height()))),
            size};
}

} // namespace

ToolButton::ToolButton(QWidget* parent) : QToolButton(parent)
{
    setFocusPolicy(Qt::TabFocus);
    setAutoRaise(true);
}

QSize ToolButton::sizeHint() const { return {scaled(*this, 28), scaled(*this, 28)}; }

void ToolButton::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const Style& style = Style::current();
    const QRectF box = QRectF(rect()).adjusted(1, 1, -1, -1);
    const bool isOn = isChecked() || isDown();
    if (isOn || (underMouse() && isEnabled())) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(isOn ? style.color(Role::accentFill) : style.hoveredRow());
        painter.drawRoundedRect(box, scaled(*this, 5), scaled(*this, 5));
    }
    if (hasFocus()) {
        painter.setPen(QPen(style.color(Role::accent), 1.5));
        painter.setBrush(Qt::NoBrush);
        painter.drawRoundedRect(box, scaled(*this, 5), scaled(*this, 5));
    }
    const int side = scaled(*this, 16);
    icon().paint(&painter, QRect((width() - side) / 2, (height() - side) / 2, side, side), Qt::AlignCenter,
                 isEnabled() ? QIcon::Normal : QIcon::Disabled, isChecked() ? QIcon::On : QIcon::Off);
}

ChipButton::ChipButton(QWidget* parent) : QToolButton(parent) { setFocusPolicy(Qt::TabFocus); }

QSize ChipButton::sizeHint() const
{
    return {QFontMetrics(fontAt(*this, 12)).horizontalAdvance(text()) + scaled(*this, 24), scaled(*this, 28)};
}

void ChipButton::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const Style& style = Style::current();
    const Role edge = hasFocus() ? Role::accent : underMouse() ? Role::edgeHovered : Role::edge;
    painter.setPen(QPen(style.color(edge), 1));
    painter.setBrush(style.color(Role::popup));
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), scaled(*this, 6),
                            scaled(*this, 6));
    painter.setFont(fontAt(*this, 12));
    painter.setPen(style.color(Role::text));
    painter.drawText(rect(), Qt::AlignCenter, text());
}

Card::Card(QWidget* parent) : QFrame(parent) { setFocusPolicy(Qt::NoFocus); }

void Card::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const Style& style = Style::current();
    painter.setPen(QPen(style.color(Role::edge), 1));
    painter.setBrush(style.color(Role::popup));
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), scaled(*this, 6),
                            scaled(*this, 6));
}

ToolStrip::ToolStrip(QWidget* parent) : Card(parent), _row(new QHBoxLayout(this))
{
    const int pad = scaled(*this, 4);
    _row->setContentsMargins(pad, pad, pad, pad);
    _row->setSpacing(scaled(*this, 2));
    setAccessibleName("tools of the canvas");
}

void ToolStrip::add(QAction* action)
{
    auto* button = new ToolButton(this);
    button->setDefaultAction(action);
    button->setAccessibleName(action->text().remove('&'));
    _row->addWidget(button);
}

ReasonCard::ReasonCard(QWidget* parent) : Card(parent), _timer(new QTimer(this))
{
    hide();
    setAccessibleName("why this can't be done");
    setAttribute(Qt::WA_TransparentForMouseEvents);
    _timer->setSingleShot(true);
    connect(_timer, &QTimer::timeout, this, [this] { hide(); });
}

void ReasonCard::show(const QPoint& at, const QString& reason, const QString& remedy)
{
    _reason = reason;
    _remedy = remedy;
    setAccessibleDescription(text());
    const int inner = std::max(QFontMetrics(fontAt(*this, 13, true)).horizontalAdvance(reason),
                               QFontMetrics(fontAt(*this, 12)).horizontalAdvance(remedy));
    const QSize size(inner + scaled(*this, 52), scaled(*this, remedy.isEmpty() ? 36 : 56));
    setGeometry(within(*this, at, size));
    QFrame::show();
    raise();
    update();
    _timer->start(kReasonMs);
}

void ReasonCard::paintEvent(QPaintEvent* event)
{
    Card::paintEvent(event);
    QPainter painter(this);
    const Style& style = Style::current();
    const int pad = scaled(*this, 12);
    const int side = scaled(*this, 16);
    paintIcon(painter, "error", QRectF(pad, scaled(*this, 10), side, side), style.color(Role::error));
    const int left = pad + side + scaled(*this, 8);
    painter.setFont(fontAt(*this, 13, true));
    painter.setPen(style.color(Role::text));
    painter.drawText(QRect(left, scaled(*this, 6), width() - left, scaled(*this, 24)), Qt::AlignVCenter,
                     _reason);
    painter.setFont(fontAt(*this, 12));
    painter.setPen(style.color(Role::secondText));
    painter.drawText(QRect(left, scaled(*this, 28), width() - left, scaled(*this, 20)), Qt::AlignVCenter,
                     _remedy);
}

InfoCard::InfoCard(QWidget* parent) : Card(parent)
{
    hide();
    setAccessibleName("what flows through the wire");
    setAttribute(Qt::WA_TransparentForMouseEvents);
}

void InfoCard::show(const QPoint& at, const QString& title, std::vector<std::pair<QString, QString>> rows)
{
    _title = title;
    _rows = std::move(rows);
    const QFontMetrics names(fontAt(*this, 12));
    const QFontMetrics values(fontAt(*this, 12, true));
    int inner = QFontMetrics(fontAt(*this, 12, true)).horizontalAdvance(title);
    for (const auto& [name, value] : _rows) {
        inner = std::max(inner,
                         names.horizontalAdvance(name) + values.horizontalAdvance(value) + scaled(*this, 28));
    }
    setGeometry(within(*this, at,
                       {inner + scaled(*this, 24), scaled(*this, 34 + 22 * static_cast<int>(_rows.size()))}));
    QFrame::show();
    raise();
    update();
}

void InfoCard::paintEvent(QPaintEvent* event)
{
    Card::paintEvent(event);
    QPainter painter(this);
    const Style& style = Style::current();
    const int pad = scaled(*this, 12);
    painter.setFont(fontAt(*this, 12, true));
    painter.setPen(style.color(Role::text));
    painter.drawText(QRect(pad, scaled(*this, 4), width(), scaled(*this, 24)), Qt::AlignVCenter, _title);
    int y = scaled(*this, 28);
    for (const auto& [name, value] : _rows) {
        const QRect row(pad, y, width() - 2 * pad, scaled(*this, 22));
        painter.setFont(fontAt(*this, 12));
        painter.setPen(style.color(Role::secondText));
        painter.drawText(row, Qt::AlignVCenter | Qt::AlignLeft, name);
        painter.setFont(fontAt(*this, 12, true));
        painter.setPen(style.color(Role::text));
        painter.drawText(row, Qt::AlignVCenter | Qt::AlignRight, value);
        y += row.height();
    }
}

} // namespace zrkworkbench
