#include "apps/workbench/canvas/canvas.h"
#include "apps/workbench/canvas/frame_item.h"
#include "apps/workbench/canvas/metrics.h"
#include "apps/workbench/canvas/overlays.h"
#include "apps/workbench/canvas/search_popup.h"
#include "apps/workbench/canvas/wire_item.h"
#include "apps/workbench/look/families.h"
#include "model/graph_object.h"

#include <QApplication>
#include <QContextMenuEvent>
#include <QHelpEvent>
#include <QLineEdit>
#include <QMenu>
#include <QMimeData>
#include <QMouseEvent>
#include <QScrollBar>
#include <QTimer>
#include <QToolTip>
#include <QVariantAnimation>
#include <QWheelEvent>

#include <algorithm>
#include <cmath>

namespace zrkworkbench {

using zrkmodel::Pin_handle;
using zrkmodel::PinAddress;
using zrkmodel::Tag;

namespace {

constexpr double kZoomStep = 1.2; ///< of a step of the wheel
constexpr int kHoverMs = 120;
constexpr int kSpringMs = 140;
constexpr int kEdge = 24; ///< of the canvas, where what is dropped beyond it goes
constexpr int kEdgeMs = 15;
constexpr double kEdgeMargin = 32;                          ///< in which what is dragged pans
constexpr double kEdgeSpeed = 600;                          ///< pixels a second at the very edge
constexpr const char* kTypeMime = "application/x-zrk-type"; ///< a class name, dragged from a list of types

QPoint placeOf(const QMouseEvent& event)
{
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
    return event.position().toPoint();
#else
    return event.pos();
#endif
}

QPoint placeOf(const QDropEvent& event)
{
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
    return event.position().toPoint();
#else
    return event.pos();
#endif
}

QString pinTip(const PinInfo& pin)
{
    QString text = pin.name + ": " + nameOf(pin.tag);
    if (pin.declared == Tag::Any) {
        text += pin.tag == Tag::None ? ", takes the type of what it is linked with" : ", any type would do";
    }
    if (!pin.isLinked && pin.value) {
        text += QString("\n%1 while nothing is linked").arg(*pin.value);
    } else if (!pin.isLinked && pin.passesPosition) {
        text += "\nthe position while nothing is linked";
    }
    return text;
}

/// Beyond this a press is a drag.
bool isFar(const QPoint& a, const QPoint& b)
{
    return (a - b).manhattanLength() >= QApplication::startDragDistance() / 2;
}

} // namespace

Canvas::Hit Canvas::hitAt(const QPointF& scene) const
{
    Hit hit;
    const double unit = 1 / (_zoom * sceneScale());
    const double reach = size::kPinTarget * unit;
    const QRectF around(scene.x() - reach, scene.y() - reach, 2 * reach, 2 * reach);
    const QList<QGraphicsItem*> items = _scene->items(around, Qt::IntersectsItemBoundingRect);
    double nearest = reach;
    for (const QGraphicsItem* item : items) {
        if (item->type() != NodeItem::Type || _zoom < size::kPlateZoom) {
            continue;
        }
        const auto& node = static_cast<const NodeItem&>(*item);
        const auto look = [&](Pin_handle pin) {
            const QPointF off = node.pinPosition(pin) - scene;
            if (const double distance = std::hypot(off.x(), off.y()); distance <= nearest) {
                nearest = distance;
                hit = {Hit::Kind::pin, node.info().id, false, pin};
            }
        };
        for (std::size_t i = 0; i < node.info().inputs.size(); ++i) {
            look(Pin_handle::input(node.info().id, static_cast<std::uint8_t>(i)));
        }
        for (std::size_t i = 0; i < node.info().outputs.size(); ++i) {
            look(Pin_handle::output(node.info().id, static_cast<std::uint8_t>(i)));
        }
    }
    if (hit.kind == Hit::Kind::pin) {
        return hit;
    }
    for (const QGraphicsItem* item : items) {
        if (item->type() == NodeItem::Type) {
            const auto& node = static_cast<const NodeItem&>(*item);
            if (node.frame().contains(scene)) {
                hit.kind = Hit::Kind::node;
                hit.node = node.info().id;
                hit.isHeader = scene.y() < node.pos().y() + size::kHeader;
                return hit;
            }
        }
    }
    double nearestWire = size::kWireTarget * unit;
    for (QGraphicsItem* item : items) {
        if (item->type() != WireItem::Type || (_wire && item == _wire->item) || !item->isVisible()) {
            continue;
        }
        auto& wire = static_cast<WireItem&>(*item);
        for (std::size_t i = 0; i < wire.info().via.size(); ++i) {
            const QPointF off = wire.info().via[i] - scene;
            if (std::hypot(off.x(), off.y()) <= reach * 0.8) {
                hit.kind = Hit::Kind::reroute;
                hit.wire = &wire;
                hit.index = i;
                return hit;
            }
        }
        if (const double distance = wire.distanceTo(scene); distance <= nearestWire) {
            nearestWire = distance;
            hit.kind = Hit::Kind::wire;
            hit.wire = &wire;
        }
    }
    if (hit.kind == Hit::Kind::nothing) {
        for (std::size_t i = 0; i < _frames.size(); ++i) {
            if (_frames[i]->titleRect().contains(scene)) {
                hit.kind = Hit::Kind::frame;
                hit.index = i;
            }
        }
    }
    return hit;
}

// Hovering

void Canvas::hover(const Hit& hit)
{
    const auto found =
        hit.kind == Hit::Kind::node || hit.kind == Hit::Kind::pin ? _nodes.find(hit.node) : _nodes.end();
    NodeItem* node = found == _nodes.end() ? nullptr : found->second;
    if (node != _hoveredNode) {
        if (_fadingNode) {
            _hoverAnimation->stop();
            _fadingNode->setHover(0);
        }
        _fadingNode = _hoveredNode;
        if (_fadingNode && hasAnimations()) {
            _hoverAnimation->setDuration(kHoverMs);
            _hoverAnimation->setStartValue(1.0);
            _hoverAnimation->setEndValue(0.0);
            _hoverAnimation->start();
        } else if (_fadingNode) {
            _fadingNode->setHover(0);
        }
        _hoveredNode = node;
        if (_hoveredNode) {
            if (_fadingNode == _hoveredNode) {
                _fadingNode = nullptr;
            }
            _hoveredNode->setHover(1);
        }
    }
    const bool isOnWire = hit.kind == Hit::Kind::wire || hit.kind == Hit::Kind::reroute;
    setHoveredWire(isOnWire && _press.mode == Mode::none ? hit.wire : nullptr);
    viewport()->setCursor(_isSpaceDown || _press.mode == Mode::pan ? Qt::OpenHandCursor
                          : hit.kind == Hit::Kind::pin             ? Qt::CrossCursor
                          : hit.kind == Hit::Kind::reroute         ? Qt::SizeAllCursor
                                                                   : Qt::ArrowCursor);
}

void Canvas::setHoveredWire(WireItem* wire)
{
    if (wire == _hoveredWire) {
        return;
    }
    if (_hoveredWire) {
        _hoveredWire->setHovered(false);
    }
    _hoveredWire = wire;
    _infoTimer->stop();
    if (_informedWire != 0xFFFFFFFFu) {
        _informedWire = 0xFFFFFFFFu;
        _info->hide();
        if (_wireHovered) {
            _wireHovered(std::nullopt);
        }
    }
    if (_hoveredWire) {
        _hoveredWire->setHovered(true);
        _infoTimer->start();
    }
}

void Canvas::tellHoveredWire()
{
    if (!_hoveredWire || !_session) {
        return;
    }
    _informedWire = _hoveredWire->info().to.bits;
    showWireInfo({});
    if (_wireHovered) {
        const Pin_handle source = _hoveredWire->info().source;
        _wireHovered(PinAddress{source.node(), source.index()});
    }
}

void Canvas::showWireInfo(const std::vector<std::pair<QString, QString>>& rows)
{
    const auto wire = _wires.find(_informedWire);
    if (wire == _wires.end() || wire->second != _hoveredWire || !_session) {
        return;
    }
    const WireInfo& info = wire->second->info();
    const auto& graph = _session->document().graph();
    const auto name = [&](Pin_handle pin) {
        const auto reference = graph->pin_ref(pin);
        return reference.isValid() ? QString::fromStdString(reference.pin()->name) : QString();
    };
    auto shown = rows;
    if (shown.empty()) {
        shown = {{"carries", "a " + nameOf(info.tag)}};
    }
    const QPoint above(16, -24 - 22 * static_cast<int>(shown.size()) - 34);
    _info->show(viewport()->mapTo(this, _pointer) + above,
                name(info.source) + QString::fromUtf8(" → ") + name(info.to), std::move(shown));
}

QString Canvas::tipAt(const QPoint& place)
{
    const QPointF scene = sceneAt(place);
    const Hit hit = hitAt(scene);
    if (!_session) {
        return {};
    }
    if (hit.kind == Hit::Kind::pin) {
        const NodeItem& node = *_nodes.at(hit.node);
        const PinInfo& pin = (hit.pin.isOutput() ? node.info().outputs : node.info().inputs)[hit.pin.index()];
        return pinTip(pin);
    }
    if (hit.kind == Hit::Kind::node) {
        const NodeItem& node = *_nodes.at(hit.node);
        if (node.badgeRect().contains(scene)) {
            const NodeBadge& badge = node.badge();
            if (badge.kind == NodeBadge::Kind::computing) {
                const QString what = badge.text.isEmpty() ? QString("computing") : badge.text;
                return badge.progress >= 0
                           ? QString("%1, %2 %").arg(what).arg(std::lround(badge.progress * 100))
                           : what;
            }
            return badge.text + (badge.remedy.isEmpty() ? QString() : "\n" + badge.remedy);
        }
        const double row = (scene.y() - node.pos().y() - size::kHeader - size::kPadTop) / size::kRow;
        const bool isLeft = scene.x() < node.frame().center().x();
        const auto& pins = isLeft ? node.info().inputs : node.info().outputs;
        if (row >= 0 && row < static_cast<double>(pins.size())) {
            return pinTip(pins[static_cast<std::size_t>(row)]);
        }
        if (hit.isHeader) {
            const auto* type = typeOfNode(*_session, hit.node);
            const QString text = type ? QString::fromUtf8(type->strings.description) : QString();
            const NodeInfo& info = node.info();
            return (info.title == info.typeTitle ? QString() : info.title + "\n") + info.typeTitle + "\n" +
                   text + (node.info().isBypassed ? "\nbypassed: M uses it again" : "");
        }
    }
    if (hit.kind == Hit::Kind::reroute) {
        return "a point that the wire is led by; drag it, Delete removes it";
    }
    return {};
}

bool Canvas::viewportEvent(QEvent* event)
{
    if (event->type() == QEvent::ToolTip) {
        sync();
        const auto& help = static_cast<QHelpEvent&>(*event);
        const QString text = _press.mode == Mode::none ? tipAt(help.pos()) : QString();
        if (text.isEmpty()) {
            QToolTip::hideText();
        } else {
            QToolTip::showText(help.globalPos(), text, viewport());
        }
        return true;
    }
    if (event->type() == QEvent::Leave && _press.mode == Mode::none) {
        hover({});
    }
    return QGraphicsView::viewportEvent(event);
}

// The mouse

void Canvas::mousePressEvent(QMouseEvent* event)
{
    sync();
    _opened.reset();
    _search->drop();
    _reason->hide();
    const QPoint place = placeOf(*event);
    if (_press.mode != Mode::none || (_wire && !_wire->isByKeys)) {
        return; // another button meanwhile
    }
    letWireGo(false);
    _fitAnimation->stop();
    _press = {};
    _press.button = event->button();
    _press.at = _press.last = place;
    _press.scene = sceneAt(place);
    event->accept();
    if (event->button() == Qt::MiddleButton || (event->button() == Qt::LeftButton && _isSpaceDown)) {
        _press.mode = Mode::pan;
        viewport()->setCursor(Qt::ClosedHandCursor);
        return;
    }
    if (event->button() != Qt::LeftButton || !_session) {
        return;
    }
    _press.hit = hitAt(_press.scene);
    _press.before = _session->selection();
    const bool isAdding = (event->modifiers() & Qt::ShiftModifier) != 0;
    const Hit& hit = _press.hit;
    if (!isAdding || hit.kind != Hit::Kind::wire) {
        _selectedWires.clear();
    }
    _selectedReroute.reset();
    _selectedFrame.reset();
    switch (hit.kind) {
    case Hit::Kind::pin: {
        const auto source = _session->document().graph()->upstream(hit.pin).handle;
        const bool takesOff = !hit.pin.isOutput() && source.isValid();
        holdWire(takesOff ? source : hit.pin, takesOff ? hit.pin : Pin_handle{}, false);
        _press.mode = Mode::wire;
        break;
    }
    case Hit::Kind::node: {
        Ids selected = _session->selection();
        const auto found = std::find(selected.begin(), selected.end(), hit.node);
        if ((event->modifiers() & Qt::ControlModifier) != 0 && hit.isHeader) {
            _session->select(withUpstream(*_session, {hit.node}));
        } else if (isAdding && found != selected.end()) {
            selected.erase(found);
            _session->select(selected);
        } else if (isAdding) {
            selected.push_back(hit.node);
            _session->select(selected);
        } else if (found == selected.end()) {
            _session->select({hit.node});
        }
        _focused = hit.node;
        _press.mode = Mode::move;
        break;
    }
    case Hit::Kind::reroute:
        _selectedReroute = {hit.wire->info().to.bits, hit.index};
        _press.mode = Mode::reroute;
        break;
    case Hit::Kind::wire:
        if (!isAdding) {
            _session->select({});
        }
        _selectedWires.insert(hit.wire->info().to.bits);
        break;
    case Hit::Kind::frame:
        _selectedFrame = hit.index;
        _session->select(_notes.frames[hit.index].nodes);
        _press.mode = Mode::move;
        break;
    case Hit::Kind::nothing:
        _press.mode = Mode::box;
        if (!isAdding) {
            _session->select({});
        }
        break;
    }
    _stale.selection = true;
    sync();
}

void Canvas::mouseMoveEvent(QMouseEvent* event)
{
    const QPoint place = placeOf(*event);
    _pointer = place;
    if (_press.mode == Mode::pan) {
        const QPoint by = place - _press.last;
        _press.last = place;
        _press.isMoved = _press.isMoved || isFar(place, _press.at);
        horizontalScrollBar()->setValue(horizontalScrollBar()->value() - by.x());
        verticalScrollBar()->setValue(verticalScrollBar()->value() - by.y());
        return;
    }
    sync();
    if (_press.mode == Mode::none && !(_wire && _wire->isByKeys)) {
        hover(_session ? hitAt(sceneAt(place)) : Hit{});
        return;
    }
    if (_press.mode != Mode::wire && !_press.isMoved && isFar(place, _press.at)) {
        _press.isMoved = true;
        if (_press.mode == Mode::move) {
            beginMove();
        }
    }
    _press.keys = event->modifiers();
    if (!isDragging()) {
        return;
    }
    dragTo(place);
    if (!_edgeTimer->isActive() && !edgeSpeed().isNull()) {
        _edgeRest = {};
        _edgeClock.start();
        _edgeTimer->start(kEdgeMs);
    }
}

/// Whether something follows the pointer.
bool Canvas::isDragging() const
{
    switch (_press.mode) {
    case Mode::wire:
        return _wire && !_wire->isByKeys && !_search->isVisible();
    case Mode::move:
    case Mode::box:
    case Mode::reroute:
        return _press.isMoved;
    default:
        return false;
    }
}

void Canvas::dragTo(const QPoint& place)
{
    const QPointF scene = sceneAt(place);
    if (_press.mode == Mode::wire) {
        dragWire(scene);
    } else if (_press.mode == Mode::move) {
        dragNodes(scene, _press.keys);
    } else if (_press.mode == Mode::box) {
        dragBox(scene, _press.keys);
    } else {
        dragReroute(scene);
    }
}

/// Pixels a second at which what is dragged to an edge pans the canvas, more the nearer it comes, and twice
/// as many outside. An edge near which the drag began waits until the pointer comes nearer to it.
QPointF Canvas::edgeSpeed() const
{
    const double margin = zrkui::scaled(*this, kEdgeMargin);
    const auto along = [&](double pointer, double press, double length) {
        const double before = pointer < press ? std::max(margin - pointer, 0.0) : 0;
        const double behind = pointer > press ? std::max(pointer - (length - margin), 0.0) : 0;
        return kEdgeSpeed * std::clamp((behind - before) / margin, -2.0, 2.0);
    };
    return {along(_pointer.x(), _press.at.x(), viewport()->width()),
            along(_pointer.y(), _press.at.y(), viewport()->height())};
}

void Canvas::panAtEdge()
{
    const QPointF speed = isDragging() ? edgeSpeed() : QPointF();
    if (speed.isNull()) {
        _edgeTimer->stop();
        return;
    }
    // A turn that comes late doesn't jump.
    const double seconds = 1e-3 * static_cast<double>(std::min<qint64>(_edgeClock.restart(), 4 * kEdgeMs));
    _edgeRest += speed * seconds;
    const QPoint by(static_cast<int>(_edgeRest.x()), static_cast<int>(_edgeRest.y()));
    _edgeRest -= by;
    if (by.isNull()) {
        return;
    }
    horizontalScrollBar()->setValue(horizontalScrollBar()->value() + by.x());
    verticalScrollBar()->setValue(verticalScrollBar()->value() + by.y());
    dragTo(_pointer);
}

void Canvas::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() != _press.button) {
        return;
    }
    sync();
    const QPointF scene = sceneAt(placeOf(*event));
    const Mode mode = _press.mode;
    const bool isMoved = _press.isMoved;
    if (mode == Mode::wire && _wire) {
        dropWire(scene, event->modifiers());
    } else if (mode == Mode::move && isMoved) {
        endMove(event->modifiers());
    } else if (mode == Mode::move && _press.hit.kind == Hit::Kind::node &&
               event->modifiers() == Qt::NoModifier) {
        _session->select({_press.hit.node});
    } else if (mode == Mode::box && isMoved) {
        viewport()->update();
    } else if (mode == Mode::reroute && isMoved && _press.hit.wire) {
        CanvasNotes notes = _notes;
        std::size_t along = 0;
        for (RerouteNote& reroute : notes.reroutes) {
            if (reroute.to == _press.hit.wire->info().to && along++ == _press.hit.index) {
                reroute.at = _press.hit.wire->info().via[_press.hit.index];
            }
        }
        attempt("Move point", [&] { return notes.write(*_session); });
    }
    _press = {};
    sync();
    hover(_session && !_wire ? hitAt(scene) : Hit{});
}

