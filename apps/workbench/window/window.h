#pragma once

#include "apps/workbench/window/document_opener.h"
#include "apps/workbench/window/inspector.h"
#include "apps/workbench/window/problems.h"
#include "host/editing/edit_session.h"
#include "model/signal.h"

#include <QLockFile>
#include <QMainWindow>
#include <QPointer>

#include <deque>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

class QDockWidget;
class QFileSystemWatcher;
class QTimer;

namespace zrkui {
class ZRKCSSStyle;
class ZRKPropertyView;
} // namespace zrkui

namespace zrkworkbench {

class Canvas;
class ExamplesPane;
class ExportBar;
class Library;
class ManualWindow;
class NoticeBar;
class StatusLine;
class TopBar;
class ViewPane;
enum class ExportKind;
struct FieldNote;
struct Flow;
struct Readout;
struct ViewTiming;

struct WindowSettings {
    /// Whether the layout, the recent files and the like are kept from one start to the next.
    bool keepsSettings = false;
    /// The palette that was applied: "system", "light" or "dark".
    QString palette = "system";
    zrkmodel::EditSettings edit{};
};

/// The window: a document's nodes on a canvas, the types that there are, a view of one output, the panel of
/// the selected node and what is wrong. It joins these parts, which know of the document, but not of each
/// other.
class Window : public QMainWindow {
public:
    explicit Window(WindowSettings settings = {});
    ~Window() override;

    /// Opens a document and waits until it is there, or refused; the former one stays then. The window works
    /// meanwhile.
    bool open(const std::string& path);
    /// The same without waiting.
    void startOpening(const OpenRequest& request);
    void newDocument();
    /// The example of the first start, with all others beneath.
    void showFirstStart();
    /// Saves under the document's own path, or another one. What fails is told, and the former file stays.
    bool save(const std::string& path = "");
    /// Adds a node for a picture, a volume or a mesh, or opens a document.
    void takeFile(const QString& path, std::optional<QPointF> position = std::nullopt);
    /// False when the document has no such node.
    bool select(std::uint16_t node);
    /// True once the view and the thumbnails show the newest state in full.
    bool isSettled() const;
    /// What the status line said last.
    std::string message() const { return _lastMessage; }

