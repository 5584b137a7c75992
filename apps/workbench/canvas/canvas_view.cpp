#include "apps/workbench/canvas/canvas.h"
#include "apps/workbench/canvas/frame_item.h"
#include "apps/workbench/canvas/metrics.h"
#include "apps/workbench/canvas/overlays.h"
#include "apps/workbench/canvas/wire_item.h"
#include "inspectors/css_style.h"

#include <QEvent>
#include <QLabel>
#include <QPainter>
#include <QScrollBar>
#include <QStyle>
#include <QTimer>
#include <QVariantAnimation>

#include <algorithm>
#include <cmath>

namespace zrkworkbench {

using zrkui::scaled;
using Style = zrkui::ZRKCSSStyle;
using Role = Style::Role;

namespace {

constexpr double kFitMargin = 48; ///< on the screen
constexpr int kFitMs = 160;
constexpr std::size_t kManyWires = 200; ///< which take longer than a frame
constexpr int kParts = 24;              ///< in which the viewport is drawn again

} // namespace

double Canvas::sceneScale() const { return zrkui::uiScale(*this); }

bool Canvas::hasAnimations() const
{
    return style()->styleHint(QStyle::SH_Widget_Animation_Duration, nullptr, this) > 0;
}

QPointF Canvas::sceneAt(const QPointF& viewport) const
{
    return viewportTransform().inverted().map(viewport);
}

QPoint Canvas::viewportAt(const QPointF& scene) const { return viewportTransform().map(scene).toPoint(); }

void Canvas::setZoom(double zoom) { zoomTo(zoom, QRectF(viewport()->rect()).center()); }

/// Zooms so that what lies at a point of the viewport stays there. The view moves by whole pixels.
void Canvas::zoomTo(double zoom, const QPointF& anchor)
{
    const QPointF scene = sceneAt(anchor);
    const double scale = sceneScale();
    _zoom = std::clamp(zoom, size::kLeastZoom, size::kMostZoom);
    setSceneScale(scale);
    if (_isCached) {
        setCaching(false);
    }
    setPlain(_wires.size() > kManyWires);
    setTransform(QTransform::fromScale(_zoom * scale, _zoom * scale));
    const QPointF off = viewportTransform().map(scene) - anchor;
    horizontalScrollBar()->setValue(horizontalScrollBar()->value() + static_cast<int>(std::lround(off.x())));
    verticalScrollBar()->setValue(verticalScrollBar()->value() + static_cast<int>(std::lround(off.y())));
    if (_zoomChip) {
        _zoomChip->setText(QString("%1 %").arg(std::lround(_zoom * 100)));
    }
    _quietTimer->start();
    wantThumbnails();
}

void Canvas::centreOn(const QPointF& scene)
{
    const QPointF off = viewportTransform().map(scene) - QRectF(viewport()->rect()).center();
    horizontalScrollBar()->setValue(horizontalScrollBar()->value() + static_cast<int>(std::lround(off.x())));
    verticalScrollBar()->setValue(verticalScrollBar()->value() + static_cast<int>(std::lround(off.y())));
}

void Canvas::showRect(const QRectF& rect, bool isAnimated, double mostZoom)
{
    if (rect.isEmpty() || viewport()->width() < 3 * kFitMargin || viewport()->height() < 4 * kFitMargin) {
        return;
    }
    const double scale = sceneScale();
    // Below the tools, and above the zoom.
    const double top = _tools->geometry().bottom() + kFitMargin / 2;
    const double bottom = 1.25 * kFitMargin;
    const double zoom = std::clamp(std::min((viewport()->width() - 2 * kFitMargin) / (rect.width() * scale),
                                            (viewport()->height() - top - bottom) / (rect.height() * scale)),
                                   size::kLeastZoom, mostZoom);
    const QPointF centre = rect.center() - QPointF(0, (top - bottom) / 2 / (zoom * scale));
    _fitAnimation->stop();
    _fitAnimation->disconnect(this);
    if (!isAnimated || !hasAnimations() || !isVisible()) {
        setZoom(zoom);
        centreOn(centre);
        return;
    }
    const double startZoom = _zoom;
    const QPointF startCentre = sceneAt(QRectF(viewport()->rect()).center());
    _fitAnimation->setDuration(kFitMs);
    _fitAnimation->setEasingCurve(QEasingCurve::OutCubic);
    _fitAnimation->setStartValue(0.0);
    _fitAnimation->setEndValue(1.0);
    connect(_fitAnimation, &QVariantAnimation::valueChanged, this, [=, this](const QVariant& value) {
        const double t = value.toDouble();
        setZoom(startZoom * std::pow(zoom / startZoom, t));
        centreOn(startCentre + t * (centre - startCentre));
    });
    _fitAnimation->start();
}

void Canvas::fit(bool isAnimated)
{
    sync();
    const QRectF selected = _session ? boundsOf(_session->selection()) : QRectF();
    if (selected.isEmpty()) {
        fitAll(isAnimated);
    } else {
        showRect(selected, isAnimated, 1);
    }
}

void Canvas::fitAll(bool isAnimated)
{
    sync();
    QRectF all;
    for (const auto& [id, item] : _nodes) {
        all |= item->frame().adjusted(0, item->info().hasOutputFlag ? -size::kFlagHeight - size::kFlagGap : 0,
                                      0, 0);
    }
    for (const FrameItem* frame : _frames) {
        all |= frame->frame();
    }
    _isFitDue = false;
    showRect(all, isAnimated, 1);
}

/// Shows all of a document that was opened, and does so again where the canvas becomes another size before
/// the user has been there: a panel that opens may take a part of it.
void Canvas::fitOpened()
{
    fitAll(false);
    _opened = look();
}

Canvas::Look Canvas::look() const
{
    return {_zoom, horizontalScrollBar()->value(), verticalScrollBar()->value()};
}

void Canvas::revealNode(std::uint16_t node)
{
    sync();
    const auto found = _nodes.find(node);
    if (found == _nodes.end()) {
        return;
    }
    _session->select({node});
    sync();
    if (_zoom < size::kPlateZoom) {
        showRect(found->second->frame(), true, 1);
    } else if (!viewport()->rect().contains(nodeRect(node))) {
        centreOn(found->second->frame().center());
    }
}

/// Pictures of nodes are kept while only the place changes: that costs most of a frame's time.
void Canvas::setCaching(bool isOn)
{
    if (isOn == _isCached) {
        return;
    }
    _isCached = isOn;
    for (auto& [id, item] : _nodes) {
        item->setCacheMode(isOn ? QGraphicsItem::DeviceCoordinateCache : QGraphicsItem::NoCache);
    }
}

/// Wires take most of a frame of a large document. While its zoom moves they are drawn plainly; then what is
/// seen is drawn anew from top to bottom, a part in each turn of the event loop.
void Canvas::setPlain(bool isOn)
{
    if (isOn == _isPlain) {
        return;
    }
    _isPlain = isOn;
    for (auto& [input, wire] : _wires) {
        wire->setPlain(isOn);
    }
    if (isOn) {
        _refineTimer->stop();
    } else {
        _refinedTo = 0;
        _refineTimer->start(0);
    }
}

bool Canvas::isSettled() const { return isWhole() && !_isPlain && !_refineTimer->isActive(); }

void Canvas::refineMore()
{
    const int rows = viewport()->height() / kParts + 1;
    viewport()->update(0, _refinedTo, viewport()->width(), rows);
    _refinedTo += rows;
    if (_refinedTo >= viewport()->height()) {
        _refineTimer->stop();
    }
}

void Canvas::setThumbnailsShown(bool areShown)
{
    if (areShown == _hasThumbnails) {
        return;
    }
    sync();
    _hasThumbnails = areShown;
    for (auto& [id, item] : _nodes) {
        item->setThumbnailShown(showsThumbnail(id));
    }
    if (QAction* shown = action("thumbnails")) {
        shown->setChecked(areShown);
    }
    layOutFrames();
    wantThumbnails();
}

Canvas::Ids Canvas::visibleNodes() const
{
    const QRectF seen = viewportTransform().inverted().mapRect(QRectF(viewport()->rect()));
    Ids nodes;
    for (const auto& [id, item] : _nodes) {
        if (item->frame().intersects(seen)) {
            nodes.push_back(id);
        }
    }
    return nodes;
}

void Canvas::wantThumbnails()
{
    if (_thumbnailsWanted && !_thumbnailTimer->isActive()) {
        _thumbnailTimer->start();
    }
}

void Canvas::askForThumbnails()
{
    if (!_thumbnailsWanted || !_session) {
        return;
    }
    Ids nodes;
    double width = 0;
    if (_hasThumbnails && _zoom >= size::kPlateZoom) {
        for (const std::uint16_t id : visibleNodes()) {
            if (_nodes.at(id)->isThumbnailShown()) {
                nodes.push_back(id);
                width = std::max(width, _nodes.at(id)->thumbnailSize().width());
            }
        }
    }
    const double pixels = width * _zoom * sceneScale() * devicePixelRatioF();
    const QSize wanted(static_cast<int>(std::lround(pixels)),
                       static_cast<int>(std::lround(pixels * size::kThumbnailShape)));
    if (nodes != _wantedThumbnails || wanted != _wantedSize) {
        _wantedThumbnails = nodes;
        _wantedSize = wanted;
        _thumbnailsWanted(nodes, wanted);
    }
}

void Canvas::layOutOverlays()
{
    const int margin = scaled(*this, 12);
    _tools->adjustSize();
    _tools->move(margin, margin);
    if (_zoomChip) {
        _zoomChip->adjustSize();
        _zoomChip->move(margin, height() - margin - _zoomChip->height());
    }
    _hint->adjustSize();
    _hint->move((width() - _hint->width()) / 2, (height() - _hint->height()) / 2);
}

void Canvas::resizeEvent(QResizeEvent* event)
{
    const bool isAsOpened = _opened && *_opened == look();
    QGraphicsView::resizeEvent(event);
    layOutOverlays();
    if ((_isFitDue || isAsOpened) && isVisible() && isWhole()) {
        fitOpened();
    }
    wantThumbnails();
}

void Canvas::showEvent(QShowEvent* event)
{
    QGraphicsView::showEvent(event);
    setZoom(_zoom);
    layOutOverlays();
    if (_isFitDue && isWhole()) {
        fitOpened();
    }
}

void Canvas::changeEvent(QEvent* event)
{
    QGraphicsView::changeEvent(event);
    const auto type = event->type();
    if (_scene &&
        (type == QEvent::PaletteChange || type == QEvent::StyleChange || type == QEvent::FontChange)) {
        for (auto& [id, item] : _nodes) {
            item->update();
        }
        setZoom(_zoom);
        layOutOverlays();
        viewport()->update();
    }
}

void Canvas::scrollContentsBy(int dx, int dy)
{
    QGraphicsView::scrollContentsBy(dx, dy);
    wantThumbnails();
}

void Canvas::drawBackground(QPainter* painter, const QRectF& rect)
{
    const Style& style = Style::current();
    painter->fillRect(rect, style.color(Role::canvas));
    if (_zoom < size::kBlockZoom) {
        return;
    }
    const double pitch = _zoom >= 1 ? 16 : _zoom >= size::kNamesZoom ? 32 : 64;
    QVector<QPointF> dots;
    for (double y = std::floor(rect.top() / pitch) * pitch; y <= rect.bottom() + pitch; y += pitch) {
        for (double x = std::floor(rect.left() / pitch) * pitch; x <= rect.right() + pitch; x += pitch) {
            dots.append({x, y});
        }
    }
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setPen(QPen(style.color(Role::canvasDots), 1.8 / _zoom, Qt::SolidLine, Qt::RoundCap));
    painter->drawPoints(dots.constData(), static_cast<int>(dots.size()));
}

void Canvas::drawForeground(QPainter* painter, const QRectF&)
{
    if (_press.mode != Mode::box || _press.box.isEmpty()) {
        return;
    }
    QColor fill = Style::current().color(Role::accent);
    painter->setPen(QPen(fill, 1 / _zoom));
    fill.setAlphaF(0.1);
    painter->setBrush(fill);
    painter->drawRect(_press.box);
}

} // namespace zrkworkbench