void Canvas::mouseDoubleClickEvent(QMouseEvent* event)
{
    mousePressEvent(event);
    if (event->button() != Qt::LeftButton || !_session) {
        return;
    }
    const QPointF scene = sceneAt(placeOf(*event));
    const Hit hit = hitAt(scene);
    if (hit.kind != Hit::Kind::pin) {
        cancelPress();
    }
    if (hit.kind == Hit::Kind::nothing) {
        openSearchAt(placeOf(*event), std::nullopt);
    } else if (hit.kind == Hit::Kind::wire) {
        addReroute(*hit.wire, scene);
    } else if ((hit.kind == Hit::Kind::node && hit.isHeader) || hit.kind == Hit::Kind::frame) {
        renameSelected();
    }
}

void Canvas::contextMenuEvent(QContextMenuEvent* event)
{
    sync();
    event->accept();
    if (!_session || _wire) {
        return;
    }
    const bool isKey = event->reason() == QContextMenuEvent::Keyboard; // for what is selected
    const Ids selected = selectedNodes();
    const QPoint place = !isKey             ? event->pos()
                         : selected.empty() ? viewport()->rect().center()
                                            : viewportAt(_nodes.at(selected.back())->frame().center());
    if (!isKey) {
        const Hit hit = hitAt(sceneAt(place));
        if (hit.kind == Hit::Kind::nothing) {
            openSearchAt(place, std::nullopt);
            return;
        }
        choose(hit);
    } else if (!action("delete")->isEnabled()) {
        openSearch();
        return;
    }
    auto* menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->addAction(action("view"));
    addEditActions(*menu);
    menu->popup(viewport()->mapToGlobal(place));
}

