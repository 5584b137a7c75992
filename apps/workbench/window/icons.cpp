#include "apps/workbench/window/icons.h"

#include "apps/workbench/window/names.h"
#include "inspectors/css_style.h"
#include "inspectors/images.h"

#include <QPainter>
#include <QToolButton>

namespace zrkworkbench {

void drawIcon(QPainter&, const char*, const QRectF&, const QColor&) {}

void drawTypeIcon(QPainter& painter, const zrkmodel::ZRKGraphObjectRegistration& type, const QRectF& place)
{
    if (type.iconResource.pixels) {
        painter.drawImage(place, zrkui::toImage(zrkmodel::ZRKIcon::create(type.iconResource.pixels)));
    }
}

QColor familyColor(const QString&) { return zrkui::ZRKCSSStyle::current().color(zrkui::ZRKCSSStyle::Role::hint); }

QColor familyHeaderColor(const QString& folder) { return familyColor(folder); }

void drawPin(QPainter&, zrkmodel::Tag, const QPointF&, double) {}

QIcon iconNamed(const char*) { return {}; }

QToolButton* toolButton(const char* icon, const QString& name, QWidget* parent)
{
    auto* button = new QToolButton(parent);
    button->setIcon(iconNamed(icon));
    button->setAutoRaise(true);
    button->setFixedSize(zrkui::scaled(*parent, 28), zrkui::scaled(*parent, 28));
    button->setAccessibleName(name);
    button->setToolTip(name);
    return button;
}

} // namespace zrkworkbench
