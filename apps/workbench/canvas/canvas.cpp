#include "apps/workbench/canvas/canvas.h"

#include "apps/workbench/canvas/frame_item.h"
#include "apps/workbench/canvas/layout.h"
#include "apps/workbench/canvas/metrics.h"
#include "apps/workbench/canvas/overlays.h"
#include "apps/workbench/canvas/search_popup.h"
#include "apps/workbench/canvas/wire_item.h"
#include "model/graph_object.h"
#include "model/pins.h"

#include <QDateTime>
#include <QElapsedTimer>
#include <QLabel>
#include <QLineEdit>
#include <QPixmapCache>
#include <QScrollBar>
#include <QTimer>
#include <QVariantAnimation>

#include <algorithm>
#include <iterator>

namespace zrkworkbench {

using zrkmodel::EditEvent;
using zrkmodel::EditSession;
using zrkmodel::Pin_handle;

namespace {

constexpr double kReach = 200000; ///< of the scene, in every direction
constexpr int kQuietMs = 150;
constexpr std::size_t kBuiltAtOnce = 100; ///< nodes of a document; more are built bit by bit
constexpr int kBuildMs = 4;               ///< in one turn of the event loop
constexpr int kBadgeDelayMs = 150;
constexpr int kBadgeLeastMs = 300;
constexpr int kInfoMs = 250;
constexpr int kPixmapCacheKb = 256 * 1024;

} // namespace

Canvas::Canvas(QWidget* parent)
    : QGraphicsView(parent),
      _buildTimer(new QTimer(this)),
      _scene(new QGraphicsScene(this)),
      _syncTimer(new QTimer(this)),
      _quietTimer(new QTimer(this)),
      _refineTimer(new QTimer(this)),
      _thumbnailTimer(new QTimer(this)),
      _infoTimer(new QTimer(this)),
      _edgeTimer(new QTimer(this)),
      _badgeTimer(new QTimer(this)),
      _fitAnimation(new QVariantAnimation(this)),
      _hoverAnimation(new QVariantAnimation(this)),
      _springAnimation(new QVariantAnimation(this)),
      _search(new SearchPopup(this)),
      _reason(new ReasonCard(this)),
      _info(new InfoCard(this)),
      _tools(new ToolStrip(this)),
      _zoomChip(nullptr),
      _hint(new QLabel(this)),
      _nameBox(new QLineEdit(this))
{
    setAccessibleName("canvas");
    setToolTip({});
    setFrameShape(QFrame::NoFrame);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setViewportUpdateMode(QGraphicsView::MinimalViewportUpdate);
    setOptimizationFlags(QGraphicsView::DontSavePainterState | QGraphicsView::DontAdjustForAntialiasing);
    setTransformationAnchor(QGraphicsView::NoAnchor);
    setResizeAnchor(QGraphicsView::NoAnchor);
    setAlignment(Qt::AlignLeft | Qt::AlignTop);
    setFocusPolicy(Qt::StrongFocus);
    setMouseTracking(true);
    viewport()->setMouseTracking(true);
    setAcceptDrops(true);
    _scene->setSceneRect(-kReach, -kReach, 2 * kReach, 2 * kReach);
    setScene(_scene);
    QPixmapCache::setCacheLimit(std::max(QPixmapCache::cacheLimit(), kPixmapCacheKb));

    _syncTimer->setSingleShot(true);
    connect(_syncTimer, &QTimer::timeout, this, [this] {
        if (isWhole()) { // else once it is
            sync();
        }
    });
    connect(_buildTimer, &QTimer::timeout, this, [this] {
        buildMore();
        if (isWhole()) {
            sync();
        }
    });
    _quietTimer->setSingleShot(true);
    _quietTimer->setInterval(kQuietMs);
    connect(_quietTimer, &QTimer::timeout, this, [this] {
        setCaching(_zoom >= size::kBlockZoom);
        setPlain(false);
    });
    connect(_refineTimer, &QTimer::timeout, this, [this] { refineMore(); });
    _thumbnailTimer->setSingleShot(true);
    _thumbnailTimer->setInterval(kQuietMs);
    connect(_thumbnailTimer, &QTimer::timeout, this, [this] { askForThumbnails(); });
    _badgeTimer->setInterval(20);
    connect(_badgeTimer, &QTimer::timeout, this, [this] { showDueBadges(); });
    _infoTimer->setSingleShot(true);
    _infoTimer->setInterval(kInfoMs);
    connect(_infoTimer, &QTimer::timeout, this, [this] { tellHoveredWire(); });
    _edgeTimer->setTimerType(Qt::PreciseTimer);
    connect(_edgeTimer, &QTimer::timeout, this, [this] { panAtEdge(); });
    connect(_hoverAnimation, &QVariantAnimation::valueChanged, this, [this](const QVariant& value) {
        if (_fadingNode) {
            _fadingNode->setHover(value.toDouble());
        }
    });
    connect(_springAnimation, &QVariantAnimation::valueChanged, this, [this](const QVariant& value) {
        if (_springing && _nodes.contains(_springing->info().source.node())) {
            const QPointF start =
                _nodes.at(_springing->info().source.node())->pinPosition(_springing->info().source);
            const bool isFromOutput = _springing->info().source.isOutput();
            _springing->setEnds(isFromOutput ? start : value.toPointF(),
                                isFromOutput ? value.toPointF() : start);
        }
    });
    connect(_springAnimation, &QVariantAnimation::finished, this, [this] {
        delete _springing;
        _springing = nullptr;
    });
    _search->onChosen([this](const zrkmodel::ZRKGraphObjectRegistration& type) {
        const std::optional<Pin_handle> from = _wire ? std::optional(_wire->start) : std::nullopt;
        letWireGo(false);
        setFocus();
        addType(type, _searchPlace, from);
    });
    _search->onDropped([this] {
        letWireGo(true);
        setFocus();
    });
    _hint->setText("Tab or a double click adds a node.\nPictures, meshes and volumes can be dropped here.");
    _hint->setAlignment(Qt::AlignCenter);
    _hint->setProperty("zrkRole", "hint");
    _hint->setAttribute(Qt::WA_TransparentForMouseEvents);
    _nameBox->hide();
    _nameBox->setAccessibleName("name");
    _nameBox->setToolTip("Enter takes the name, Escape leaves the former one");
    connect(_nameBox, &QLineEdit::editingFinished, this, [this] {
        if (_nameBox->isVisible()) {
            const auto taken = std::exchange(_nameTaken, {});
            const QString text = _nameBox->text().trimmed();
            _nameBox->hide();
            setFocus();
            if (taken) {
                taken(text);
            }
        }
    });
    makeActions();
    setZoom(1);
}

Canvas::~Canvas()
{
    _search->onDropped({});
    _wireHovered = {};
    _said = {};
    clearScene();
}

void Canvas::setSession(EditSession* session)
{
    _listener = {};
    clearScene();
    _badges.clear();
    _placed.clear();
    _viewed.reset();
    _session = session;
    _stale = {};
    if (_session) {
        _listener = _session->addListener([this](const EditEvent& event) { take(event); });
        rebuild();
        _isFitDue = true;
        _opened.reset();
        if (isVisible() && isWhole()) {
            fitOpened();
        }
    }
    updateActions();
    viewport()->update();
}

void Canvas::take(const EditEvent& event)
{
    using Kind = EditEvent::Kind;
    switch (event.kind) {
    case Kind::NodeAdded:
    case Kind::NodeRemoved:
        _stale.nodes.insert(event.node);
        _stale.links = _stale.notes = true;
        break;
    case Kind::LinkAdded:
    case Kind::LinkRemoved:
        _stale.links = _stale.notes = true;
        break;
    case Kind::ValueChanged:
    case Kind::MemberChanged:
        _stale.nodes.insert(event.node);
        _stale.links = _stale.links || event.key == "bypass" || event.kind == Kind::ValueChanged;
        break;
    case Kind::View:
        _stale.notes = true;
        break;
    case Kind::Document:
        _stale.output = _stale.output || event.key == "output";
        _stale.notes = _stale.notes || event.key == "view";
        break;
    case Kind::Selection:
        _stale.selection = true;
        break;
    case Kind::Replaced:
        _stale.all = true;
        break;
    case Kind::HeldChanged:
    case Kind::Resources:
    case Kind::History:
    case Kind::Modified:
        break;
    }
    if (_stale.any()) {
        _syncTimer->start(0);
    }
}

void Canvas::sync()
{
    while (!isWhole()) {
        buildMore();
    }
    if (!_session || !_stale.any()) {
        return;
    }
    const Stale stale = std::exchange(_stale, {});
    _syncTimer->stop();
    if (stale.all) {
        clearScene();
        _placed.clear();
        rebuild();
        sync();
        return;
    }
    const zrkmodel::EffectiveTagScope tags;
    const auto& graph = _session->document().graph();
    for (const std::uint16_t id : stale.nodes) {
        if (graph->getNodePtr(id)) {
            showNode(id);
        } else {
            dropNode(id);
        }
    }
    if (stale.output) {
        const auto& output = _session->document().output();
        for (auto& [id, item] : _nodes) {
            NodeInfo info = item->info();
            info.hasOutputFlag = output && output->node == id;
            item->setInfo(std::move(info));
        }
    }
    if (stale.links) {
        for (auto& [id, item] : _nodes) {
            NodeInfo info = item->info();
            updatePins(info, *_session);
            item->setInfo(std::move(info));
        }
    }
    if (stale.links || stale.notes) {
        showWires();
    }
    for (const std::uint16_t id : stale.nodes) {
        followNode(id);
    }
    if (stale.notes || !stale.nodes.empty()) {
        showNotes();
    }
    showSelection();
    if (_wire && !_nodes.contains(_wire->start.node())) {
        letWireGo(false);
    }
    updateActions();
    wantThumbnails();
}

void Canvas::clearScene()
{
    _build = Build::done;
    _unbuilt.clear();
    _unbuiltWires.clear();
    _buildTimer->stop();
    viewport()->setUpdatesEnabled(true);
    cancelPress();
    _springAnimation->stop();
    _hoverAnimation->stop();
    delete std::exchange(_springing, nullptr);
    _wire.reset();
    _hoveredNode = _fadingNode = nullptr;
    setHoveredWire(nullptr);
    _nameTaken = {}; // it was for a node of the document that goes
    _nameBox->hide();
    _search->drop();
    _nodes.clear();
    _wires.clear();
    _frames.clear();
    _notes = {};
    _selectedWires.clear();
    _selectedReroute.reset();
    _selectedFrame.reset();
    _focused.reset();
    _scene->clear();
}

void Canvas::rebuild()
{
    _notes = CanvasNotes::read(*_session);
    for (const auto& node : _session->document().graph()->nodes()) {
        _unbuilt.push_back(node->id);
    }
    _build = Build::nodes;
    if (_unbuilt.size() > kBuiltAtOnce) {
        // Moving thousands of items from one place takes seconds with an index.
        _scene->setItemIndexMethod(QGraphicsScene::NoIndex);
        viewport()->setUpdatesEnabled(false); // what is there stays until all of the new one can be shown
        _buildTimer->start(0);
        return;
    }
    while (!isWhole()) {
        buildMore();
    }
}

/// Makes some of a document that is new here, for a few milliseconds.
void Canvas::buildMore()
{
    const zrkmodel::EffectiveTagScope tags;
    QElapsedTimer clock;
    clock.start();
    const Build stage = _build; // the steps between nodes and wires have turns of their own
    while (_build == stage && !isWhole() && clock.elapsed() < kBuildMs) {
        buildNext();
    }
}

/// A node, a wire, or a step between.
void Canvas::buildNext()
{
    switch (_build) {
    case Build::nodes:
        if (_unbuilt.empty()) {
            _build = Build::places;
            break;
        }
        if (_session->document().graph()->getNodePtr(
                _unbuilt.front())) { // it may have been removed meanwhile
            NodeInfo info = nodeInfo(*_session, _unbuilt.front());
            info.position = storedPosition(*_session, info.id).value_or(QPointF());
            addItem(_unbuilt.front(), std::move(info));
        }
        _unbuilt.pop_front();
        break;
    case Build::places: {
        dropGone();
        placeNodes();
        auto wires = wiresOf(*_session);
        _unbuiltWires.assign(std::make_move_iterator(wires.begin()), std::make_move_iterator(wires.end()));
        _build = Build::wires;
        break;
    }
    case Build::wires:
        if (_unbuiltWires.empty()) {
            _build = Build::rest;
            break;
        }
        showWire(std::move(_unbuiltWires.front()));
        _unbuiltWires.pop_front();
        break;
    case Build::rest:
        _build = Build::done;
        _buildTimer->stop();
        viewport()->setUpdatesEnabled(true);
        _scene->setItemIndexMethod(QGraphicsScene::BspTreeIndex);
        showNotes();
        showSelection();
        updateActions();
        wantThumbnails();
        if (_isFitDue && isVisible()) {
            fitOpened();
        }
        break;
    case Build::done:
        break;
    }
}

/// Has no item for nodes that went while others were made.
void Canvas::dropGone()
{
    for (const std::uint16_t id : _stale.nodes) {
        if (!_session->document().graph()->getNodePtr(id)) {
            dropNode(id);
        }
    }
}

NodeItem* Canvas::addItem(std::uint16_t id, NodeInfo info)
{
    auto* item = new NodeItem(std::move(info));
    _nodes[id] = item;
    item->setThumbnailShown(showsThumbnail(id));
    item->setViewed(_viewed && _viewed->node == id);
    item->setCacheMode(_isCached ? QGraphicsItem::DeviceCoordinateCache : QGraphicsItem::NoCache);
    if (const auto badge = _badges.find(id); badge != _badges.end()) {
        item->setBadge(badge->second.shown);
    }
    _scene->addItem(item);
    return item;
}

void Canvas::showNode(std::uint16_t id)
{
    NodeInfo info = nodeInfo(*_session, id);
    const auto known = _nodes.find(id);
    info.position = positionOf(id);
    if (known == _nodes.end()) {
        addItem(id, std::move(info));
        return;
    }
    known->second->setInfo(std::move(info));
    known->second->setPos(known->second->info().position);
}

void Canvas::dropNode(std::uint16_t id)
{
    _badges.erase(id);
    const auto found = _nodes.find(id);
    if (found == _nodes.end()) {
        return;
    }
    if (_press.mode == Mode::move) {
        cancelPress();
    }
    if (_hoveredNode == found->second) {
        _hoveredNode = nullptr;
    }
    if (_fadingNode == found->second) {
        _hoverAnimation->stop();
        _fadingNode = nullptr;
    }
    if (_focused == id) {
        _focused.reset();
    }
    delete found->second;
    _nodes.erase(found);
}

/// False where one of its nodes isn't shown.
bool Canvas::showWire(WireInfo wire)
{
    for (const RerouteNote& reroute : _notes.reroutes) {
        if (reroute.to == wire.to && reroute.from == wire.source) {
            wire.via.push_back(reroute.at);
        }
    }
    const auto from = _nodes.find(wire.shownFrom.node());
    const auto to = _nodes.find(wire.to.node());
    if (from == _nodes.end() || to == _nodes.end()) {
        return false;
    }
    WireItem*& item = _wires[wire.to.bits];
    if (!item) {
        item = new WireItem;
        item->setPlain(_isPlain);
        _scene->addItem(item);
    }
    item->setEnds(from->second->pinPosition(wire.shownFrom), to->second->pinPosition(wire.to));
    item->setInfo(std::move(wire));
    item->setFaded(_wire != nullptr);
    return true;
}

void Canvas::showWires()
{
    _notes = CanvasNotes::read(*_session);
    const zrkmodel::EffectiveTagScope tags;
    std::set<std::uint32_t> kept;
    for (WireInfo& wire : wiresOf(*_session)) {
        const std::uint32_t input = wire.to.bits;
        if (showWire(std::move(wire))) {
            kept.insert(input);
        }
    }
    for (auto wire = _wires.begin(); wire != _wires.end();) {
        if (kept.contains(wire->first)) {
            ++wire;
            continue;
        }
        if (_hoveredWire == wire->second) {
            setHoveredWire(nullptr);
        }
        if (_press.into == wire->second) {
            _press.into = nullptr;
        }
        if (_press.hit.wire == wire->second) {
            cancelPress();
        }
        _selectedWires.erase(wire->first);
        delete wire->second;
        wire = _wires.erase(wire);
    }
    if (_selectedReroute) {
        const auto wire = _wires.find(_selectedReroute->first);
        if (wire == _wires.end() || _selectedReroute->second >= wire->second->info().via.size()) {
            _selectedReroute.reset();
        }
    }
}

void Canvas::showNotes()
{
    _notes = CanvasNotes::read(*_session);
    while (_frames.size() > _notes.frames.size()) {
        delete _frames.back();
        _frames.pop_back();
    }
    while (_frames.size() < _notes.frames.size()) {
        _frames.push_back(new FrameItem);
        _scene->addItem(_frames.back());
    }
    for (std::size_t i = 0; i < _frames.size(); ++i) {
        _frames[i]->setNote(_notes.frames[i]);
    }
    for (auto& [id, item] : _nodes) {
        item->setThumbnailShown(showsThumbnail(id));
    }
    if (_selectedFrame && *_selectedFrame >= _frames.size()) {
        _selectedFrame.reset();
    }
    layOutFrames();
}

void Canvas::layOutFrames()
{
    for (FrameItem* frame : _frames) {
        frame->setContents(boundsOf(frame->note().nodes));
    }
}

void Canvas::showSelection()
{
    const Ids& selected = _session->selection();
    if (_selectedFrame &&
        (*_selectedFrame >= _notes.frames.size() || _notes.frames[*_selectedFrame].nodes != selected)) {
        _selectedFrame.reset(); // something else was chosen since
    }
    const std::set<std::uint16_t> isSelected(selected.begin(), selected.end());
    for (auto& [id, item] : _nodes) {
        item->setSelected(isSelected.contains(id));
        item->setViewed(_viewed && _viewed->node == id);
    }
    for (auto& [input, wire] : _wires) {
        wire->setSelected(_selectedWires.contains(input));
    }
    for (std::size_t i = 0; i < _frames.size(); ++i) {
        _frames[i]->setSelected(_selectedFrame == i);
    }
    if (!selected.empty() && (!_focused || !isSelected.contains(*_focused))) {
        _focused = selected.back();
    }
    const auto node = selected.size() == 1 ? _nodes.find(selected[0]) : _nodes.end();
    setAccessibleDescription(node != _nodes.end() ? node->second->info().title + " is selected"
                                                  : QString("%1 nodes are selected").arg(selected.size()));
}

/// Gives places to nodes where the document has none. One that was never arranged here, and whose nodes would
/// cover each other, is laid out as a whole; its places are kept when something is moved.
void Canvas::placeNodes()
{
    bool isOpen = false;
    std::map<std::uint16_t, QSizeF> sizes;
    std::vector<QRectF> rects;
    for (auto& [id, item] : _nodes) {
        const auto stored = storedPosition(*_session, id);
        isOpen = isOpen || !stored;
        sizes[id] = item->size();
        rects.emplace_back(stored.value_or(QPointF()), item->size());
    }
    if (const zrkmodel::ZRKJson* own = _session->view("arranged"); !isOpen && !(own && *own == true)) {
        std::sort(rects.begin(), rects.end(),
                  [](const QRectF& a, const QRectF& b) { return a.left() < b.left(); });
        for (std::size_t i = 0; i < rects.size() && !isOpen; ++i) {
            for (std::size_t j = i + 1; j < rects.size() && rects[j].left() < rects[i].right(); ++j) {
                isOpen = isOpen || rects[i].intersects(rects[j]);
            }
        }
    }
    if (isOpen) {
        std::vector<std::pair<std::uint16_t, std::uint16_t>> links;
        for (const WireInfo& wire : wiresOf(*_session)) {
            links.emplace_back(wire.shownFrom.node(), wire.to.node());
        }
        for (const auto& [id, place] : layoutNodes(sizes, links)) {
            _placed[id] = {storedPosition(*_session, id), place};
        }
    }
    for (auto& [id, item] : _nodes) {
        NodeInfo info = item->info();
        info.position = positionOf(id);
        item->setInfo(std::move(info));
    }
}

QPointF Canvas::positionOf(std::uint16_t id)
{
    const auto stored = storedPosition(*_session, id);
    const auto placed = _placed.find(id);
    if (placed != _placed.end() && placed->second.stored == stored) {
        return placed->second.shown;
    }
    if (!stored) {
        _placed[id] = {stored, freePlace()};
        return _placed[id].shown;
    }
    return *stored;
}

/// A place beside all that is there.
QPointF Canvas::freePlace() const
{
    QRectF all;
    for (const auto& [id, item] : _nodes) {
        if (item) {
            all |= item->frame();
        }
    }
    return all.isNull() ? QPointF() : QPointF(all.right() + size::kPitchAcross, all.top());
}

/// Moves the ends of a node's wires to where it is.
void Canvas::followNode(std::uint16_t id)
{
    for (auto& [input, wire] : _wires) {
        const WireInfo& info = wire->info();
        if (info.shownFrom.node() == id || info.to.node() == id) {
            wire->setEnds(_nodes.at(info.shownFrom.node())->pinPosition(info.shownFrom),
                          _nodes.at(info.to.node())->pinPosition(info.to));
        }
    }
}

void Canvas::applyLights()
{
    const bool isHeld = _wire != nullptr;
    for (auto& [id, item] : _nodes) {
        if (!isHeld) {
            item->setLights(std::nullopt);
            continue;
        }
        DragLights lights;
        lights.tag = _wire->tag;
        lights.start = _wire->start;
        for (std::size_t i = 0; i < item->info().inputs.size(); ++i) {
            lights.inputs.push_back(_wire->rules.fits(Pin_handle::input(id, static_cast<std::uint8_t>(i))));
        }
        for (std::size_t i = 0; i < item->info().outputs.size(); ++i) {
            lights.outputs.push_back(_wire->rules.fits(Pin_handle::output(id, static_cast<std::uint8_t>(i))));
        }
        item->setLights(std::move(lights));
    }
    for (auto& [input, wire] : _wires) {
        wire->setFaded(isHeld);
        wire->setVisible(!isHeld || !_wire->freed.isValid() || input != _wire->freed.bits);
    }
}

QRectF Canvas::boundsOf(const Ids& nodes) const
{
    QRectF bounds;
    for (const std::uint16_t id : nodes) {
        if (const auto found = _nodes.find(id); found != _nodes.end()) {
            bounds |= found->second->frame();
        }
    }
    return bounds;
}

// What is told of nodes

void Canvas::setBadge(std::uint16_t node, const NodeBadge& badge)
{
    if (!_session || !_session->document().graph()->getNodePtr(node)) {
        return;
    }
    using Kind = NodeBadge::Kind;
    const std::int64_t now = QDateTime::currentMSecsSinceEpoch();
    BadgeState& state = _badges[node];
    const bool wasWaiting = state.told.kind == Kind::computing && state.shown.kind != Kind::computing;
    state.told = badge;
    if (badge.kind == Kind::computing && state.shown.kind != Kind::computing) {
        state.due = wasWaiting ? state.due : now + kBadgeDelayMs;
    } else if (badge.kind != Kind::computing && state.shown.kind == Kind::computing) {
        state.due = std::max(now, state.since + kBadgeLeastMs);
    } else {
        state.due = now;
    }
    showDueBadges();
}

void Canvas::showDueBadges()
{
    const std::int64_t now = QDateTime::currentMSecsSinceEpoch();
    bool isWaiting = false;
    for (auto& [node, state] : _badges) {
        if (state.told == state.shown) {
            continue;
        }
        if (state.due > now) {
            isWaiting = true;
            continue;
        }
        state.since = state.told.kind == state.shown.kind ? state.since : now;
        state.shown = state.told;
        if (const auto found = _nodes.find(node); found != _nodes.end()) {
            found->second->setBadge(state.shown);
        }
    }
    if (isWaiting && !_badgeTimer->isActive()) {
        _badgeTimer->start();
    } else if (!isWaiting) {
        _badgeTimer->stop();
    }
}

bool Canvas::showsThumbnail(std::uint16_t id) const
{
    return _hasThumbnails && std::find(_notes.plain.begin(), _notes.plain.end(), id) == _notes.plain.end();
}

void Canvas::setThumbnail(std::uint16_t node, const QImage& picture)
{
    if (const auto found = _nodes.find(node); found != _nodes.end()) {
        found->second->setThumbnail(picture);
    }
}

void Canvas::setViewed(std::optional<zrkmodel::PinAddress> pin)
{
    _viewed = pin;
    for (auto& [id, item] : _nodes) {
        item->setViewed(pin && pin->node == id);
    }
}

void Canvas::onThumbnailsWanted(std::function<void(const Ids&, QSize)> listener)
{
    _thumbnailsWanted = std::move(listener);
    _wantedThumbnails.clear();
    wantThumbnails();
}

void Canvas::onViewWanted(std::function<void(zrkmodel::PinAddress)> listener)
{
    _viewWanted = std::move(listener);
}

void Canvas::onWireHovered(std::function<void(std::optional<zrkmodel::PinAddress>)> listener)
{
    _wireHovered = std::move(listener);
}

void Canvas::onSaid(std::function<void(const QString&, bool)> listener) { _said = std::move(listener); }

// What is shown

QRect Canvas::nodeRect(std::uint16_t node)
{
    sync();
    const auto found = _nodes.find(node);
    return found == _nodes.end() ? QRect() : viewportTransform().mapRect(found->second->frame()).toRect();
}

QPoint Canvas::pinPoint(Pin_handle pin)
{
    sync();
    const auto found = _nodes.find(pin.node());
    return found == _nodes.end() ? QPoint() : viewportAt(found->second->pinPosition(pin));
}

const NodeItem* Canvas::node(std::uint16_t id)
{
    sync();
    const auto found = _nodes.find(id);
    return found == _nodes.end() ? nullptr : found->second;
}

std::optional<QPoint> Canvas::wirePoint(Pin_handle input)
{
    sync();
    const auto found = _wires.find(input.bits);
    return found == _wires.end() ? std::nullopt
                                 : std::optional(viewportAt(found->second->path().pointAtPercent(0.5)));
}

std::vector<FrameNote> Canvas::frames()
{
    sync();
    return _notes.frames;
}

QString Canvas::shownReason() const { return _reason->isVisible() ? _reason->text() : QString(); }

std::vector<std::pair<QString, QString>> Canvas::shownWireInfo() const
{
    return _info->isVisible() ? _info->rows() : std::vector<std::pair<QString, QString>>();
}

QAction* Canvas::action(const QString& name) const
{
    const auto found = _actions.find(name);
    return found == _actions.end() ? nullptr : found->second;
}

} // namespace zrkworkbench