/// Selects what is under the pointer, so that commands are for it alone, or for all nodes that are selected
/// with it.
void Canvas::choose(const Hit& hit)
{
    _selectedReroute.reset();
    _selectedFrame.reset();
    const bool isNode = hit.kind == Hit::Kind::node || hit.kind == Hit::Kind::pin;
    if (isNode && _nodes.at(hit.node)->isSelected()) {
        return;
    }
    _selectedWires.clear();
    Ids nodes;
    if (isNode) {
        nodes = {hit.node};
    } else if (hit.kind == Hit::Kind::wire) {
        _selectedWires = {hit.wire->info().to.bits};
    } else if (hit.kind == Hit::Kind::reroute) {
        _selectedReroute = {hit.wire->info().to.bits, hit.index};
    } else if (hit.kind == Hit::Kind::frame) {
        _selectedFrame = hit.index;
        nodes = _notes.frames[hit.index].nodes;
    }
    _session->select(nodes);
    _stale.selection = true;
    sync();
}

void Canvas::wheelEvent(QWheelEvent* event)
{
    event->accept();
    _fitAnimation->stop();
    const QPoint angle = event->angleDelta();
    if (!event->pixelDelta().isNull() && (event->modifiers() & Qt::ControlModifier) == 0 &&
        event->phase() != Qt::NoScrollPhase) {
        // Two fingers on a touch pad.
        horizontalScrollBar()->setValue(horizontalScrollBar()->value() - event->pixelDelta().x());
        verticalScrollBar()->setValue(verticalScrollBar()->value() - event->pixelDelta().y());
        return;
    }
    if ((event->modifiers() & Qt::ShiftModifier) != 0) {
        const int by = angle.y() != 0 ? angle.y() : angle.x();
        horizontalScrollBar()->setValue(horizontalScrollBar()->value() - by / 2);
        return;
    }
    if (_search->isVisible()) {
        return;
    }
    zoomTo(_zoom * std::pow(kZoomStep, angle.y() / 120.0), event->position());
}

