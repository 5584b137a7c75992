#pragma once

#include <QAbstractButton>
#include <QSlider>
#include <QWidget>

#include <functional>

class QButtonGroup;
class QPainter;

namespace zrkworkbench {

/// A rounded ring around what has the focus, just within `box`.
void paintFocusRing(QPainter& painter, const QRectF& box, double radius);
/// The dark ground of a note on a picture.
void paintNote(QPainter& painter, const QRectF& box, double radius);
/// A hairline triangle that tells of a menu, in a square of 16.
void paintChevron(QPainter& painter, const QRectF& box, const QColor& color);

/// A tab: its text, and a line under it where it is on.
class TabButton : public QAbstractButton {
public:
    explicit TabButton(const QString& text, QWidget* parent = nullptr);
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
};

/// A button of 28 with an icon; it stays on if it is checkable.
class IconButton : public QAbstractButton {
public:
    /// @param name  accessible name and, with its key, tool tip.
    IconButton(const QString& icon, const QString& name, const QString& key, QWidget* parent = nullptr);
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QString _icon;
};

/// x, y and z side by side, of which one is on.
class AxisButtons : public QWidget {
public:
    explicit AxisButtons(QWidget* parent = nullptr);
    int axis() const;
    /// Shows another axis without telling the listener.
    void setAxis(int axis);
    void onChosen(std::function<void(int axis)> listener) { _chosen = std::move(listener); }
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QButtonGroup* _buttons;
    std::function<void(int)> _chosen;
};

/// A thin line with a round handle, 0 to 1000.
class PlaceSlider : public QSlider {
public:
    static constexpr int kSteps = 1000;

    explicit PlaceSlider(QWidget* parent = nullptr);
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;

private:
    int margin() const;
    void moveTo(double x);
};

} // namespace zrkworkbench
