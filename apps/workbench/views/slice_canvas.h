#pragma once

#include "apps/workbench/views/preview_service.h"
#include "apps/workbench/views/slice_work.h"

#include <QWidget>

#include <functional>
#include <optional>
#include <string>

namespace zrkworkbench {

/// The picture of a slice with its legend, scale bar and notes. It is zoomed by the wheel about the pointer
/// and moved by dragging; what is shown meanwhile is the last picture, until a newer one comes.
class SliceCanvas : public QWidget {
public:
    explicit SliceCanvas(QWidget* parent = nullptr);

    /// The plane that is cut. Another axis or other bounds show the whole again.
    void setPlane(const zrk::BBox<double>& bounds, int axis);
    void setUnit(const std::string& unit);
    void display(const SlicePreview& preview);
    /// A message in place of a picture.
    void say(const QString& message);
    /// Shows what a field has under the pointer; nothing where it isn't known.
    void showReadout(const Readout& readout);

    /// What of the plane is to be seen, model units, y upwards, and in how many pixels of the screen.
    QRectF window() const;
    QSize devicePixels() const;
    /// The values at the ends of the colours; none without a picture.
    std::optional<zrkmodel::ValueRange> range() const;
    bool isWhole() const { return !_part; }
    void showWhole();
    /// Zooms about the middle.
    void zoomBy(double factor);
    /// Whether places with wrong gradients are to be shaded.
    bool isShading() const { return _isShading; }

    /// The listener is called when another part or resolution is wanted, or shading.
    void onWanted(std::function<void()> listener) { _wanted = std::move(listener); }
    /// The listener is told of the place in the plane that the pointer is at; nothing when it left.
    void onPointed(std::function<void(std::optional<QPointF>)> listener) { _pointed = std::move(listener); }
    /// The listener is called with the wheel's turns while Alt is held.
    void onScrolled(std::function<void(double turns)> listener) { _scrolled = std::move(listener); }

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void leaveEvent(QEvent* event) override;

private:
    class SlopeNote;
    SlopeNote* _slopeNote;
    zrk::BBox<double> _bounds;
    int _axis = 2;
    std::string _unit;
    std::optional<QRectF> _part; ///< of the plane; without it all of the bounds is shown
    SlicePreview _preview;
    QString _message;
    Readout _readout;
    std::optional<QPointF> _pointer;
    struct Drag {
        QPointF pointer;
        QRectF window;
    };
    std::optional<Drag> _drag;
    bool _isShading = false;
    std::function<void()> _wanted;
    std::function<void(std::optional<QPointF>)> _pointed;
    std::function<void(double)> _scrolled;

    QRectF pictureBox() const;
    QPointF toPlane(const QPointF& place) const;
    QRectF toScreen(const QRectF& part) const;
    void setPart(const QRectF& part);
    void zoomAbout(const QPointF& at, double factor);
    void tellPointer();
    void want() const;
    void placeNote();
    void paintPicture(QPainter& painter, const QRectF& box) const;
    void paintBounds(QPainter& painter, const QRectF& box) const;
    void paintLegend(QPainter& painter, const QRectF& box) const;
    void paintComponents(QPainter& painter, const QRectF& bar) const;
    void paintScale(QPainter& painter, const QRectF& box) const;
    void paintCross(QPainter& painter) const;
    void paintReadout(QPainter& painter, const QRectF& box) const;
};

} // namespace zrkworkbench