// Dragging nodes

void Canvas::beginMove()
{
    for (const std::uint16_t id : _session->selection()) {
        if (const auto found = _nodes.find(id); found != _nodes.end()) {
            _press.origins[id] = found->second->pos();
        }
    }
}

void Canvas::dragNodes(const QPointF& scene, Qt::KeyboardModifiers modifiers)
{
    if (_press.origins.empty()) {
        return;
    }
    QPointF by = scene - _press.scene;
    if ((modifiers & Qt::AltModifier) == 0) {
        // The node under the pointer snaps, the others keep their distance to it.
        const auto lead = _press.origins.find(_press.hit.node);
        const QPointF origin = lead == _press.origins.end() ? _press.origins.begin()->second : lead->second;
        by = QPointF(snapped(origin.x() + by.x()), snapped(origin.y() + by.y())) - origin;
    }
    for (const auto& [id, origin] : _press.origins) {
        if (const auto found = _nodes.find(id); found != _nodes.end()) {
            found->second->setPos(origin + by);
        }
    }
    for (auto& [input, wire] : _wires) {
        const WireInfo& info = wire->info();
        if (_press.origins.contains(info.shownFrom.node()) || _press.origins.contains(info.to.node())) {
            wire->setEnds(_nodes.at(info.shownFrom.node())->pinPosition(info.shownFrom),
                          _nodes.at(info.to.node())->pinPosition(info.to));
        }
    }
    layOutFrames();
    WireItem* into = _press.origins.size() == 1 ? wireUnder(_press.origins.begin()->first) : nullptr;
    if (into != _press.into) {
        if (_press.into) {
            _press.into->setHovered(false);
        }
        _press.into = into;
        if (into) {
            into->setHovered(true);
        }
    }
}

