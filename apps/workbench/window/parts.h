#pragma once

#include "apps/workbench/look/families.h"

#include <QLineEdit>
#include <QRectF>

#include <functional>

class QHBoxLayout;
class QLabel;
class QPainter;
class QToolButton;
class QWidget;

namespace zrkworkbench {

/// Draws the icon of a type in the colour of its family.
void paintTypeIcon(QPainter& painter, const zrkmodel::ZRKGraphObjectRegistration& type, const QRectF& place);

/// Draws the sign of a pin by its tag, of this radius: a circle, a diamond, a square, or a ring for what has
/// no tag yet.
void paintPinSign(QPainter& painter, zrkmodel::Tag tag, const QPointF& centre, double radius);

/// A button of 28 pixels with an icon and no text.
QToolButton* toolButton(const QString& icon, const QString& name, QWidget* parent);

/// The first row of a pane: its title, a text beside it, which may change, and a button that closes the pane.
QHBoxLayout* paneHeader(const QString& title, QLabel* beside, const QString& closing,
                        std::function<void()> close, QWidget* pane);

/// A line with a search icon; while it is empty it shows what it is for, in the colour of hints.
class SearchLine : public QLineEdit {
public:
    explicit SearchLine(const QString& purpose, QWidget* parent = nullptr);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QString _purpose;
};

} // namespace zrkworkbench
