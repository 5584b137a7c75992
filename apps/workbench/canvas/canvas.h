#pragma once

#include "apps/workbench/canvas/canvas_notes.h"
#include "apps/workbench/canvas/graph_info.h"
#include "apps/workbench/canvas/node_badge.h"
#include "apps/workbench/canvas/node_item.h"
#include "host/editing/edit_session.h"

#include <QAction>
#include <QElapsedTimer>
#include <QGraphicsView>
#include <QImage>
#include <QList>

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

class QLabel;
class QLineEdit;
class QMenu;
class QTimer;
class QToolButton;
class QVariantAnimation;

namespace zrkworkbench {

class FrameItem;
class InfoCard;
class ReasonCard;
class SearchPopup;
class ToolStrip;
class WireItem;

/// The nodes of a document with their links, to be looked at and edited. Every edit is an operation of the
/// session, and what a drag does is one step; where it can't be done, a card beside the pointer says why.
class Canvas : public QGraphicsView {
public:
    explicit Canvas(QWidget* parent = nullptr);
    ~Canvas() override;

    /// Shows the document of a session, null for none. The canvas listens to it; it must live until another
    /// one is set.
    void setSession(zrkmodel::EditSession* session);
    zrkmodel::EditSession* session() const { return _session; }

    // What is told of nodes

    /// Computing is shown once it has lasted 150 ms, and then for 300 ms at least.
    void setBadge(std::uint16_t node, const NodeBadge& badge);
    /// A picture of the node's first output; null takes it away.
    void setThumbnail(std::uint16_t node, const QImage& picture);
    /// The output that the view shows.
    void setViewed(std::optional<zrkmodel::PinAddress> pin);
    /// The listener is told which nodes are on the screen and how large their pictures are at most, in pixels
    /// of the screen, whenever either changes; none while thumbnails are off.
    void onThumbnailsWanted(
        std::function<void(const std::vector<std::uint16_t>& nodes, QSize devicePixels)> listener);
    /// The listener is told of the output that the user wants to see.
    void onViewWanted(std::function<void(zrkmodel::PinAddress)> listener);
    /// The listener is told of the output whose wire the pointer rests on, and of none when it has left.
    void onWireHovered(std::function<void(std::optional<zrkmodel::PinAddress>)> listener);
    /// Shows names and values beside the wire that the pointer rests on.
    void showWireInfo(const std::vector<std::pair<QString, QString>>& rows);
    /// What is pasted, once it is read: warnings of it, or why it can't be read.
    using Paste = std::function<zrk::Result<zrkmodel::DocumentWarnings>()>;
    /// Does `read` on another thread and then `paste` on this one. Is asked for what is large or reads files;
    /// without one, pasting waits for that.
    using PasteReader = std::function<void(std::function<void(zrk::ProgressMonitor&)> read, Paste paste)>;
    void onPasteReads(PasteReader reader) { _pasteReader = std::move(reader); }
    /// The listener is told of what can't be done, and of what was done unasked.
    void onSaid(std::function<void(const QString& text, bool isProblem)> listener);

    // Commands

    QList<QAction*> editActions() const { return _editActions; }
    /// Adds them to a menu, in groups.
    void addEditActions(QMenu& menu) const;
    QList<QAction*> viewActions() const { return _viewActions; }
    /// The action of a name, such as "bypass"; null for another one.
    QAction* action(const QString& name) const;

    /// Adds a node in the middle of what is seen, and selects it.
    void addNodeAtCentre(const std::string& className);
    /// Adds a node with its upper left corner at a place of the viewport.
    void addNodeAt(const std::string& className, const QPoint& place);
    /// Opens the search for a type at the pointer, or in the middle where that is elsewhere.
    void openSearch();
    /// Scrolls so that the node is seen, and selects it.
    void revealNode(std::uint16_t node);
    /// Shows the selection as a whole, or all where none is selected.
    void fit(bool isAnimated = true);
    void fitAll(bool isAnimated = true);
    void setThumbnailsShown(bool areShown);
    bool areThumbnailsShown() const { return _hasThumbnails; }
    /// Class names, the last used first: what the search lists first.
    const QStringList& recentTypes() const { return _recent; }
    void setRecentTypes(const QStringList& classNames) { _recent = classNames; }