/// The wire that a node without links lies on and could go into.
WireItem* Canvas::wireUnder(std::uint16_t id) const
{
    const NodeItem& node = *_nodes.at(id);
    const auto isFree = [](const std::vector<PinInfo>& pins) {
        return !pins.empty() &&
               std::none_of(pins.begin(), pins.end(), [](const PinInfo& pin) { return pin.isLinked; });
    };
    if (!isFree(node.info().inputs) || !isFree(node.info().outputs)) {
        return nullptr;
    }
    const auto& graph = _session->document().graph();
    const auto fits = [&](const WireInfo& wire) {
        const Tag end = graph->pin_ref(wire.to).pin()->tag;
        const Tag start = graph->pin_ref(wire.source).pin()->tag;
        const auto suits = [](Tag a, Tag b) { return a == b || a == Tag::Any || b == Tag::Any; };
        const auto& inputs = node.info().inputs;
        const auto& outputs = node.info().outputs;
        return std::any_of(inputs.begin(), inputs.end(),
                           [&](const PinInfo& pin) { return suits(start, pin.declared); }) &&
               std::any_of(outputs.begin(), outputs.end(),
                           [&](const PinInfo& pin) { return suits(pin.declared, end); });
    };
    WireItem* best = nullptr;
    const QPointF middle = node.frame().center();
    double nearest = 1e9;
    for (QGraphicsItem* item : _scene->items(node.frame(), Qt::IntersectsItemBoundingRect)) {
        if (item->type() != WireItem::Type || !static_cast<WireItem*>(item)->info().to.isValid()) {
            continue;
        }
        auto& wire = static_cast<WireItem&>(*item);
        const double distance = wire.distanceTo(middle);
        if (distance < nearest && wire.path().intersects(node.frame()) && fits(wire.info())) {
            nearest = distance;
            best = &wire;
        }
    }
    return best;
}

