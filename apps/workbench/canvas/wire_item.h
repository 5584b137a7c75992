#pragma once

#include "apps/workbench/canvas/graph_info.h"

#include <QGraphicsItem>
#include <QPainterPath>

namespace zrkworkbench {

/// The curve of a wire from an output to an input, by way of points.
QPainterPath wirePath(const QPointF& from, const QPointF& to, const std::vector<QPointF>& via = {});

/// Draws a link.
class WireItem : public QGraphicsItem {
public:
    enum { Type = UserType + 2 };

    WireItem();

    int type() const override { return Type; }
    const WireInfo& info() const { return _info; }
    void setInfo(WireInfo info);
    void setEnds(const QPointF& from, const QPointF& to);
    const QPainterPath& path() const { return _path; }

    void setHovered(bool isOn);
    void setSelected(bool isOn);
    bool isSelected() const { return _isSelected; }
    /// Another wire is dragged.
    void setFaded(bool isOn);
    /// Held by the pointer, with a pin at the free end.
    void setDragged(bool isOn);
    /// Held where it can't be dropped.
    void setRefused(bool isOn);
    /// A thin line that isn't smoothed, as long as the zoom of a large document moves. It shows with the next
    /// painting, which isn't asked for here.
    void setPlain(bool isOn) { _isPlain = isOn; }

    /// How far a point of the scene is from the wire.
    double distanceTo(const QPointF& point) const;

    QRectF boundingRect() const override { return _bounds; }
    void paint(QPainter* painter, const QStyleOptionGraphicsItem* option, QWidget* widget) override;

private:
    WireInfo _info;
    QPointF _from;
    QPointF _to;
    QPainterPath _path;
    QPolygonF _line; ///< the path as a line, for distances
    QRectF _bounds;
    bool _isHovered = false;
    bool _isSelected = false;
    bool _isFaded = false;
    bool _isDragged = false;
    bool _isRefused = false;
    bool _isPlain = false;

    void layOut();
    void restack();
};

/// The zoom that a painter of the scene draws at; 1 for 100 % whatever the scale of the interface.
double zoomOf(const QPainter& painter);
/// The scale of the interface, which `zoomOf` leaves out.
void setSceneScale(double scale);

} // namespace zrkworkbench
