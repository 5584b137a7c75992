#include "apps/workbench/window/parts.h"

#include "apps/workbench/look/icons.h"
#include "inspectors/css_style.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QToolButton>

#include <utility>

namespace zrkworkbench {

using zrkmodel::Tag;
using zrkui::scaled;
using zrkui::ZRKCSSStyle;

void paintTypeIcon(QPainter& painter, const zrkmodel::ZRKGraphObjectRegistration& type, const QRectF& place)
{
    paintIcon(painter, iconNameOf(&type), place, ZRKCSSStyle::current().color(familyOf(type).role));
}

void paintPinSign(QPainter& painter, Tag tag, const QPointF& centre, double radius)
{
    const QColor color = ZRKCSSStyle::current().color(roleOf(tag));
    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    if (tag == Tag::Scalar) {
        painter.drawEllipse(centre, radius, radius);
    } else if (tag == Tag::Vector3d) {
        const double r = 1.2 * radius;
        const QPointF corners[] = {centre + QPointF(0, -r), centre + QPointF(r, 0), centre + QPointF(0, r),
                                   centre + QPointF(-r, 0)};
        painter.drawPolygon(corners, 4);
    } else if (tag == Tag::Color) {
        const double r = 0.9 * radius;
        painter.drawRoundedRect(QRectF(centre.x() - r, centre.y() - r, 2 * r, 2 * r), 1, 1);
    } else {
        painter.setPen(QPen(color, 0.35 * radius));
        painter.setBrush(Qt::NoBrush);
        painter.drawEllipse(centre, 0.8 * radius, 0.8 * radius);
    }
}

QToolButton* toolButton(const QString& iconName, const QString& name, QWidget* parent)
{
    auto* button = new QToolButton(parent);
    button->setIcon(icon(iconName));
    button->setAutoRaise(true);
    button->setFixedSize(scaled(*parent, 28), scaled(*parent, 28));
    button->setIconSize(QSize(scaled(*parent, 16), scaled(*parent, 16)));
    button->setAccessibleName(name);
    button->setToolTip(name);
    return button;
}

QHBoxLayout* paneHeader(const QString& title, QLabel* beside, const QString& closing,
                        std::function<void()> close, QWidget* pane)
{
    auto* row = new QHBoxLayout;
    row->setContentsMargins(scaled(*pane, 12), 0, scaled(*pane, 8), 0);
    row->setSpacing(scaled(*pane, 8));
    auto* name = new QLabel(title);
    name->setProperty("zrkRole", "title");
    row->addWidget(name);
    row->addWidget(beside);
    row->addStretch(1);
    QToolButton* button = toolButton("close", closing, pane);
    QObject::connect(button, &QToolButton::clicked, pane, std::move(close));
    row->addWidget(button);
    return row;
}

SearchLine::SearchLine(const QString& purpose, QWidget* parent) : QLineEdit(parent), _purpose(purpose)
{
    setObjectName("SearchBox");
    addAction(icon("search"), QLineEdit::LeadingPosition);
}

void SearchLine::paintEvent(QPaintEvent* event)
{
    QLineEdit::paintEvent(event);
    if (text().isEmpty()) { // a style sheet gives placeholders the colour of text
        QPainter painter(this);
        painter.setPen(ZRKCSSStyle::current().color(ZRKCSSStyle::Role::hint));
        painter.drawText(rect().adjusted(scaled(*this, 33), 0, -scaled(*this, 8), 0), Qt::AlignVCenter,
                         _purpose);
    }
}

} // namespace zrkworkbench