void Canvas::endMove(Qt::KeyboardModifiers)
{
    std::map<std::uint16_t, QPointF> places;
    for (const auto& [id, origin] : _press.origins) {
        if (const auto found = _nodes.find(id); found != _nodes.end()) {
            places[id] = found->second->pos();
        }
    }
    WireItem* into = std::exchange(_press.into, nullptr);
    const Pin_handle input = into ? into->info().to : Pin_handle{};
    if (into) {
        into->setHovered(false);
    }
    const std::uint16_t node = places.empty() ? 0 : places.begin()->first;
    attempt(into ? "Insert" : "Move", [&]() -> zrk::Result<void> {
        std::vector<zrkmodel::NodePosition> moves;
        for (const auto& [id, place] : places) {
            moves.push_back({id, place.x(), place.y()});
        }
        return keepPlaces().and_then([&] { return _session->move(moves); }).and_then([&] {
            return into ? _session->insertIntoLink(node, input) : zrk::Result<void>();
        });
    });
    // What wasn't taken goes back.
    for (const auto& [id, place] : places) {
        _stale.nodes.insert(id);
    }
    sync();
}

void Canvas::dragBox(const QPointF& scene, Qt::KeyboardModifiers modifiers)
{
    _press.box = QRectF(_press.scene, scene).normalized();
    Ids selected = (modifiers & Qt::ShiftModifier) != 0 ? _press.before : Ids();
    for (const auto& [id, item] : _nodes) {
        if (item->frame().intersects(_press.box) &&
            std::find(selected.begin(), selected.end(), id) == selected.end()) {
            selected.push_back(id);
        }
    }
    if (selected != _session->selection()) {
        _session->select(selected);
        sync();
    }
    viewport()->update();
}

void Canvas::dragReroute(const QPointF& scene)
{
    if (_press.hit.wire && _press.hit.index < _press.hit.wire->info().via.size()) {
        WireInfo info = _press.hit.wire->info();
        info.via[_press.hit.index] = QPointF(snapped(scene.x()), snapped(scene.y()));
        _press.hit.wire->setInfo(std::move(info));
    }
}

void Canvas::cancelPress()
{
    if (_press.into) {
        _press.into->setHovered(false);
    }
    for (const auto& [id, origin] : _press.origins) {
        if (const auto found = _nodes.find(id); found != _nodes.end()) {
            found->second->setPos(origin);
        }
    }
    const bool wasDragging = !_press.origins.empty() || _press.mode == Mode::reroute;
    if (_press.mode == Mode::wire) {
        letWireGo(true);
    }
    _press = {};
    if (wasDragging && _session) {
        _stale.links = _stale.notes = true;
        _syncTimer->start(0);
    }
    viewport()->update();
}

// Wires

void Canvas::holdWire(Pin_handle start, Pin_handle freed, bool isByKeys)
{
    letWireGo(false);
    setHoveredWire(nullptr);
    const auto& node = *_nodes.at(start.node());
    const auto& pins = start.isOutput() ? node.info().outputs : node.info().inputs;
    const Tag tag = pins[start.index()].tag;
    auto* item = new WireItem;
    item->setDragged(true);
    WireInfo info;
    info.source = start;
    info.shownFrom = start;
    info.tag = tag;
    item->setInfo(info);
    _scene->addItem(item);
    _wire = std::make_unique<HeldWire>(HeldWire{
        start, freed, tag, WireRules(*_session, start, freed), item, {}, node.pinPosition(start), isByKeys});
    item->setEnds(_wire->end, _wire->end);
    applyLights();
    if (freed.isValid()) {
        dragWire(_nodes.at(freed.node())->pinPosition(freed));
    }
}

void Canvas::dragWire(const QPointF& scene)
{
    const Hit hit = hitAt(scene);
    _wire->target = {};
    _wire->end = scene;
    bool isRefused = false;
    if (hit.kind == Hit::Kind::pin && hit.pin != _wire->start) {
        if (_wire->rules.fits(hit.pin)) {
            _wire->target = hit.pin;
            _wire->end = _nodes.at(hit.node)->pinPosition(hit.pin);
        } else {
            isRefused = true;
        }
    }
    _wire->item->setRefused(isRefused);
    const QPointF start = _nodes.at(_wire->start.node())->pinPosition(_wire->start);
    const bool isFromOutput = _wire->start.isOutput();
    _wire->item->setEnds(isFromOutput ? start : _wire->end, isFromOutput ? _wire->end : start);
}

