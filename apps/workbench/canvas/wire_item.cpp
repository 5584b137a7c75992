#include "apps/workbench/canvas/wire_item.h"

#include "apps/workbench/canvas/metrics.h"
#include "apps/workbench/canvas/node_item.h"
#include "apps/workbench/look/families.h"
#include "apps/workbench/look/icons.h"

#include <QPainter>
#include <QStyleOptionGraphicsItem>

#include <algorithm>
#include <cmath>

namespace zrkworkbench {

using Style = zrkui::ZRKCSSStyle;
using Role = Style::Role;

namespace {

constexpr double kMargin = 12; ///< of the glow, and of the pin at the free end
double sceneScale = 1;

void addCurve(QPainterPath& path, const QPointF& from, const QPointF& to)
{
    const QPointF d = to - from;
    double handle = std::min(160.0, 24 - d.x() / 2);
    if (d.x() >= 0) {
        handle = std::abs(d.y()) < 0.5 ? d.x() / 2 : std::clamp(d.x() / 2, 24.0, 96.0);
    }
    path.cubicTo(from + QPointF(handle, 0), to - QPointF(handle, 0), to);
}

} // namespace

double zoomOf(const QPainter& painter)
{
    return QStyleOptionGraphicsItem::levelOfDetailFromTransform(painter.worldTransform()) / sceneScale;
}

void setSceneScale(double scale) { sceneScale = scale; }

QPainterPath wirePath(const QPointF& from, const QPointF& to, const std::vector<QPointF>& via)
{
    QPainterPath path(from);
    QPointF at = from;
    for (const QPointF& point : via) {
        addCurve(path, at, point);
        at = point;
    }
    addCurve(path, at, to);
    return path;
}

WireItem::WireItem() { restack(); }

void WireItem::setInfo(WireInfo info)
{
    if (info != _info) {
        _info = std::move(info);
        layOut();
    }
}

void WireItem::setEnds(const QPointF& from, const QPointF& to)
{
    if (from != _from || to != _to) {
        _from = from;
        _to = to;
        layOut();
    }
}

void WireItem::layOut()
{
    prepareGeometryChange();
    _path = wirePath(_from, _to, _info.via);
    const QList<QPolygonF> polygons = _path.toSubpathPolygons();
    _line = polygons.isEmpty() ? QPolygonF() : polygons.front();
    _bounds = _path.controlPointRect().adjusted(-kMargin, -kMargin, kMargin, kMargin);
    update();
}

void WireItem::restack() { setZValue(_isDragged ? 1.5 : _isHovered || _isSelected ? 1 : 0); }

void WireItem::setHovered(bool isOn)
{
    if (isOn != _isHovered) {
        _isHovered = isOn;
        restack();
        update();
    }
}

void WireItem::setSelected(bool isOn)
{
    if (isOn != _isSelected) {
        _isSelected = isOn;
        restack();
        update();
    }
}

void WireItem::setFaded(bool isOn)
{
    if (isOn != _isFaded) {
        _isFaded = isOn;
        setOpacity(isOn ? 0.4 : 1);
    }
}

void WireItem::setDragged(bool isOn)
{
    if (isOn != _isDragged) {
        _isDragged = isOn;
        restack();
        update();
    }
}

void WireItem::setRefused(bool isOn)
{
    if (isOn != _isRefused) {
        _isRefused = isOn;
        update();
    }
}

double WireItem::distanceTo(const QPointF& point) const
{
    double least = 1e9;
    for (int i = 0; i + 1 < _line.size(); ++i) {
        const QPointF a = _line[i];
        const QPointF along = _line[i + 1] - a;
        const double length = QPointF::dotProduct(along, along);
        const double t =
            length > 0 ? std::clamp(QPointF::dotProduct(point - a, along) / length, 0.0, 1.0) : 0.0;
        const QPointF away = point - (a + t * along);
        least = std::min(least, std::hypot(away.x(), away.y()));
    }
    return least;
}

void WireItem::paint(QPainter* painter, const QStyleOptionGraphicsItem*, QWidget*)
{
    const Style& style = Style::current();
    const double zoom = zoomOf(*painter);
    const QColor color = _isRefused    ? style.color(Role::error)
                         : _isSelected ? style.color(Role::accent)
                                       : style.color(roleOf(_info.tag));
    painter->setBrush(Qt::NoBrush);
    if (zoom < size::kBlockZoom) {
        painter->setRenderHint(QPainter::Antialiasing, false);
        QPen pen(color, 0);
        painter->setPen(pen);
        QPointF at = _from;
        for (const QPointF& point : _info.via) {
            painter->drawLine(at, point);
            at = point;
        }
        painter->drawLine(at, _to);
        return;
    }
    if (_isPlain && !_isDragged) {
        painter->setRenderHint(QPainter::Antialiasing, false);
        painter->setPen(QPen(color, 0));
        painter->drawPolyline(_line);
        return;
    }
    painter->setRenderHint(QPainter::Antialiasing);
    const bool isStrong = _isHovered || _isDragged || _isSelected;
    const double width = std::max(isStrong ? 2.75 : 2.0, 1.5 / zoom);
    const auto pen = [](const QColor& ink, double wide) {
        return QPen(ink, wide, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
    };
    if (zoom >= size::kPlateZoom) {
        QPen casing = pen(style.color(Role::canvas), width + 3);
        casing.setCapStyle(Qt::FlatCap);
        painter->setPen(casing);
        painter->drawPath(_path);
    }
    if (isStrong) {
        QColor glow = color;
        glow.setAlphaF(0.22);
        painter->setPen(pen(glow, width + 6.25));
        painter->drawPath(_path);
    }
    QPen line = pen(color, width);
    if (_isRefused) {
        line.setDashPattern({2.5, 2.5});
        line.setCapStyle(Qt::FlatCap);
    }
    painter->setPen(line);
    painter->drawPath(_path);
    if (_isDragged) {
        const QPointF end = _info.source.isOutput() ? _to : _from;
        if (_isRefused) {
            painter->setPen(Qt::NoPen);
            painter->setBrush(style.color(Role::canvas));
            painter->drawEllipse(end, 8, 8);
            paintIcon(*painter, "refused", QRectF(end.x() - 8, end.y() - 8, 16, 16), color);
        } else {
            paintPin(*painter, end, _info.tag, color, style.color(Role::canvas), size::kPinRadius);
        }
    }
    for (const QPointF& point : _info.via) {
        paintPin(*painter, point, zrkmodel::Tag::Scalar, color, style.color(Role::canvas), size::kReroute);
    }
}

} // namespace zrkworkbench
