#pragma once

#include "inspectors/css_style.h"

#include <QIcon>
#include <QPainterPath>
#include <QString>
#include <QStringList>

class QPainter;

namespace zrkworkbench {

/// The names of all icons: those of the types are class names, such as "ZRKSphereSDF", the others such as
/// "undo".
QStringList iconNames();
/// Whether there is an icon of this name. What takes a name draws that of a plain node where there is none.
bool hasIcon(const QString& name);

/// Draws an icon into a square. It is made for 16 pixels and sharp at every size.
void paintIcon(QPainter& painter, const QString& name, const QRectF& box, const QColor& color);

/// An icon that is drawn when it is shown, in the colours of the style that is applied then: those of `role`,
/// of hints where it is disabled, and the accent where it is on.
QIcon icon(const QString& name, zrkui::ZRKCSSStyle::Role role = zrkui::ZRKCSSStyle::Role::secondText);

/// An icon as shapes in a square of 16: lines to be drawn with a pen of that width, and what is filled.
struct IconShape {
    QPainterPath lines;
    QPainterPath fills;
    double lineWidth = 1.5;
};

/// The shapes of an icon; those of a plain node for an unknown name.
const IconShape& iconShape(const QString& name);

/// Reads the text of a path in the form of the table in icon_paths.cpp. Nothing is drawn from where it
/// can't be read, and `problem` names the place.
IconShape parseIconShape(const char* text, QString* problem = nullptr);

} // namespace zrkworkbench