void Canvas::dropWire(const QPointF& scene, Qt::KeyboardModifiers modifiers)
{
    const Hit hit = hitAt(scene);
    const Pin_handle start = _wire->start;
    const Pin_handle freed = _wire->freed;
    const bool replaces = (modifiers & Qt::ShiftModifier) != 0;
    Pin_handle target;
    WireRefusal refusal;
    if (hit.kind == Hit::Kind::pin) {
        if (hit.pin == start || (hit.pin == freed && freed.isValid())) {
            letWireGo(false);
            return;
        }
        refusal = _wire->rules.refusal(hit.pin);
        const Pin_handle input = start.isOutput() ? hit.pin : start;
        const bool isTaken = !input.isOutput() && _session->document().graph()->upstream(input).isValid();
        if (refusal.isFitting() || (replaces && isTaken && refusal.remedy.contains("Shift"))) {
            target = hit.pin;
        }
    } else if (hit.kind == Hit::Kind::node && hit.node == start.node()) {
        letWireGo(true);
        return;
    } else if (hit.kind == Hit::Kind::node) {
        const NodeInfo& info = _nodes.at(hit.node)->info();
        const std::size_t count = start.isOutput() ? info.inputs.size() : info.outputs.size();
        for (std::size_t i = 0; i < count && !target.isValid(); ++i) {
            const auto index = static_cast<std::uint8_t>(i);
            const Pin_handle pin =
                start.isOutput() ? Pin_handle::input(hit.node, index) : Pin_handle::output(hit.node, index);
            const WireRefusal why = _wire->rules.refusal(pin);
            if (why.isFitting()) {
                target = pin;
            } else if (i == 0 || !why.reason.startsWith("A ")) {
                refusal = why; // a tag that differs says least
            }
        }
        if (count == 0) {
            refusal = {QString("%1 has no %2").arg(info.title, start.isOutput() ? "input" : "output"),
                       "Drop the wire on another node"};
        }
    } else if (freed.isValid()) {
        letWireGo(false);
        attempt("Unlink", [&] { return _session->unlink(freed); });
        sync();
        return;
    } else {
        if (!_press.isMoved && !isFar(viewportAt(scene), _press.at)) {
            letWireGo(false);
            return;
        }
        // Where the pointer has left the canvas, the node comes to its edge.
        const QRect room = viewport()->rect().adjusted(kEdge, kEdge, -kEdge, -kEdge);
        const QPoint at = viewportAt(scene);
        const QPoint place(std::clamp(at.x(), room.left(), std::max(room.left(), room.right())),
                           std::clamp(at.y(), room.top(), std::max(room.top(), room.bottom())));
        dragWire(sceneAt(place));
        openSearchAt(place, start);
        return;
    }
    if (target.isValid()) {
        letWireGo(false);
        linkPins(start, target, freed, replaces);
    } else {
        letWireGo(true);
        refuse(refusal.reason, refusal.remedy, scene);
    }
    sync();
}

/// Ends holding a wire. One that was dropped nowhere springs back.
void Canvas::letWireGo(bool springsBack)
{
    if (!_wire) {
        return;
    }
    const std::unique_ptr<HeldWire> wire = std::move(_wire);
    if (_press.mode == Mode::wire) {
        _press.mode = Mode::none;
    }
    applyLights();
    _springAnimation->stop();
    delete std::exchange(_springing, nullptr);
    if (!springsBack || !hasAnimations() || !isVisible() || !_nodes.contains(wire->start.node())) {
        delete wire->item;
        return;
    }
    _springing = wire->item;
    _springAnimation->setDuration(kSpringMs);
    _springAnimation->setEasingCurve(QEasingCurve::OutCubic);
    _springAnimation->setStartValue(wire->end);
    _springAnimation->setEndValue(_nodes.at(wire->start.node())->pinPosition(wire->start));
    _springAnimation->start();
}

// Keys

/// Leads a wire that was begun by a key: arrows go from one fitting pin to the next, Enter links.
void Canvas::wireByKeys(int key)
{
    std::vector<Pin_handle> fitting;
    for (const auto& [id, item] : _nodes) {
        const auto add = [&, id = id](const std::vector<PinInfo>& pins, bool isOutput) {
            for (std::size_t i = 0; i < pins.size(); ++i) {
                const auto index = static_cast<std::uint8_t>(i);
                const Pin_handle pin =
                    isOutput ? Pin_handle::output(id, index) : Pin_handle::input(id, index);
                if (_wire->rules.fits(pin)) {
                    fitting.push_back(pin);
                }
            }
        };
        add(item->info().inputs, false);
        add(item->info().outputs, true);
    }
    std::sort(fitting.begin(), fitting.end(), [&](Pin_handle a, Pin_handle b) {
        const QPointF first = _nodes.at(a.node())->pinPosition(a);
        const QPointF second = _nodes.at(b.node())->pinPosition(b);
        return std::pair(first.x(), first.y()) < std::pair(second.x(), second.y());
    });
    if (key == Qt::Key_Return || key == Qt::Key_Enter) {
        const Pin_handle start = _wire->start;
        const Pin_handle target = _wire->target;
        letWireGo(false);
        if (target.isValid()) {
            linkPins(start, target, {}, false);
        }
        return;
    }
    if (fitting.empty()) {
        letWireGo(false);
        refuse("No pin fits this wire", "Add a node: Tab opens the search");
        return;
    }
    const auto at = std::find(fitting.begin(), fitting.end(), _wire->target);
    const bool goesOn = key == Qt::Key_Right || key == Qt::Key_Down;
    std::size_t next = goesOn ? 0 : fitting.size() - 1;
    if (at != fitting.end()) {
        const auto place = static_cast<std::size_t>(at - fitting.begin());
        next = (place + (goesOn ? 1 : fitting.size() - 1)) % fitting.size();
    }
    dragWire(_nodes.at(fitting[next].node())->pinPosition(fitting[next]));
    _wire->target = fitting[next];
    setAccessibleDescription("link to " + pinText(*_session, fitting[next]));
}