    // What is shown

    /// 1 for 100 %.
    double zoom() const { return _zoom; }
    void setZoom(double zoom);
    /// Takes over at once what the session has told.
    void sync();
    /// Whether all of the document is there: that of a large one comes in several turns of the event loop.
    bool isWhole() const { return _build == Build::done; }
    /// Whether it is also drawn as it is to stay: while the zoom of a large document moves, it is plainer.
    bool isSettled() const;
    /// The node's frame in the viewport; empty for none of this id.
    QRect nodeRect(std::uint16_t node);
    /// Where a pin is in the viewport.
    QPoint pinPoint(zrkmodel::Pin_handle pin);
    /// What is drawn of a node; null for none of this id.
    const NodeItem* node(std::uint16_t id);
    /// The middle of a wire in the viewport; none where the input has no link.
    std::optional<QPoint> wirePoint(zrkmodel::Pin_handle input);
    std::vector<FrameNote> frames();
    SearchPopup* searchPopup() const { return _search; }
    /// The reason that is shown beside the pointer; empty while none is.
    QString shownReason() const;
    /// The rows shown beside a wire.
    std::vector<std::pair<QString, QString>> shownWireInfo() const;
    bool isWireHeld() const { return _wire != nullptr; }

protected:
    bool viewportEvent(QEvent* event) override;
    bool event(QEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void keyReleaseEvent(QKeyEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void changeEvent(QEvent* event) override;
    void scrollContentsBy(int dx, int dy) override;
    void drawBackground(QPainter* painter, const QRectF& rect) override;
    void drawForeground(QPainter* painter, const QRectF& rect) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    using Ids = std::vector<std::uint16_t>;

    /// What lies under the pointer.
    struct Hit {
        enum class Kind { nothing, pin, reroute, node, wire, frame };
        Kind kind = Kind::nothing;
        std::uint16_t node = 0;
        bool isHeader = false;
        zrkmodel::Pin_handle pin{};
        WireItem* wire = nullptr;
        std::size_t index = 0; ///< of the reroute among those of its wire, or of the frame
    };
    enum class Mode { none, pan, move, box, wire, reroute };
    /// A press of the mouse and what became of it.
    struct Press {
        Mode mode = Mode::none;
        Qt::MouseButton button = Qt::NoButton;
        QPoint at{};
        QPoint last{};
        QPointF scene{};
        Qt::KeyboardModifiers keys{}; ///< as the pointer moved last
        bool isMoved = false;
        Hit hit{};
        std::map<std::uint16_t, QPointF> origins{}; ///< of nodes that are dragged
        QRectF box{};
        Ids before{};             ///< what was selected
        WireItem* into = nullptr; ///< the wire that the dragged node would go into
    };
    /// A wire that is held by one end.
    struct HeldWire {
        zrkmodel::Pin_handle start;
        zrkmodel::Pin_handle freed; ///< the input that it was taken from; invalid for a new one
        zrkmodel::Tag tag;
        WireRules rules;
        WireItem* item;
        zrkmodel::Pin_handle target{}; ///< where it would be linked
        QPointF end{};
        bool isByKeys = false;
    };
    /// What the session has told of and the scene doesn't show yet.
    struct Stale {
        bool all = false;
        bool links = false;
        bool notes = false;
        bool selection = false;
        bool output = false;
        std::set<std::uint16_t> nodes{};

        bool any() const { return all || links || notes || selection || output || !nodes.empty(); }
    };
    /// Where a node is shown that has no place in the document, or one that another node covers.
    struct Placed {
        std::optional<QPointF> stored;
        QPointF shown;
    };

    /// What is told of a node, what is shown of it and since when, and when what is told is shown.
    struct BadgeState {
        NodeBadge told;
        NodeBadge shown;
        std::int64_t since = 0;
        std::int64_t due = 0;
    };

    /// What is to be made next of a document that is new here.
    enum class Build { nodes, places, wires, rest, done };

    zrkmodel::EditSession* _session = nullptr;
    nod::scoped_connection _listener;
    Build _build = Build::done;
    std::deque<std::uint16_t> _unbuilt; ///< nodes
    std::deque<WireInfo> _unbuiltWires;
    QTimer* _buildTimer;
    QGraphicsScene* _scene;
    std::map<std::uint16_t, NodeItem*> _nodes;
    std::map<std::uint32_t, WireItem*> _wires; ///< by the input that they end at
    std::vector<FrameItem*> _frames;
    CanvasNotes _notes;
    std::map<std::uint16_t, Placed> _placed;
    std::map<std::uint16_t, BadgeState> _badges;
    Stale _stale;
    std::optional<zrkmodel::PinAddress> _viewed;
    bool _hasThumbnails = true;
    Ids _wantedThumbnails;
    QSize _wantedSize;

    double _zoom = 1;
    bool _isFitDue = false;
    /// What of the scene is seen.
    struct Look {
        double zoom;
        int x;
        int y;

        friend bool operator==(const Look&, const Look&) = default;
    };
    std::optional<Look> _opened; ///< as the document was opened; none once the user has been here
    bool _isCached = false;
    bool _isPlain = false; ///< wires are drawn in a hurry
    int _refinedTo = 0;    ///< rows of the viewport
    QTimer* _syncTimer;
    QTimer* _quietTimer;     ///< the zoom rests
    QTimer* _refineTimer;    ///< draws a part after the other
    QTimer* _thumbnailTimer; ///< gathers changes of what is seen
    QTimer* _infoTimer;      ///< the pointer rests on a wire
    QTimer* _edgeTimer;      ///< something is dragged near an edge
    QElapsedTimer _edgeClock;
    QPointF _edgeRest;   ///< parts of pixels that are yet to be panned
    QTimer* _badgeTimer; ///< badges that are yet to be shown
    QVariantAnimation* _fitAnimation;
    QVariantAnimation* _hoverAnimation;
    QVariantAnimation* _springAnimation;

    Press _press;
    std::unique_ptr<HeldWire> _wire;
    WireItem* _springing = nullptr;
    NodeItem* _hoveredNode = nullptr;
    NodeItem* _fadingNode = nullptr;
    WireItem* _hoveredWire = nullptr;
    std::uint32_t _informedWire = 0xFFFFFFFFu;
    bool _isSpaceDown = false;
    std::optional<std::uint16_t> _focused; ///< where arrow keys start from
    QPoint _pointer;
    std::set<std::uint32_t> _selectedWires;
    std::optional<std::pair<std::uint32_t, std::size_t>> _selectedReroute;
    std::optional<std::size_t> _selectedFrame;
    QPointF _searchPlace; ///< in the scene: where the type that is found goes
    int _pasteCount = 0;
    QStringList _recent;

    SearchPopup* _search;
    ReasonCard* _reason;
    InfoCard* _info;
    ToolStrip* _tools;
    QToolButton* _zoomChip;
    QLabel* _hint; ///< how to begin, while the document is empty
    QLineEdit* _nameBox;
    std::function<void(const QString&)> _nameTaken;

    QList<QAction*> _editActions;
    QList<QAction*> _viewActions;
    std::map<QString, QAction*> _actions;

    std::function<void(const Ids&, QSize)> _thumbnailsWanted;
    std::function<void(zrkmodel::PinAddress)> _viewWanted;
    std::function<void(std::optional<zrkmodel::PinAddress>)> _wireHovered;
    std::function<void(const QString&, bool)> _said;
    PasteReader _pasteReader;

    // The scene (canvas.cpp)
    bool showsThumbnail(std::uint16_t id) const;
    void showDueBadges();
    void take(const zrkmodel::EditEvent& event);
    void clearScene();
    void rebuild();
    void buildMore();
    void buildNext();
    void dropGone();
    NodeItem* addItem(std::uint16_t id, NodeInfo info);
    void showNode(std::uint16_t id);
    void dropNode(std::uint16_t id);
    bool showWire(WireInfo wire);
    void showWires();
    void showNotes();
    void showSelection();
    void placeNodes();
    QPointF positionOf(std::uint16_t id);
    QPointF freePlace() const;
    void followNode(std::uint16_t id);
    void layOutFrames();
    void applyLights();
    QRectF boundsOf(const Ids& nodes) const;
    Ids visibleNodes() const;

    // The view (canvas_view.cpp)
    double sceneScale() const;
    void zoomTo(double zoom, const QPointF& anchor);
    void showRect(const QRectF& rect, bool isAnimated, double mostZoom);
    void fitOpened();
    Look look() const;
    void centreOn(const QPointF& scene);
    void setCaching(bool isOn);
    void setPlain(bool isOn);
    void refineMore();
    void wantThumbnails();
    void askForThumbnails();
    void layOutOverlays();
    bool hasAnimations() const;
    QPointF sceneAt(const QPointF& viewport) const;
    QPoint viewportAt(const QPointF& scene) const;

    // The pointer (canvas_events.cpp)
    Hit hitAt(const QPointF& scene) const;
    void choose(const Hit& hit);
    void hover(const Hit& hit);
    void setHoveredWire(WireItem* wire);
    void tellHoveredWire();
    QString tipAt(const QPoint& place);
    void dragTo(const QPoint& place);
    bool isDragging() const;
    QPointF edgeSpeed() const;
    void panAtEdge();
    void beginMove();
    void dragNodes(const QPointF& scene, Qt::KeyboardModifiers modifiers);
    void endMove(Qt::KeyboardModifiers modifiers);
    WireItem* wireUnder(std::uint16_t node) const;
    void dragBox(const QPointF& scene, Qt::KeyboardModifiers modifiers);
    void dragReroute(const QPointF& scene);
    void holdWire(zrkmodel::Pin_handle start, zrkmodel::Pin_handle freed, bool isByKeys);
    void dragWire(const QPointF& scene);
    void dropWire(const QPointF& scene, Qt::KeyboardModifiers modifiers);
    void letWireGo(bool springsBack);
    void wireByKeys(int key);
    void cancelPress();
    void focusNeighbour(int key);

    // Edits (canvas_edits.cpp)
    zrk::Result<void> keepPlaces();
    bool attempt(const std::string& name, const std::function<zrk::Result<void>()>& work);
    void refuse(const QString& reason, const QString& remedy, std::optional<QPointF> scene = std::nullopt);
    void say(const zrk::Fault& fault);
    std::optional<std::uint16_t> addType(const zrkmodel::ZRKGraphObjectRegistration& type, QPointF scene,
                                         std::optional<zrkmodel::Pin_handle> from);
    void linkPins(zrkmodel::Pin_handle a, zrkmodel::Pin_handle b, zrkmodel::Pin_handle freed, bool replaces);
    void openSearchAt(const QPoint& place, const std::optional<zrkmodel::Pin_handle>& from);
    void commitPlaces(const std::map<std::uint16_t, QPointF>& places, const char* name);
    void makeActions();
    QAction* makeAction(QList<QAction*>& list, const char* name, const char* text, const char* icon,
                        const QList<QKeySequence>& keys, const char* tip, std::function<void()> work);
    void updateActions();
    void copySelection();
    void paste();
    zrkmodel::DocumentWarnings addPasted(zrkmodel::PasteText text, std::optional<QPointF> pointer);
    QPointF pasteShift(const zrkmodel::ZRKJson& fragment, std::optional<QPointF> pointer);
    void duplicate();
    void removeSelection(bool reconnects);
    void bypassSelection();
    void flagOutput();
    void viewSelected();
    void toggleThumbnails();
    void frameSelection();
    void alignSelection(Qt::Edge edge);
    void distributeSelection();
    void layOutNodes();
    void selectUpstream(bool keeps);
    void renameSelected();
    void editName(const QRectF& scene, const QString& text, std::function<void(const QString&)> taken);
    void addReroute(WireItem& wire, const QPointF& scene);
    Ids selectedNodes() const;
};

} // namespace zrkworkbench
