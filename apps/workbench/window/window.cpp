#include "apps/workbench/window/window.h"

#include "apps/workbench/canvas/canvas.h"
#include "apps/workbench/export/export_bar.h"
#include "apps/workbench/views/view_pane.h"
#include "apps/workbench/window/document_writer.h"
#include "apps/workbench/window/examples_pane.h"
#include "apps/workbench/window/file_looker.h"
#include "apps/workbench/window/file_reader.h"
#include "apps/workbench/window/library.h"
#include "apps/workbench/window/manual_window.h"
#include "apps/workbench/window/names.h"
#include "apps/workbench/window/notice_bar.h"
#include "apps/workbench/window/sheet.h"
#include "apps/workbench/window/status_line.h"
#include "apps/workbench/window/top_bar.h"
#include "apps/workbench/window/watchdog.h"
#include "inspectors/app.h"
#include "inspectors/css_style.h"

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QDockWidget>
#include <QFileInfo>
#include <QFileSystemWatcher>
#include <QSettings>
#include <QTimer>
#include <QVBoxLayout>

namespace zrkworkbench {

using zrkmodel::EditEvent;
using zrkmodel::EditSession;
using zrkui::scaled;
using zrkui::ZRKCSSStyle;

namespace {

constexpr int kSecond = 1000;
constexpr int kBadgeInterval = 150; ///< milliseconds between two looks at what is computed
/// Of the layout that QSettings keeps; another arrangement of docks takes another number.
constexpr int kLayoutVersion = 1;

} // namespace

Window::Window(WindowSettings settings)
    : _settings(std::move(settings)),
      _top(new TopBar(this)),
      _notices(new NoticeBar),
      _canvas(new Canvas),
      _library(new Library),
      _view(new ViewPane),
      _inspector(new Inspector),
      _problemsPane(new ProblemsPane),
      _examples(new ExamplesPane),
      _status(new StatusLine(this)),
      _export(new ExportBar),
      _badgeRefresh(new QTimer(this)),
      _opener(new DocumentOpener(this)),
      _writer(new DocumentWriter(this)),
      _reader(new FileReader(this)),
      _looker(new FileLooker(this)),
      _followsSystem(_settings.palette == "system"),
      _paintsAgain(new QTimer(this)),
      _writingSince(new QTimer(this)),
      _watcher(new QFileSystemWatcher(this)),
      _looksAtFile(new QTimer(this)),
      _tick(new QTimer(this)),
      _viewRefresh(new QTimer(this)),
      _thumbnailRefresh(new QTimer(this)),
      _rangeRefresh(new QTimer(this))
{
    setAcceptDrops(true);
    setMenuWidget(_top);
    setStatusBar(_status);
    _status->insertPermanentWidget(2, _export); // left of the readout
    arrange();
    addMenus();
    joinParts();
    ZRKCSSStyle::current().apply(*qApp, windowSheet());
    showTitle();
    showHistory();
    _canvas->setFocus();
    if (_settings.keepsSettings) {
        const QSettings kept;
        restoreGeometry(kept.value("window/geometry").toByteArray());
        restoreState(kept.value("window/layout").toByteArray(), kLayoutVersion);
        _canvas->setRecentTypes(kept.value("canvas/recentTypes").toStringList());
    }
    _left = leftDocuments(_settings.unsavedFolder);
    offerLeft();
}

Window::~Window()
{
    zrkui::ZRKApp::ui().setReader({});
    _opener->cancel();
    _reader->cancel();
    _afterWriting.clear();
    while (_writer->isBusy()) {
        _writer->finish(); // nothing that was asked for is left out
    }
    _edits.disconnect();
    _inspector->setSession(nullptr);
    _canvas->setSession(nullptr);
    delete _view; // ends what runs for it, before the document goes
    zrkui::ZRKApp::ui().setDocument(nullptr);
}

QDockWidget* Window::addDock(const QString& name, QWidget* content, Qt::DockWidgetArea area)
{
    auto* dock = new QDockWidget(name, this);
    dock->setObjectName(name);
    dock->setWidget(content);
    addDockWidget(area, dock);
    return dock;
}

void Window::arrange()
{
    auto* middle = new QWidget;
    auto* column = new QVBoxLayout(middle);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addWidget(_notices);
    column->addWidget(_canvas, 1);
    _canvas->setMinimumWidth(scaled(*this, 256));
    _canvas->setMinimumHeight(scaled(*this, 160));
    setCentralWidget(middle);
    setDockNestingEnabled(true);
    setCorner(Qt::BottomLeftCorner, Qt::LeftDockWidgetArea);
    setCorner(Qt::BottomRightCorner, Qt::RightDockWidgetArea);
    _libraryDock = addDock("Types", _library, Qt::LeftDockWidgetArea);
    _viewDock = addDock("View", _view, Qt::RightDockWidgetArea);
    _inspectorDock = addDock("Values", _inspector, Qt::RightDockWidgetArea);
    _problemsDock = addDock("Problems", _problemsPane, Qt::BottomDockWidgetArea);
    _examplesDock = addDock("Examples", _examples, Qt::BottomDockWidgetArea);
    splitDockWidget(_viewDock, _inspectorDock, Qt::Vertical);
    _library->setMinimumWidth(scaled(*this, 160));
    _view->setMinimumSize(scaled(*this, 320), scaled(*this, 240));
    _problemsDock->hide();
    _examplesDock->hide();
    lockDocks(true);
    resize(scaled(*this, 1440), scaled(*this, 900));
    resizeDocks({_libraryDock, _viewDock}, {scaled(*this, 208), scaled(*this, 416)}, Qt::Horizontal);
    resizeDocks({_viewDock, _inspectorDock}, {scaled(*this, 428), scaled(*this, 400)}, Qt::Vertical);
    resizeDocks({_problemsDock}, {scaled(*this, 88)}, Qt::Vertical);
}

void Window::joinParts()
{
    for (QTimer* timer :
         {_viewRefresh, _thumbnailRefresh, _rangeRefresh, _looksAtFile, _paintsAgain, _writingSince}) {
        timer->setSingleShot(true);
    }
    connect(_viewRefresh, &QTimer::timeout, this, [this] { requestView(); });
    connect(_thumbnailRefresh, &QTimer::timeout, this, [this] { requestThumbnails(); });
    connect(_rangeRefresh, &QTimer::timeout, this, [this] { wantRanges(); });
    connect(_paintsAgain, &QTimer::timeout, this, [this] { setUpdatesEnabled(true); });
    connect(_looksAtFile, &QTimer::timeout, this, [this] { lookAtFile(); });
    connect(_tick, &QTimer::timeout, this, [this] { writeRecovery(); });
    _tick->start(kSecond);
    connect(_badgeRefresh, &QTimer::timeout, this, [this] { showBadges(); });
    _badgeRefresh->start(kBadgeInterval);
    for (const auto signal : {&QFileSystemWatcher::fileChanged, &QFileSystemWatcher::directoryChanged}) {
        connect(_watcher, signal, this, [this] { _looksAtFile->start(150); });
    }

    _library->onAdd([this](const std::string& className) { _canvas->addNodeAtCentre(className); });
    _canvas->onSaid([this](const QString& text, bool isProblem) {
        say(text, isProblem);
        if (isProblem) {
            _problems.set(ProblemList::Source::Edit,
                          {Problem{.kind = Problem::Kind::Warning, .place = "Last edit", .finding = text}});
        }
    });
    _canvas->onViewWanted([this](zrkmodel::PinAddress pin) { setFollow(Follow::Pinned, pin); });
    _canvas->onThumbnailsWanted([this](const std::vector<std::uint16_t>& nodes, QSize pixels) {
        if (pixels != _thumbnailSize) {
            _thumbnailsFresh.clear();
        }
        _thumbnailSize = pixels;
        _thumbnailsWanted = nodes;
        _thumbnailRefresh->start(0);
    });
    _canvas->onWireHovered([this](std::optional<zrkmodel::PinAddress> pin) {
        _hovered = pin;
        if (pin) {
            _asked.reset();
            askFlow();
        }
    });
    _inspector->onManual([this](const std::string& className) { showManual(className); });
    _inspector->onNodeWanted([this](std::uint16_t node) { select(node); });
    _inspector->onRangesWanted([this](std::uint16_t) { _rangeRefresh->start(200); });
    _inspector->onEntryProblems([this](std::vector<Problem> problems) {
        _problems.set(ProblemList::Source::Entry, std::move(problems));
    });
    _inspector->onSaid([this](const zrk::Fault& fault) { tell(fault, ProblemList::Source::Edit); });
    _view->onReadout([this](const Readout& readout) { takeReadout(readout); });
    _view->onTimed([this](const ViewTiming& timing) { takeTiming(timing); });
    _view->onFieldNote([this](const FieldNote& note) { takeFieldNote(note); });
    _view->onFullPane([this](bool isFull) { setFullView(isFull); });
    _view->previews().onFlow([this](const Flow& flow) { takeFlow(flow); });
    _view->previews().onThumbnail([this](std::uint16_t node, const QImage& picture) {
        _thumbnailsPending.erase(node);
        _canvas->setThumbnail(node, picture);
    });
    _problems.onChanged([this] { showProblems(); });
    _problemsPane->onChosen([this](const Problem& problem) { goTo(problem); });
    _problemsPane->onClosed([this] { _problemsDock->hide(); });
    _status->onProblemsClicked([this] { _problemsDock->setVisible(!_problemsDock->isVisible()); });
    _examples->onClosed([this] { _examplesDock->hide(); });
    _examples->onChosen([this](const QString& path) {
        if (mayDiscard()) {
            startOpening({path.toStdString(), true});
        }
    });
    _opener->onOpened([this](OpenedDocument opened) { takeOpened(std::move(opened)); });
    _opener->onProgress([this](const std::string& path, double fraction) {
        const QString name = QFileInfo(QString::fromStdString(path)).fileName();
        _notices->showProgress("opening", "Opening " + name + "; this document stays until it is read.",
                               fraction, [this] {
                                   _opener->cancel();
                                   _openedWell = false;
                                   _notices->remove("opening");
                                   haveDocument();
                                   offerRecovery(); // which may be what was being opened
                               });
    });
    _writer->onAsked([this] { return _session && _session->isBusy(); });
    connect(_writingSince, &QTimer::timeout, this, [this] {
        const QString name = QFileInfo(QString::fromStdString(_writer->path())).fileName();
        _notices->show("writing", "Writing " + name + "; you can go on meanwhile.", {});
    });
    _reader->onDone([this](const std::function<void()>& done) { finishReading(done); });
    _reader->onProgress([this](const QString& file, double fraction) {
        _notices->showProgress("reading", "Reading " + file + "; you can go on meanwhile.", fraction, [this] {
            _reader->cancel();
            _work.reset();
            _notices->remove("reading");
        });
    });
    zrkui::ZRKApp::ui().setReader([this](zrkui::FileReading reading) { readForPanel(std::move(reading)); });
    _canvas->onPasteReads([this](std::function<void(zrk::ProgressMonitor&)> read, Canvas::Paste paste) {
        readPasted(std::move(read), std::move(paste));
    });
    _working = zrkui::ZRKApp::ui().onWork([this](const std::string& title, double fraction) {
        if (const auto node = _inspector->shownNode()) { // it is a panel that works
            _work = {*node, NodeBadge{NodeBadge::Kind::computing, fraction, QString::fromStdString(title)}};
        }
    });
    _workDone = zrkui::ZRKApp::ui().onWorkDone([this] {
        _work.reset();
        _view->refresh();
        wantView();
    });
    _canvas->viewport()->installEventFilter(this);
    QList<QAction*> actions;
    for (const char* name : {"view", "output", "bypass", "duplicate", "delete"}) {
        actions << _canvas->action(name);
    }
    _inspector->setNodeActions(actions);
    _export->onDone([this](const ExportResult& result) {
        const QString text = QString::fromStdString(result.text);
        const bool isFailed = result.kind == ExportResult::Kind::Failed;
        say(text, isFailed);
        std::vector<Problem> problems;
        if (isFailed) {
            problems.push_back({.kind = Problem::Kind::Error,
                                .place = QFileInfo(QString::fromStdString(result.file)).fileName(),
                                .finding = text});
        }
        _problems.set(ProblemList::Source::Export, std::move(problems));
    });
}

void Window::takeOver(std::unique_ptr<EditSession> session, std::shared_ptr<zrk::ProgressMonitor> monitor,
                      std::shared_ptr<UnsavedPlace> place)
{
    const Doing doing("showing another document");
    _looker->cancel();
    _afterWriting.clear();
    while (_writer->isBusy()) {
        _writer->finish();
    }
    _edits.disconnect();
    _inspector->setSession(nullptr);
    _canvas->setSession(nullptr);
    _view->previews().cancelThumbnails();
    _view->previews().cancelFlow();
    _thumbnailsFresh.clear();
    _thumbnailsPending.clear();
    _thumbnailsWanted.clear();
    _ranges.clear();
    _asked.reset();
    _hovered.reset();
    _badges.clear();
    _work.reset();
    _pinned.reset();
    if (_session) {
        _session->close();
    }
    leavePlace();
    _session = std::move(session);
    _monitor = std::move(monitor);
    _place = std::move(place);
    ++_sessions;
    _problems.clear();
    for (const char* key : {"recovery", "changed", "missing", "saving", "lock"}) {
        _notices->remove(key);
    }
    zrkui::ZRKApp::ui().setDocument(_session->document().resources().get());
    _edits = _session->addListener([this](const EditEvent& event) { followEdit(event); });
    _canvas->setSession(_session.get());
    _inspector->setSession(_session.get());
    _follow = _session->document().output() ? Follow::Output : Follow::Selection;
    const auto& nodes = _session->document().graph()->nodes();
    if (!nodes.empty() && _session->selection().empty()) {
        const auto& output = _session->document().output();
        _session->select({output ? output->node : nodes.back()->id});
    }
    for (QAction* action : _docCommands) {
        action->setEnabled(true);
    }
    watchFile();
    showTitle();
    showHistory();
    wantView();
}

void Window::followEdit(const EditEvent& event)
{
    using Kind = EditEvent::Kind;
    switch (event.kind) {
    case Kind::Replaced:
        _thumbnailsFresh.clear();
        zrkui::ZRKApp::ui().setDocument(_session->document().resources().get());
        _thumbnailRefresh->start(0);
        wantView();
        showTitle();
        break;
    case Kind::NodeAdded:
    case Kind::ValueChanged:
    case Kind::HeldChanged:
    case Kind::LinkAdded:
    case Kind::LinkRemoved:
        staleThumbnails(event.node);
        wantView();
        break;
    case Kind::NodeRemoved:
        _thumbnailsFresh.erase(event.node);
        _thumbnailsPending.erase(event.node);
        _badges.erase(event.node);
        wantView();
        break;
    case Kind::MemberChanged:
        if (event.key == "import") {
            staleThumbnails(event.node);
        }
        wantView();
        break;
    case Kind::Resources:
    case Kind::Document:
        _thumbnailsFresh.clear();
        _thumbnailRefresh->start(0);
        wantView();
        break;
    case Kind::Selection:
        if (_follow == Follow::Selection) {
            wantView();
        }
        break;
    case Kind::History:
        _problems.clear(ProblemList::Source::Edit);
        showHistory();
        break;
    case Kind::Modified:
        showTitle();
        break;
    case Kind::View:
        break;
    }
}

bool Window::select(std::uint16_t node)
{
    if (!_session || !_session->document().graph()->getNodePtr(node)) {
        return false;
    }
    _session->select({node});
    _canvas->revealNode(node);
    return true;
}

void Window::showTitle()
{
    const bool isModified = _session && _session->isModified();
    const QString path = _session ? QString::fromStdString(_session->path()) : QString();
    QString name = QFileInfo(path).fileName();
    if (_session && path.isEmpty()) {
        name = QFileInfo(QString::fromStdString(_session->document().name())).fileName();
    }
    setWindowTitle((name.isEmpty() ? QString("ZRK workbench") : name) + "[*]");
    setWindowModified(isModified);
    setWindowFilePath(QString());
    _top->showName(name, isModified);
    if (_save) {
        _save->setEnabled(_session != nullptr); // what is being typed isn't known yet
    }
}

void Window::showHistory()
{
    const auto show = [&](QAction* action, const QString& verb, bool isOn, bool forward) {
        QString text = verb;
        if (isOn) {
            const auto& steps = _session->history().steps();
            const std::size_t done = _session->history().doneCount();
            text += " " + QString::fromStdString(steps[forward ? done : done - 1].name);
        }
        action->setEnabled(isOn);
        action->setText(text);
        action->setToolTip(text + " (" + action->shortcut().toString(QKeySequence::NativeText) + ")");
    };
    show(_undo, "Undo", _session && _session->canUndo(), false);
    show(_redo, "Redo", _session && _session->canRedo(), true);
}

void Window::say(const QString& text, bool isProblem)
{
    _lastMessage = text.toStdString();
    _status->say(text, isProblem);
}

void Window::tell(const zrk::Fault& fault, ProblemList::Source source)
{
    say(QString::fromStdString(zrk::messageOf(fault)), true);
    _problems.set(source, {_session ? problemOf(*_session, fault, Problem::Kind::Error)
                                    : problemOf(fault, Problem::Kind::Error)});
}

void Window::showProblems()
{
    const std::vector<Problem> all = _problems.all();
    _problemsPane->show(all);
    _status->showProblems(_problems.count(Problem::Kind::Error), _problems.count(Problem::Kind::Warning));
    showBadges();
}

void Window::goTo(const Problem& problem)
{
    if (problem.node) {
        select(*problem.node);
    }
}

void Window::showManual(const std::string& className)
{
    if (!_manual) {
        _manual = new ManualWindow(this);
        _manual->setAttribute(Qt::WA_DeleteOnClose);
    }
    _manual->showType(className);
}

/// The view alone beside the values, or all as it was.
void Window::setFullView(bool isFull)
{
    if (isFull == !_layoutBeforeFull.isEmpty()) {
        return;
    }
    if (isFull) {
        _layoutBeforeFull = saveState(kLayoutVersion);
        centralWidget()->hide();
        for (QDockWidget* dock : {_libraryDock, _inspectorDock, _problemsDock, _examplesDock}) {
            dock->hide();
        }
    } else {
        centralWidget()->show();
        restoreState(std::exchange(_layoutBeforeFull, QByteArray()), kLayoutVersion);
    }
    _view->setFullPane(isFull);
}

void Window::showEvent(QShowEvent* event)
{
    QMainWindow::showEvent(event);
    showTitle();
}

bool Window::event(QEvent* event)
{
    switch (event->type()) {
    case QEvent::ApplicationFontChange:
        useStyle(ZRKCSSStyle::current()); // sizes go with the font
        break;
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
    // Not each change of a system comes with the other event. With Qt 6 it does, and this one is posted: what
    // asks the system would cause the next.
    case QEvent::ApplicationPaletteChange:
#endif
    case QEvent::ThemeChange:
        followSystem();
        break;
    default:
        break;
    }
    return QMainWindow::event(event);
}

void Window::changeEvent(QEvent* event)
{
    QMainWindow::changeEvent(event);
    if (event->type() == QEvent::ActivationChange && isActiveWindow()) {
        followSystem(); // not every system tells
        if (_session) {
            _looksAtFile->start(150); // where folders can't be watched, this is when one notices
        }
    }
}

void Window::closeEvent(QCloseEvent* event)
{
    const Doing doing("closing");
    if (!mayStopExport() || !mayDiscard()) {
        event->ignore();
        return;
    }
    _export->cancel();
    if (_settings.keepsSettings) {
        if (!_layoutBeforeFull.isEmpty()) {
            setFullView(false);
        }
        QSettings kept;
        kept.setValue("canvas/recentTypes", _canvas->recentTypes());
        kept.setValue("window/geometry", saveGeometry());
        kept.setValue("window/layout", saveState(kLayoutVersion));
    }
    _opener->cancel();
    _reader->cancel();
    if (_session) {
        _session->close();
    }
    leavePlace();
    _view->previews().cancelView();
    _view->previews().cancelThumbnails();
    event->accept();
}

} // namespace zrkworkbench