/// Selects the nearest node in the direction of an arrow key.
void Canvas::focusNeighbour(int key)
{
    if (_nodes.empty()) {
        return;
    }
    const auto current = _focused ? _nodes.find(*_focused) : _nodes.end();
    std::uint16_t best = _nodes.begin()->first;
    if (current != _nodes.end()) {
        const QPointF from = current->second->frame().center();
        double least = 1e18;
        best = current->first;
        for (const auto& [id, item] : _nodes) {
            const QPointF off = item->frame().center() - from;
            const double along = key == Qt::Key_Left    ? -off.x()
                                 : key == Qt::Key_Right ? off.x()
                                 : key == Qt::Key_Up    ? -off.y()
                                                        : off.y();
            const double aside = key == Qt::Key_Left || key == Qt::Key_Right ? off.y() : off.x();
            const double cost = along + 2 * std::abs(aside);
            if (along > 1 && cost < least) {
                least = cost;
                best = id;
            }
        }
    }
    _focused = best;
    _selectedWires.clear();
    _selectedReroute.reset();
    revealNode(best);
}

bool Canvas::event(QEvent* event)
{
    // Tab would leave the canvas; here it opens the search. Ctrl+Tab and Shift+Tab leave it.
    if (event->type() == QEvent::KeyPress) {
        const auto& key = static_cast<const QKeyEvent&>(*event);
        if (key.key() == Qt::Key_Tab && key.modifiers() == Qt::NoModifier && _session) {
            openSearch();
            event->accept();
            return true;
        }
        if (key.key() == Qt::Key_Tab && key.modifiers() == Qt::ControlModifier) {
            return focusNextPrevChild(true);
        }
    }
    return QGraphicsView::event(event);
}

void Canvas::keyPressEvent(QKeyEvent* event)
{
    sync();
    _opened.reset();
    const int key = event->key();
    const bool isArrow =
        key == Qt::Key_Left || key == Qt::Key_Right || key == Qt::Key_Up || key == Qt::Key_Down;
    event->accept();
    if (key == Qt::Key_Escape) {
        if (_nameBox->isVisible()) {
            _nameTaken = {};
            _nameBox->hide();
            setFocus();
        } else if (_wire) {
            letWireGo(true);
            _press = {};
        } else if (_press.mode != Mode::none) {
            if (_press.mode == Mode::box && _press.isMoved) {
                _session->select(_press.before);
            }
            cancelPress();
        } else if (_session && !_session->selection().empty()) {
            _session->select({});
        }
        _reason->hide();
        sync();
        return;
    }
    if (key == Qt::Key_Space && !event->isAutoRepeat()) {
        _isSpaceDown = true;
        viewport()->setCursor(Qt::OpenHandCursor);
        return;
    }
    if (!_session) {
        QGraphicsView::keyPressEvent(event);
        return;
    }
    if (_wire && _wire->isByKeys && (isArrow || key == Qt::Key_Return || key == Qt::Key_Enter)) {
        wireByKeys(key);
        sync();
        return;
    }
    if (isArrow && (event->modifiers() & Qt::ControlModifier) != 0) {
        std::map<std::uint16_t, QPointF> places;
        const QPointF by(key == Qt::Key_Left    ? -size::kSnap
                         : key == Qt::Key_Right ? size::kSnap
                                                : 0,
                         key == Qt::Key_Up     ? -size::kSnap
                         : key == Qt::Key_Down ? size::kSnap
                                               : 0);
        for (const std::uint16_t id : selectedNodes()) {
            places[id] = _nodes.at(id)->pos() + by;
        }
        commitPlaces(places, "Move");
        return;
    }
    if (isArrow) {
        focusNeighbour(key);
        return;
    }
    event->ignore();
    QWidget::keyPressEvent(event);
}

void Canvas::keyReleaseEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Space && !event->isAutoRepeat()) {
        _isSpaceDown = false;
        viewport()->setCursor(Qt::ArrowCursor);
        return;
    }
    QWidget::keyReleaseEvent(event);
}

void Canvas::focusOutEvent(QFocusEvent* event)
{
    _isSpaceDown = false;
    QGraphicsView::focusOutEvent(event);
}

// Types dragged from a list

void Canvas::dragEnterEvent(QDragEnterEvent* event)
{
    if (_session && event->mimeData()->hasFormat(kTypeMime)) {
        event->acceptProposedAction();
    } else {
        event->ignore();
    }
}

void Canvas::dragMoveEvent(QDragMoveEvent* event)
{
    if (_session && event->mimeData()->hasFormat(kTypeMime)) {
        event->acceptProposedAction();
    } else {
        event->ignore();
    }
}

void Canvas::dropEvent(QDropEvent* event)
{
    if (_session && event->mimeData()->hasFormat(kTypeMime)) {
        event->acceptProposedAction();
        addNodeAt(QString::fromUtf8(event->mimeData()->data(kTypeMime)).toStdString(), placeOf(*event));
    } else {
        event->ignore();
    }
}

} // namespace zrkworkbench
