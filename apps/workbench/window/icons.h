#pragma once

#include "model/registry.h"

#include <QColor>
#include <QIcon>
#include <QRectF>

class QPainter;
class QToolButton;
class QWidget;

namespace zrkworkbench {

/// Draws an icon of the table by its name; nothing for a name that isn't in it.
void drawIcon(QPainter& painter, const char* name, const QRectF& place, const QColor& color);

/// The icon of a type in the colour of its family.
void drawTypeIcon(QPainter& painter, const zrkmodel::ZRKGraphObjectRegistration& type, const QRectF& place);

/// An icon of the table for buttons and menus, in the palette that is applied now.
/// The colour of a family of components, by its folder.
QColor familyColor(const QString& folder);
/// The same as the ground of a node's header.
QColor familyHeaderColor(const QString& folder);

/// The sign of a pin by its tag, of this radius.
void drawPin(QPainter& painter, zrkmodel::Tag tag, const QPointF& centre, double radius);

QIcon iconNamed(const char* name);

/// A button of 28 pixels with an icon and no text.
QToolButton* toolButton(const char* icon, const QString& name, QWidget* parent);

} // namespace zrkworkbench
