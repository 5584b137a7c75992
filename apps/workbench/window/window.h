#pragma once

#include "apps/workbench/canvas/node_badge.h"
#include "apps/workbench/window/document_opener.h"
#include "apps/workbench/window/inspector.h"
#include "apps/workbench/window/problems.h"
#include "host/editing/edit_session.h"
#include "model/signal.h"

#include <QLockFile>
#include <QMainWindow>
#include <QPointer>

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

class QDockWidget;
class QFileSystemWatcher;
class QTimer;

namespace zrkui {
class ZRKCSSStyle;
class ZRKPropertyView;
struct FileReading;
} // namespace zrkui

namespace zrkworkbench {

class Canvas;
class ExamplesPane;
class ExportBar;
class Library;
class DocumentWriter;
class FileLooker;
class FileReader;
class ManualWindow;
class NoticeBar;
class StatusLine;
class TopBar;
class ViewPane;
enum class ExportKind;
struct FieldNote;
struct FileDrop;
struct Flow;
struct ReadFile;
struct Readout;
struct ViewTiming;

/// What file dialogs offer for documents.
inline const char* const kDocumentFilter = "Graph documents (*.zrk.json);;All files (*)";

struct WindowSettings {
    /// Whether the layout, the recent files and the like are kept from one start to the next.
    bool keepsSettings = false;
    /// Where recovery files of documents go that have no file yet; nowhere where it is empty.
    QString unsavedFolder{};
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
    /// Saves under the document's own path, or another one, and waits until it is written. What fails is
    /// told, and the former file stays.
    bool save(const std::string& path = "");
    /// The same without waiting: editing goes on while the file is written. What is asked for meanwhile is
    /// saved next, the newest alone.
    void startSaving(const std::string& path = "", bool overwrites = false);
    /// Whether a file is being written.
    bool isSaving() const;
    /// Adds nodes for pictures, volumes or meshes once they are read, or opens a document.
    void takeFiles(QStringList files, std::optional<QPointF> position = std::nullopt);
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
    bool event(QEvent* event) override;
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
    nod::scoped_connection _working;
    nod::scoped_connection _workDone;
    std::optional<std::pair<std::uint16_t, NodeBadge>> _work; ///< a panel's, at its node
    ProblemList _problems;
    std::map<std::uint16_t, NodeBadge> _badges; ///< as the canvas was told
    QTimer* _badgeRefresh;                      ///< computations tell nobody how far they have come
    std::string _lastMessage;
    DocumentOpener* _opener;
    DocumentWriter* _writer;
    FileReader* _reader;
    FileLooker* _looker;
    bool _followsSystem;        ///< light or dark as the system is
    bool _changesStyle = false; ///< by itself
    QTimer* _paintsAgain;       ///< after another style
    QTimer* _writingSince;      ///< a file is being written for so long that it is worth telling
    struct SaveRequest {
        std::string target;
        bool overwrites;
    };
    std::optional<SaveRequest> _nextSave;             ///< once the file is written that is being written
    std::vector<std::function<void()>> _afterWriting; ///< once nothing is written any more
    std::optional<bool> _savedWell;                   ///< of the last save; none while it runs
    std::shared_ptr<UnsavedPlace> _place;             ///< of a document without a file
    std::vector<std::shared_ptr<UnsavedPlace>> _left; ///< what is offered, the newest first
    std::uint64_t _sessions = 0;                      ///< how many documents were shown
    std::optional<bool> _openedWell;                  ///< of the last opening; none while it runs
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
    void followEdit(const zrkmodel::EditEvent& event);
    void takeOver(std::unique_ptr<zrkmodel::EditSession> session,
                  std::shared_ptr<zrk::ProgressMonitor> monitor = nullptr,
                  std::shared_ptr<UnsavedPlace> place = nullptr);
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
    void followSystem();

    // window_files.cpp
    void askAndOpen();
    void takeOpened(OpenedDocument opened);
    void showOpened(OpenedDocument opened);
    void haveDocument();
    void noteRecent();
    QStringList recentFiles() const;
    void exportField(ExportKind kind);
    bool mayStopExport();

    // window_saving.cpp
    std::string askForTarget();
    void startSavingAs();
    void startWriting(zrkmodel::PendingSave save, std::function<void(const zrkmodel::PendingSave&)> done);
    void writeRecovery();
    void takeSaved(const zrkmodel::PendingSave& saved);
    void refuseSaving(const std::string& target, const zrk::Fault& fault);
    void goOnAfterWriting();
    bool waitForWriting();
    void takeEntry();
    bool mayDiscard();
    void offerRecovery();
    void recover();
    void leavePlace();
    void putBack(const OpenRequest& request);
    void offerLeft();
    void watchFile();
    void lookAtFile();
    void takeFileState(zrkmodel::FileState state);

    // window_drops.cpp
    void askAndAddFiles();
    void finishReading(const std::function<void()>& done);
    void readPasted(std::function<void(zrk::ProgressMonitor&)> read,
                    std::function<zrk::Result<zrkmodel::DocumentWarnings>()> paste);
    void readForPanel(zrkui::FileReading asked);
    bool hasNode(std::uint16_t node, const std::weak_ptr<zrkmodel::ZRKGraphObject>& object) const;
    void takeRead(const FileDrop& drop, std::vector<ReadFile> files);
    void land(const FileDrop& drop, std::vector<ReadFile> files);

    // window_views.cpp
    std::optional<zrkmodel::PinAddress> wantedPin() const;
    void setFollow(Follow follow, std::optional<zrkmodel::PinAddress> pin = std::nullopt);
    void wantView();
    void requestView();
    void staleThumbnails(std::uint16_t node);
    void dropThumbnails();
    void requestThumbnails();
    void showBadges();
    void wantRanges();
    void askFlow();
    void takeFlow(const Flow& flow);
    void takeTiming(const ViewTiming& timing);
    void takeReadout(const Readout& readout);
    void takeFieldNote(const FieldNote& note);
};

} // namespace zrkworkbench
