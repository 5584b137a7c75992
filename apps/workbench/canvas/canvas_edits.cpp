#include "apps/workbench/canvas/canvas.h"
#include "apps/workbench/canvas/frame_item.h"
#include "apps/workbench/canvas/layout.h"
#include "apps/workbench/canvas/metrics.h"
#include "apps/workbench/canvas/overlays.h"
#include "apps/workbench/canvas/search_popup.h"
#include "apps/workbench/canvas/wire_item.h"
#include "apps/workbench/look/icons.h"
#include "apps/workbench/look/sentences.h"
#include "core/engine/progress.h"
#include "host/document_values.h"
#include "model/graph_object.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QScrollBar>

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <memory>
#include <string>
#include <utility>

namespace zrkworkbench {

using zrkmodel::EditSession;
using zrkmodel::NodePosition;
using zrkmodel::Pin_handle;
using zrkmodel::PinAddress;
using zrkmodel::ZRKGraphObjectRegistration;
using zrkmodel::ZRKJson;

namespace {

constexpr int kRecentCount = 12;
constexpr double kCopyOffset = 32;
constexpr std::size_t kPastedAtOnce = 65536; ///< bytes of text that are read in some milliseconds

bool hasNodes(const std::string& text)
{
    const ZRKJson fragment = ZRKJson::parse(text, nullptr, false);
    return fragment.is_object() && fragment.contains("nodes") && fragment["nodes"].is_array() &&
           !fragment["nodes"].empty();
}

} // namespace

Canvas::Ids Canvas::selectedNodes() const
{
    Ids nodes;
    for (const std::uint16_t id : _session ? _session->selection() : Ids()) {
        if (_nodes.contains(id)) {
            nodes.push_back(id);
        }
    }
    return nodes;
}

// What all edits share

/// Writes the places that nodes were given here into the document, so that they stay as they are seen.
zrk::Result<void> Canvas::keepPlaces()
{
    std::vector<NodePosition> positions;
    for (const auto& [id, item] : _nodes) {
        const auto placed = _placed.find(id);
        if (placed != _placed.end() && placed->second.stored == storedPosition(*_session, id)) {
            positions.push_back({id, placed->second.shown.x(), placed->second.shown.y()});
        }
    }
    if (positions.empty()) {
        return {};
    }
    return _session->move(positions).and_then([&] { return _session->setView("arranged", ZRKJson(true)); });
}

/// Does an edit as one step. Says why when it can't be done.
bool Canvas::attempt(const std::string& name, const std::function<zrk::Result<void>()>& work)
{
    if (!_session) {
        return false;
    }
    const zrk::Result<void> done = _session->macro(name, work);
    if (!done) {
        say(done.error());
    }
    sync();
    return done.has_value();
}

void Canvas::refuse(const QString& reason, const QString& remedy, std::optional<QPointF> scene)
{
    QPoint at = rect().center();
    const Ids selected = selectedNodes();
    if (scene) {
        at = viewportAt(*scene);
    } else if (!selected.empty()) {
        at = viewportAt(_nodes.at(selected.back())->frame().bottomLeft());
    } else if (viewport()->rect().contains(_pointer)) {
        at = _pointer;
    }
    _reason->show(viewport()->mapTo(this, at) + QPoint(12, 16), reason, remedy);
    if (_said) {
        _said(reason + (remedy.isEmpty() ? QString() : ". " + remedy), true);
    }
}

void Canvas::say(const zrk::Fault& fault)
{
    const auto text = [](const std::string& part) { return QString::fromStdString(zrk::printable(part)); };
    const QString expected = text(fault.expected);
    refuse(sentence(text(fault.found)) + (expected.isEmpty() ? "" : ", expected " + expected),
           sentence(text(fault.remedy)));
}

// Nodes and links

std::optional<std::uint16_t> Canvas::addType(const ZRKGraphObjectRegistration& type, QPointF scene,
                                             std::optional<Pin_handle> from)
{
    if (!_session) {
        return std::nullopt;
    }
    std::optional<std::uint8_t> pin;
    std::optional<Pin_handle> start = from;
    if (from) {
        const auto& info = _nodes.at(from->node())->info();
        const auto& pins = from->isOutput() ? info.outputs : info.inputs;
        pin = fittingPin(type, {pins[from->index()].declared, from->isOutput()});
        if (pin) {
            // The pin that is linked goes where the wire was dropped.
            scene.ry() -= size::kHeader + size::kPadTop + size::kRow * (*pin + 0.5);
            const NodeItem probe(pinsOfType(type));
            scene.rx() -= from->isOutput() ? 0 : probe.size().width();
        }
    }
    std::optional<std::uint16_t> added;
    const QPointF place = snapped(scene);
    const bool isDone = attempt("Add " + std::string(type.strings.title), [&]() -> zrk::Result<void> {
        return keepPlaces().and_then([&]() -> zrk::Result<void> {
            zrkmodel::NewNode node;
            node.type = type.className.empty() ? type.info.name : type.className;
            node.uuid = type.info.uuid;
            node.position = {place.x(), place.y()};
            const auto id = _session->addNode(node);
            if (!id) {
                return zrk::refused(id.error());
            }
            added = *id;
            zrk::Result<void> linked;
            if (start && pin) {
                linked = start->isOutput() ? _session->link(*start, Pin_handle::input(*id, *pin), false)
                                           : _session->link(Pin_handle::output(*id, *pin), *start, false);
            }
            if (linked && !_session->document().output() && _nodes.empty() &&
                !pinsOfType(type).outputs.empty()) {
                linked = _session->setOutput(PinAddress{*id, 0}); // the first one is what the document gives
            }
            _session->select({*id});
            return linked;
        });
    });
    if (!isDone) {
        return std::nullopt;
    }
    const QString name = QString::fromStdString(type.className);
    _recent.removeAll(name);
    _recent.prepend(name);
    while (_recent.size() > kRecentCount) {
        _recent.removeLast();
    }
    _focused = added;
    return added;
}

void Canvas::addNodeAt(const std::string& className, const QPoint& place)
{
    const auto* type = zrkmodel::ZRKGraphObject::registry().findByClass(className);
    if (!type) {
        refuse(QString("There is no type %1").arg(QString::fromStdString(className)),
               "Choose one of the list");
        return;
    }
    sync();
    addType(*type, sceneAt(place), std::nullopt);
}

void Canvas::addNodeAtCentre(const std::string& className)
{
    sync();
    const auto* type = zrkmodel::ZRKGraphObject::registry().findByClass(className);
    QPoint place = viewport()->rect().center();
    if (type) {
        const NodeItem probe(pinsOfType(*type));
        QPointF scene = sceneAt(place) - QPointF(probe.size().width() / 2, probe.size().height() / 2);
        // Beside what lies there.
        for (int tries = 0; tries < 40; ++tries) {
            const QRectF room(snapped(scene), probe.size());
            const bool isTaken = std::any_of(_nodes.begin(), _nodes.end(), [&](const auto& node) {
                return node.second->frame().intersects(room);
            });
            if (!isTaken) {
                break;
            }
            scene += QPointF(kCopyOffset, kCopyOffset);
        }
        addType(*type, scene, std::nullopt);
        return;
    }
    addNodeAt(className, place);
}

void Canvas::linkPins(Pin_handle a, Pin_handle b, Pin_handle freed, bool replaces)
{
    const Pin_handle output = a.isOutput() ? a : b;
    const Pin_handle input = a.isOutput() ? b : a;
    attempt("Link", [&]() -> zrk::Result<void> {
        zrk::Result<void> ready;
        if (freed.isValid()) {
            ready = _session->unlink(freed);
        }
        return ready.and_then([&] { return _session->link(output, input, replaces); });
    });
}

void Canvas::openSearch()
{
    const QPoint pointer = viewport()->mapFromGlobal(QCursor::pos());
    const bool isWithin = viewport()->rect().contains(pointer) && underMouse();
    openSearchAt(isWithin ? pointer : viewport()->rect().center() - QPoint(zrkui::scaled(*this, 204), 80),
                 std::nullopt);
}

void Canvas::openSearchAt(const QPoint& place, const std::optional<Pin_handle>& from)
{
    if (!_session) {
        return;
    }
    sync();
    std::optional<SearchFilter> filter;
    _searchPlace = sceneAt(place);
    QPoint at = viewport()->mapTo(this, place) + QPoint(-zrkui::scaled(*this, 24), -zrkui::scaled(*this, 22));
    if (from) {
        const auto& info = _nodes.at(from->node())->info();
        const PinInfo& pin = (from->isOutput() ? info.outputs : info.inputs)[from->index()];
        filter = SearchFilter{pin.declared == zrkmodel::Tag::Any ? pin.tag : pin.declared, from->isOutput()};
        // Beside the dropped end, never over it.
        at = viewport()->mapTo(this, place) + QPoint(-zrkui::scaled(*this, 110), zrkui::scaled(*this, 20));
    }
    _search->open(at, filter, _recent, from ? std::optional(viewport()->mapTo(this, place)) : std::nullopt);
}

// Commands

QAction* Canvas::makeAction(QList<QAction*>& list, const char* name, const char* text, const char* iconName,
                            const QList<QKeySequence>& keys, const char* tip, std::function<void()> work)
{
    auto* action = new QAction(icon(iconName), text, this);
    action->setObjectName(name);
    action->setShortcuts(keys);
    // Only while the canvas has the focus: single letters are typed elsewhere.
    action->setShortcutContext(Qt::WidgetShortcut);
    const QString shown =
        keys.isEmpty() ? QString() : " (" + keys.front().toString(QKeySequence::NativeText) + ")";
    action->setToolTip(QString(tip) + shown);
    connect(action, &QAction::triggered, this, [this, work = std::move(work)] {
        sync();
        if (_session) {
            work();
            sync();
        }
    });
    QWidget::addAction(action);
    list << action;
    _actions[name] = action;
    return action;
}

void Canvas::makeActions()
{
    using Keys = QList<QKeySequence>;
    const auto edit = [this](const char* name, const char* text, const char* iconName, const Keys& keys,
                             const char* tip, auto work) {
        return makeAction(_editActions, name, text, iconName, keys, tip, std::move(work));
    };
    const auto view = [this](const char* name, const char* text, const char* iconName, const Keys& keys,
                             const char* tip, auto work) {
        return makeAction(_viewActions, name, text, iconName, keys, tip, std::move(work));
    };
    edit("add", "&Add node…", "add", {QKeySequence("Shift+A")}, "Find a type and add a node of it",
         [this] { openSearch(); });
    edit("cut", "Cu&t", "cut", {QKeySequence::Cut}, "Copy the nodes and remove them", [this] {
        copySelection();
        removeSelection(false);
    });
    edit("copy", "&Copy", "copy", {QKeySequence::Copy}, "Copy the nodes as text",
         [this] { copySelection(); });
    edit("paste", "&Paste", "paste", {QKeySequence::Paste}, "Add the nodes of the clipboard",
         [this] { paste(); });
    edit("duplicate", "D&uplicate", "duplicate", {QKeySequence("Ctrl+D")},
         "Copy the nodes within the document; their inputs stay linked", [this] { duplicate(); });
    edit("delete", "&Delete", "delete", {QKeySequence(Qt::Key_Delete), QKeySequence(Qt::Key_Backspace)},
         "Remove what is selected", [this] { removeSelection(false); });
    edit("dissolve", "Delete and &reconnect", "remove",
         {QKeySequence("Ctrl+Delete"), QKeySequence("Ctrl+Backspace")},
         "Remove the nodes and link what they stood between", [this] { removeSelection(true); });
    edit("select-all", "Se&lect all", "select-all", {QKeySequence::SelectAll}, "Select all nodes", [this] {
        Ids all;
        for (const auto& [id, item] : _nodes) {
            all.push_back(id);
        }
        _session->select(all);
    });
    edit("select-upstream", "Select upstr&eam", "upstream", {QKeySequence("U")},
         "Select all that feeds the selection, as a click with Ctrl on a header does",
         [this] { selectUpstream(true); });
    edit("rename", "Re&name…", "settings", {QKeySequence(Qt::Key_F2)}, "Give the node or the frame a name",
         [this] { renameSelected(); });
    edit("link", "Lin&k…", "reroute", {QKeySequence("L")},
         "Hold a wire from the node: arrow keys choose a pin, Enter links, Escape lets go", [this] {
             const Ids selected = selectedNodes();
             if (selected.size() == 1 && !_nodes.at(selected[0])->info().outputs.empty()) {
                 holdWire(Pin_handle::output(selected[0], 0), {}, true);
                 wireByKeys(Qt::Key_Right);
             }
         });
    edit("bypass", "&Bypass", "bypass", {QKeySequence("M")}, "Lead the links past the node, or use it again",
         [this] { bypassSelection(); });
    edit("output", "Set as &output", "output", {QKeySequence("O")},
         "Make it the document's output; again for the next pin", [this] { flagOutput(); });
    edit("frame", "&Frame", "frame", {QKeySequence("Ctrl+G")}, "Put a titled frame around the nodes",
         [this] { frameSelection(); });
    edit("reroute", "Add reroute po&int", "reroute", {QKeySequence("R")},
         "Lead a wire by a point; so does a double click on it", [this] {
             const auto wire = _selectedWires.empty() ? _wires.end() : _wires.find(*_selectedWires.begin());
             if (wire != _wires.end()) {
                 addReroute(*wire->second, wire->second->path().pointAtPercent(0.5));
             } else if (_hoveredWire) {
                 addReroute(*_hoveredWire, sceneAt(_pointer));
             } else {
                 refuse("No wire is chosen", "Point at a wire or click it first");
             }
         });
    edit("align-left", "Align &left", "align-left", {QKeySequence("Shift+L")},
         "Line the nodes up at the left", [this] { alignSelection(Qt::LeftEdge); });
    edit("align-top", "Align &top", "align-top", {QKeySequence("Shift+T")}, "Line the nodes up at the top",
         [this] { alignSelection(Qt::TopEdge); });
    edit("distribute", "D&istribute", "distribute", {QKeySequence("Shift+D")},
         "Spread the nodes evenly from top to bottom", [this] { distributeSelection(); });
    edit("layout", "La&y out", "layout", {QKeySequence("Shift+Y")},
         "Lay the selected nodes out from left to right, or all where none are selected",
         [this] { layOutNodes(); });

    view("fit", "&Fit", "fit", {QKeySequence("F")}, "Show the selection, or all", [this] { fit(); });
    view("fit-all", "Fit &all", "fit", {QKeySequence("Shift+F"), QKeySequence(Qt::Key_Home)},
         "Show all nodes", [this] { fitAll(); });
    view("zoom-in", "Zoom &in", "zoom-in", {QKeySequence::ZoomIn, QKeySequence("+")}, "Show more closely",
         [this] { setZoom(_zoom * 1.2); });
    view("zoom-out", "Zoom &out", "zoom-out", {QKeySequence::ZoomOut, QKeySequence("-")}, "Show more",
         [this] { setZoom(_zoom / 1.2); });
    view("zoom-100", "&Zoom to 100 %", "search", {QKeySequence("Ctrl+0"), QKeySequence("1")},
         "Show at full size", [this] { setZoom(1); });
    QAction* thumbnails = view("thumbnails", "&Thumbnails", "thumbnails", {QKeySequence("T")},
                               "Show a picture of each node's field",
                               [this] { setThumbnailsShown(action("thumbnails")->isChecked()); });
    thumbnails->setCheckable(true);
    thumbnails->setChecked(true);
    view("thumbnail", "Thumbnail of this &node", "thumbnails", {QKeySequence("Ctrl+Shift+T")},
         "Show or hide the pictures of the selected nodes", [this] { toggleThumbnails(); });
    view("view", "&View this node", "eye", {QKeySequence("P")},
         "Show the node's field in the view; again for the next pin", [this] { viewSelected(); });

    for (const char* name : {"thumbnails", "layout", "bypass", "output", "frame", "fit"}) {
        _tools->add(_actions.at(name));
    }
    _zoomChip = new ChipButton(this);
    _zoomChip->setObjectName("ZoomChip");
    _zoomChip->setAccessibleName("zoom");
    _zoomChip->setToolTip("The zoom; a click shows at 100 %");
    _zoomChip->setFocusPolicy(Qt::TabFocus);
    connect(_zoomChip, &QToolButton::clicked, this, [this] { setZoom(1); });
    updateActions();
}

void Canvas::addEditActions(QMenu& menu) const
{
    // What each group begins with.
    const std::initializer_list<const char*> first = {"cut", "select-all", "rename", "frame", "align-left"};
    QMenu* arranging = nullptr;
    for (QAction* each : _editActions) {
        if (std::find(first.begin(), first.end(), each->objectName()) != first.end()) {
            menu.addSeparator();
        }
        if (each->objectName() == "align-left") {
            arranging = menu.addMenu("Arran&ge");
        }
        (arranging ? arranging : &menu)->addAction(each);
    }
}

void Canvas::updateActions()
{
    const std::size_t count = selectedNodes().size();
    const bool hasSelection = count > 0;
    const auto enable = [&](std::initializer_list<const char*> names, bool isOn) {
        for (const char* name : names) {
            _actions.at(name)->setEnabled(isOn);
        }
    };
    enable({"cut", "copy", "duplicate", "dissolve", "select-upstream", "bypass", "thumbnail", "output",
            "view", "frame"},
           hasSelection);
    enable({"delete"}, hasSelection || !_selectedWires.empty() || _selectedReroute || _selectedFrame);
    enable({"rename"}, count == 1 || _selectedFrame);
    enable({"link"}, count == 1);
    enable({"align-left", "align-top"}, count > 1);
    enable({"distribute"}, count > 2);
    enable({"add", "paste", "select-all", "layout", "fit", "fit-all"}, _session != nullptr);
    _hint->setVisible(_session && isWhole() && _nodes.empty());
}

void Canvas::copySelection()
{
    const Ids selected = selectedNodes();
    const auto text = _session->copy(selected);
    if (!text) {
        say(text.error());
        return;
    }
    // Places as they are seen, and what the canvas keeps of these nodes.
    ZRKJson fragment = ZRKJson::parse(*text);
    for (ZRKJson& entry : fragment["nodes"]) {
        const QPointF place = _nodes.at(entry["id"].get<std::uint16_t>())->pos();
        entry["position"] = {place.x(), place.y()};
    }
    if (const ZRKJson view = _notes.within(selected).toView(); !view.empty()) {
        fragment["view"] = view;
    }
    QGuiApplication::clipboard()->setText(QString::fromStdString(zrkmodel::documentText(fragment)));
    _pasteCount = 0;
}

void Canvas::paste()
{
    struct Reading {
        zrkmodel::EditSession::PasteReading read;
        zrk::Result<zrkmodel::PasteText> text = zrk::refused({});
        bool hasNodes = true;
    };
    const auto text = std::make_shared<const std::string>(QGuiApplication::clipboard()->text().toStdString());
    const auto reading = std::make_shared<Reading>();
    reading->read = _session->startPaste(*text);
    const auto read = [reading, text](zrk::ProgressMonitor* monitor) {
        reading->text = zrk::attempt("clipboard", [&] { return reading->read(monitor); });
        reading->hasNodes = reading->text || hasNodes(*text);
    };
    const bool isAtPointer = underMouse() && viewport()->rect().contains(_pointer);
    const auto pointer = isAtPointer ? std::optional(sceneAt(_pointer)) : std::nullopt;
    const auto add = [this, reading, pointer]() -> zrk::Result<zrkmodel::DocumentWarnings> {
        if (!reading->hasNodes) {
            refuse("The clipboard has no nodes", "Copy nodes here, or the text of a document");
            return {};
        }
        if (!reading->text) {
            return zrk::refused(reading->text.error());
        }
        return addPasted(std::move(*reading->text), pointer);
    };
    if (_pasteReader && (text->size() > kPastedAtOnce || _session->readsFiles(*text))) {
        _pasteReader([read](zrk::ProgressMonitor& monitor) { read(&monitor); }, add);
    } else {
        read(nullptr);
        if (const auto added = add(); !added) {
            say(added.error());
        }
    }
}

/// What moves the upper left corner of pasted nodes to the pointer, or beside where they were.
QPointF Canvas::pasteShift(const ZRKJson& fragment, std::optional<QPointF> pointer)
{
    QPointF corner;
    bool hasCorner = false;
    for (const ZRKJson& entry : fragment["nodes"]) {
        if (entry.is_object() && entry.contains("position") && zrkmodel::isNumbers(entry["position"], 2)) {
            const QPointF place(entry["position"][0].get<double>(), entry["position"][1].get<double>());
            corner =
                hasCorner ? QPointF(std::min(corner.x(), place.x()), std::min(corner.y(), place.y())) : place;
            hasCorner = true;
        }
    }
    ++_pasteCount;
    QPointF target = corner + QPointF(kCopyOffset, kCopyOffset) * _pasteCount;
    if (pointer) {
        target = *pointer;
    } else if (!viewportTransform().inverted().mapRect(QRectF(viewport()->rect())).contains(target)) {
        target = sceneAt(viewport()->rect().center());
    }
    return hasCorner ? snapped(target - corner) : QPointF();
}

/// Returns what of it wasn't taken.
zrkmodel::DocumentWarnings Canvas::addPasted(zrkmodel::PasteText text, std::optional<QPointF> pointer)
{
    const QPointF shift = pasteShift(text.fragment, pointer);
    const ZRKJson view = text.fragment.value("view", ZRKJson::object());
    Ids formerIds;
    for (const ZRKJson& entry : text.fragment["nodes"]) {
        formerIds.push_back(entry["id"].get<std::uint16_t>());
    }
    zrkmodel::DocumentWarnings warnings;
    attempt("Paste", [&]() -> zrk::Result<void> {
        if (const auto kept = keepPlaces(); !kept) {
            return kept;
        }
        zrkmodel::PasteSettings settings;
        settings.dx = shift.x();
        settings.dy = shift.y();
        const auto pasted = _session->paste(std::move(text), settings);
        if (!pasted) {
            return zrk::refused(pasted.error());
        }
        warnings = pasted->warnings;
        std::map<std::uint16_t, std::uint16_t> ids;
        for (std::size_t i = 0; i < pasted->nodes.size(); ++i) {
            ids[formerIds[i]] = pasted->nodes[i];
        }
        CanvasNotes notes = CanvasNotes::read(*_session);
        notes.add(CanvasNotes::fromView(view).renamed(ids, shift));
        return notes.write(*_session);
    });
    if (!warnings.empty() && _said) {
        _said(QString("%1 values of what was pasted weren't taken").arg(warnings.size()), true);
    }
    return warnings;
}

void Canvas::duplicate()
{
    const Ids selected = selectedNodes();
    const CanvasNotes inner = _notes.within(selected);
    attempt("Duplicate", [&]() -> zrk::Result<void> {
        if (const auto kept = keepPlaces(); !kept) {
            return kept;
        }
        // In the order of the document, as the copies come.
        Ids ordered;
        for (const auto& node : _session->document().graph()->nodes()) {
            if (std::find(selected.begin(), selected.end(), node->id) != selected.end()) {
                ordered.push_back(node->id);
            }
        }
        const auto copied = _session->duplicate(ordered, kCopyOffset, kCopyOffset);
        if (!copied) {
            return zrk::refused(copied.error());
        }
        std::map<std::uint16_t, std::uint16_t> ids;
        for (std::size_t i = 0; i < std::min(ordered.size(), copied->nodes.size()); ++i) {
            ids[ordered[i]] = copied->nodes[i];
        }
        CanvasNotes notes = CanvasNotes::read(*_session);
        notes.add(inner.renamed(ids, {kCopyOffset, kCopyOffset}));
        return notes.write(*_session);
    });
}

void Canvas::removeSelection(bool reconnects)
{
    const Ids selected = selectedNodes();
    if (_selectedReroute) {
        const auto [input, index] = *_selectedReroute;
        CanvasNotes notes = _notes;
        std::size_t along = 0;
        std::erase_if(notes.reroutes, [&, input = input, index = index](const RerouteNote& reroute) {
            return reroute.to.bits == input && along++ == index;
        });
        attempt("Remove point", [&] { return notes.write(*_session); });
        return;
    }
    if (_selectedFrame) {
        // The frame goes, its nodes stay.
        CanvasNotes notes = _notes;
        notes.frames.erase(notes.frames.begin() + static_cast<std::ptrdiff_t>(*_selectedFrame));
        _selectedFrame.reset();
        attempt("Remove frame", [&] { return notes.write(*_session); });
        return;
    }
    if (selected.empty() && _selectedWires.empty()) {
        return;
    }
    const std::set<std::uint32_t> wires = _selectedWires;
    attempt("Remove", [&]() -> zrk::Result<void> {
        for (const std::uint32_t bits : wires) {
            const Pin_handle input{bits};
            if (_session->document().graph()->upstream(input).isValid()) {
                if (const auto done = _session->unlink(input); !done) {
                    return done;
                }
            }
        }
        if (selected.empty()) {
            return {};
        }
        CanvasNotes notes = _notes;
        notes.removeNodes(selected);
        return notes.write(*_session).and_then([&] { return _session->removeNodes(selected, reconnects); });
    });
}

void Canvas::bypassSelection()
{
    const Ids selected = selectedNodes();
    const bool isOn = std::any_of(selected.begin(), selected.end(),
                                  [&](std::uint16_t id) { return !_session->isBypassed(id); });
    attempt(isOn ? "Bypass" : "Use again", [&]() -> zrk::Result<void> {
        zrk::Result<void> done;
        for (std::size_t i = 0; i < selected.size() && done; ++i) {
            done = _session->setBypassed(selected[i], isOn);
        }
        return done;
    });
}

void Canvas::flagOutput()
{
    const Ids selected = selectedNodes();
    if (selected.empty()) {
        return;
    }
    const std::uint16_t node = selected.back();
    const std::size_t count = _nodes.at(node)->info().outputs.size();
    if (count == 0) {
        refuse("This node has no output", "Choose a node that gives a field");
        return;
    }
    const auto& output = _session->document().output();
    const std::uint8_t pin =
        output && output->node == node ? static_cast<std::uint8_t>((output->output + 1u) % count) : 0;
    if (!output || output->node != node || output->output != pin) {
        attempt("Set output", [&] { return _session->setOutput(PinAddress{node, pin}); });
        if (count > 1 && _said) {
            _said("The output is " + pinText(*_session, Pin_handle::output(node, pin)), false);
        }
    }
}

void Canvas::viewSelected()
{
    const Ids selected = selectedNodes();
    if (selected.empty() || _nodes.at(selected.back())->info().outputs.empty()) {
        return;
    }
    const std::uint16_t node = selected.back();
    const std::size_t count = _nodes.at(node)->info().outputs.size();
    const auto pin =
        static_cast<std::uint8_t>(_viewed && _viewed->node == node ? (_viewed->output + 1u) % count : 0u);
    setViewed(PinAddress{node, pin});
    if (_viewWanted) {
        _viewWanted(PinAddress{node, pin});
    }
}

void Canvas::toggleThumbnails()
{
    const Ids selected = selectedNodes();
    CanvasNotes notes = _notes;
    const bool hides =
        std::any_of(selected.begin(), selected.end(), [&](std::uint16_t id) { return showsThumbnail(id); });
    for (const std::uint16_t id : selected) {
        std::erase(notes.plain, id);
        if (hides) {
            notes.plain.push_back(id);
        }
    }
    attempt(hides ? "Hide thumbnail" : "Show thumbnail", [&] { return notes.write(*_session); });
}

void Canvas::frameSelection()
{
    const Ids selected = selectedNodes();
    if (selected.empty()) {
        return;
    }
    CanvasNotes notes = _notes;
    notes.frames.push_back({"Frame", selected});
    if (attempt("Frame", [&] { return notes.write(*_session); })) {
        _selectedFrame = _frames.size() - 1;
        _stale.selection = true;
        sync();
        renameSelected();
    }
}

void Canvas::commitPlaces(const std::map<std::uint16_t, QPointF>& places, const char* name)
{
    attempt(name, [&] {
        std::vector<NodePosition> moves;
        for (const auto& [id, place] : places) {
            moves.push_back({id, place.x(), place.y()});
        }
        return keepPlaces().and_then([&] { return _session->move(moves); });
    });
}

void Canvas::alignSelection(Qt::Edge edge)
{
    const Ids selected = selectedNodes();
    const QRectF bounds = boundsOf(selected);
    std::map<std::uint16_t, QPointF> places;
    for (const std::uint16_t id : selected) {
        const QPointF place = _nodes.at(id)->pos();
        places[id] =
            edge == Qt::LeftEdge ? QPointF(bounds.left(), place.y()) : QPointF(place.x(), bounds.top());
    }
    commitPlaces(places, "Align");
}

void Canvas::distributeSelection()
{
    Ids selected = selectedNodes();
    std::sort(selected.begin(), selected.end(), [&](std::uint16_t a, std::uint16_t b) {
        return _nodes.at(a)->pos().y() < _nodes.at(b)->pos().y();
    });
    const QRectF bounds = boundsOf(selected);
    double heights = 0;
    for (const std::uint16_t id : selected) {
        heights += _nodes.at(id)->size().height();
    }
    const double gap =
        std::max(size::kPitchDown, (bounds.height() - heights) / static_cast<double>(selected.size() - 1));
    std::map<std::uint16_t, QPointF> places;
    double y = bounds.top();
    for (const std::uint16_t id : selected) {
        places[id] = QPointF(_nodes.at(id)->pos().x(), std::round(y));
        y += _nodes.at(id)->size().height() + gap;
    }
    commitPlaces(places, "Distribute");
}

void Canvas::layOutNodes()
{
    Ids chosen = selectedNodes();
    if (chosen.size() < 2) {
        chosen.clear();
        for (const auto& [id, item] : _nodes) {
            chosen.push_back(id);
        }
    }
    std::map<std::uint16_t, QSizeF> sizes;
    for (const std::uint16_t id : chosen) {
        sizes[id] = _nodes.at(id)->size();
    }
    std::vector<std::pair<std::uint16_t, std::uint16_t>> links;
    for (const auto& [input, wire] : _wires) {
        links.emplace_back(wire->info().shownFrom.node(), wire->info().to.node());
    }
    const QPointF corner = snapped(boundsOf(chosen).topLeft());
    std::map<std::uint16_t, QPointF> places = layoutNodes(sizes, links);
    for (auto& [id, place] : places) {
        place += corner;
    }
    attempt("Lay out", [&]() -> zrk::Result<void> {
        std::vector<NodePosition> moves;
        for (const auto& [id, place] : places) {
            moves.push_back({id, place.x(), place.y()});
        }
        // Points that led wires around nodes lead them astray now.
        CanvasNotes notes = _notes;
        std::erase_if(notes.reroutes, [&](const RerouteNote& reroute) {
            return places.contains(reroute.from.node()) && places.contains(reroute.to.node());
        });
        return keepPlaces().and_then([&] { return _session->move(moves); }).and_then([&] {
            return notes.write(*_session);
        });
    });
}

void Canvas::selectUpstream(bool)
{
    if (const Ids selected = selectedNodes(); !selected.empty()) {
        _session->select(withUpstream(*_session, selected));
    }
}

// Names

void Canvas::renameSelected()
{
    if (_selectedFrame) {
        const std::size_t index = *_selectedFrame;
        editName(_frames[index]->titleRect(), _notes.frames[index].title, [this, index](const QString& text) {
            CanvasNotes notes = _notes;
            if (index < notes.frames.size()) {
                notes.frames[index].title = text;
                attempt("Name frame", [&] { return notes.write(*_session); });
            }
        });
        return;
    }
    const Ids selected = selectedNodes();
    if (selected.size() != 1) {
        return;
    }
    const std::uint16_t id = selected[0];
    const NodeItem& item = *_nodes.at(id);
    const QRectF header(item.pos(), QSizeF(item.size().width(), size::kHeader));
    editName(header, item.info().title, [this, id](const QString& text) {
        const auto found = _nodes.find(id);
        if (found != _nodes.end() && text != found->second->info().title) {
            const bool isOwn = text == found->second->info().typeTitle;
            attempt("Name",
                    [&] { return _session->setLabel(id, isOwn ? std::string() : text.toStdString()); });
        }
    });
}

void Canvas::editName(const QRectF& scene, const QString& text, std::function<void(const QString&)> taken)
{
    const QRect place = viewportTransform().mapRect(scene).toRect();
    _nameTaken = std::move(taken);
    _nameBox->setText(text);
    _nameBox->setGeometry(
        QRect(viewport()->mapTo(this, place.topLeft()),
              QSize(std::max(place.width(), zrkui::scaled(*this, 140)), zrkui::scaled(*this, 26))));
    _nameBox->show();
    _nameBox->raise();
    _nameBox->selectAll();
    _nameBox->setFocus();
}

void Canvas::addReroute(WireItem& wire, const QPointF& scene)
{
    // Among the points of its wire where it comes along the way.
    const WireInfo& info = wire.info();
    std::size_t place = 0;
    double nearest = 1e18;
    for (std::size_t i = 0; i <= info.via.size(); ++i) {
        std::vector<QPointF> via = info.via;
        via.insert(via.begin() + static_cast<std::ptrdiff_t>(i), scene);
        const QPointF start = wire.path().pointAtPercent(0);
        const QPointF end = wire.path().pointAtPercent(1);
        const double length = wirePath(start, end, via).length();
        if (length < nearest) {
            nearest = length;
            place = i;
        }
    }
    CanvasNotes notes = _notes;
    std::vector<QPointF> via = info.via;
    via.insert(via.begin() + static_cast<std::ptrdiff_t>(place), snapped(scene));
    std::erase_if(notes.reroutes, [&](const RerouteNote& reroute) { return reroute.to == info.to; });
    for (const QPointF& at : via) {
        notes.reroutes.push_back({info.source, info.to, at});
    }
    attempt("Add point", [&] { return notes.write(*_session); });
}

} // namespace zrkworkbench