    zrkmodel::EditSession* session() const { return _session.get(); }
    const zrkmodel::GraphDocument* document() const { return _session ? &_session->document() : nullptr; }
    zrkui::ZRKPropertyView* panel() const { return _inspector->panel(); }
    Inspector& inspector() { return *_inspector; }
    Canvas& canvas() { return *_canvas; }
    ViewPane& view() { return *_view; }
    Library& library() { return *_library; }
    NoticeBar& notices() { return *_notices; }
    ProblemList& problems() { return _problems; }
    TopBar& topBar() { return *_top; }
    StatusLine& status() { return *_status; }
    ExportBar& exports() { return *_export; }
    /// The action of a menu by its text without "&" and dots, such as "Save as".
    QAction* command(const QString& text) const;

protected:
    void closeEvent(QCloseEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void changeEvent(QEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    /// What the view follows.
    enum class Follow { Output, Selection, Pinned };

    WindowSettings _settings;
    TopBar* _top;
    NoticeBar* _notices;
    Canvas* _canvas;
    Library* _library;
    ViewPane* _view;
    Inspector* _inspector;
    ProblemsPane* _problemsPane;
    ExamplesPane* _examples;
    StatusLine* _status;
    ExportBar* _export;
    QDockWidget* _libraryDock;
    QDockWidget* _viewDock;
    QDockWidget* _inspectorDock;
    QDockWidget* _problemsDock;
    QDockWidget* _examplesDock;
    QPointer<ManualWindow> _manual;
    QAction* _undo = nullptr;
    QAction* _redo = nullptr;
    QAction* _save = nullptr;
    QMenu* _recent = nullptr;
    std::vector<QAction*> _docCommands; ///< need a document
    QByteArray _layoutBeforeFull;

    std::shared_ptr<zrk::ProgressMonitor> _monitor; ///< of the session, which goes first
    std::unique_ptr<zrkmodel::EditSession> _session;
    nod::scoped_connection _edits;
    nod::scoped_connection _workDone;
    ProblemList _problems;
    std::set<std::uint16_t> _badged;
    std::string _lastMessage;
    DocumentOpener* _opener;
    std::optional<bool> _openedWell; ///< of the last opening; none while it runs
    std::size_t _stepsWhenAsked = 0; ///< of the history, when the user agreed to leave this document
    std::unique_ptr<QLockFile> _lock;
    QString _lockPath;
    QFileSystemWatcher* _watcher;
    QTimer* _looksAtFile;
    QTimer* _tick;

    Follow _follow = Follow::Output;
    std::optional<zrkmodel::PinAddress> _pinned;
    std::optional<zrkmodel::PinAddress> _viewed;
    QTimer* _viewRefresh; ///< gathers the edits of one turn of the event loop
    QTimer* _thumbnailRefresh;
    std::vector<std::uint16_t> _thumbnailsWanted;
    QSize _thumbnailSize;
    std::vector<std::uint16_t> _thumbnailsStale; ///< nodes that were edited since the last request
    std::set<std::uint16_t> _thumbnailsFresh;
    std::set<std::uint16_t> _thumbnailsPending;
    QTimer* _rangeRefresh;
    std::deque<zrkmodel::PinAddress> _ranges;   ///< outputs whose range the inspector waits for
    std::optional<zrkmodel::PinAddress> _asked; ///< the flow that was asked for
    std::optional<zrkmodel::PinAddress> _hovered;

    // window.cpp
    QDockWidget* addDock(const QString& name, QWidget* content, Qt::DockWidgetArea area);
    void arrange();
    void joinParts();
    void applySheet();
    void followEdit(const zrkmodel::EditEvent& event);
    void takeOver(std::unique_ptr<zrkmodel::EditSession> session,
                  std::shared_ptr<zrk::ProgressMonitor> monitor = nullptr);
    void showTitle();
    void showHistory();
    void say(const QString& text, bool isProblem);
    void tell(const zrk::Fault& fault, ProblemList::Source source);
    void showProblems();
    void goTo(const Problem& problem);
    void showManual(const std::string& className);
    void setFullView(bool isFull);

    // window_menus.cpp
    QAction* addCommand(QMenu* menu, const QString& text, const QKeySequence& keys, const QString& icon,
                        std::function<void()> run);
    void addMenus();
    void addFileMenu();
    void addEditMenu();
    void addAddMenu();
    void addViewMenu();
    void addHelpMenu();
    void fillRecent();
    void fillSources();
    void lockDocks(bool areLocked);
    void usePalette(const QString& name);
    void useStyle(const zrkui::ZRKCSSStyle& style);

    // window_files.cpp
    void askAndOpen();
    bool askAndSave();
    bool mayDiscard();
    void takeOpened(OpenedDocument opened);
    void showOpened(OpenedDocument opened);
    void offerRecovery();
    void recover();
    void watchFile();
    void lookAtFile();
    void noteRecent();
    QStringList recentFiles() const;
    void exportField(ExportKind kind);

    // window_views.cpp
    std::optional<zrkmodel::PinAddress> wantedPin() const;
    void setFollow(Follow follow, std::optional<zrkmodel::PinAddress> pin = std::nullopt);
    void wantView();
    void requestView();
    void staleThumbnails(std::uint16_t node);
    void dropThumbnails();
    void requestThumbnails();
    void wantRanges();
    void askFlow();
    void takeFlow(const Flow& flow);
    void takeTiming(const ViewTiming& timing);
    void takeReadout(const Readout& readout);
    void takeFieldNote(const FieldNote& note);
};

} // namespace zrkworkbench
