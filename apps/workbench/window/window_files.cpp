#include "apps/workbench/window/window.h"

#include "apps/workbench/canvas/canvas.h"
#include "apps/workbench/export/export_bar.h"
#include "apps/workbench/export/export_dialog.h"
#include "apps/workbench/views/slice_view.h"
#include "apps/workbench/views/view_pane.h"
#include "apps/workbench/window/data_folder.h"
#include "apps/workbench/window/dropped_files.h"
#include "apps/workbench/window/library.h"
#include "apps/workbench/window/names.h"
#include "apps/workbench/window/notice_bar.h"
#include "apps/workbench/window/watchdog.h"
#include "inspectors/app.h"

#include <QCloseEvent>
#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QDockWidget>
#include <QDragEnterEvent>
#include <QEventLoop>
#include <QFileDialog>
#include <QFileInfo>
#include <QFileSystemWatcher>
#include <QMessageBox>
#include <QMimeData>
#include <QSettings>
#include <QStandardPaths>
#include <QTimer>
#include <QUrl>

namespace zrkworkbench {

using zrkmodel::EditSession;
using zrkmodel::FileState;

namespace {

const char* const kDocuments = "Graph documents (*.zrk.json);;All files (*)";
const char* const kFiles =
    "Pictures, volumes and meshes (*.png *.jpg *.jpeg *.tif *.tiff *.npy *.obj *.stl *.ply "
    "*.3mf);;All files (*)";
constexpr int kMostRecent = 10;

/// Where a lock on a document lies: one for all windows of a user, wherever the document is.
QString lockPathOf(const QString& path)
{
    const QString whole = QFileInfo(path).canonicalFilePath();
    const QByteArray name =
        QCryptographicHash::hash(whole.toUtf8(), QCryptographicHash::Sha1).toHex().left(20);
    const bool hasRuntime = !qEnvironmentVariableIsEmpty("XDG_RUNTIME_DIR");
    const QString folder =
        hasRuntime ? QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation) : QDir::tempPath();
    return folder + "/zrk-workbench-" + name + ".lock";
}

} // namespace

bool Window::open(const std::string& path)
{
    startOpening({path});
    QEventLoop loop;
    QTimer timer;
    QObject::connect(&timer, &QTimer::timeout, &loop, [&] {
        if (_openedWell) {
            loop.quit();
        }
    });
    timer.start(5);
    if (!_openedWell) {
        loop.exec();
    }
    return _openedWell.value_or(false);
}

void Window::startOpening(const OpenRequest& request)
{
    _openedWell.reset();
    _stepsWhenAsked = _session ? _session->history().doneCount() : 0;
    _opener->open(request, _settings.edit);
}

void Window::takeOpened(OpenedDocument opened)
{
    _notices->remove("opening");
    _openedWell = opened.session.has_value();
    if (!opened.session) {
        tell(opened.session.error(), ProblemList::Source::Loading);
        const QString name = QFileInfo(QString::fromStdString(opened.request.path)).fileName();
        _notices->show(
            "refused",
            name +
                " can't be opened: " + QString::fromStdString(zrk::printable(opened.session.error().found)) +
                ", expected " + QString::fromStdString(zrk::printable(opened.session.error().expected)) +
                ". " + QString::fromStdString(zrk::printable(opened.session.error().remedy)) + ".",
            {{"Close"}});
        return;
    }
    _notices->remove("refused");
    auto waiting = std::make_shared<OpenedDocument>(std::move(opened));
    const auto show = [this, waiting] {
        const bool isTemplate = waiting->request.isTemplate;
        showOpened(std::move(*waiting));
        if (!isTemplate) {
            noteRecent();
        }
    };
    // What was edited while the other document was read isn't lost.
    if (_session && _session->isModified() && _session->history().doneCount() != _stepsWhenAsked) {
        _notices->show("opened", "The other document is read; this one was changed meanwhile.",
                       {{"Show it, drop the changes", show}, {"Stay here"}});
        return;
    }
    show();
}

void Window::showOpened(OpenedDocument opened)
{
    takeOver(std::move(*opened.session), std::move(opened.monitor));
    std::vector<Problem> problems;
    for (const zrk::Fault& warning : opened.warnings) {
        problems.push_back(problemOf(*_session, warning, Problem::Kind::Warning));
    }
    _problems.set(ProblemList::Source::Loading, std::move(problems));
    say(QString(), false);
    offerRecovery();
}

void Window::newDocument()
{
    const std::string folder = QDir::homePath().toStdString();
    takeOver(std::make_unique<EditSession>(zrkmodel::GraphDocument::create(folder + "/untitled.zrk.json"),
                                           _settings.edit));
    _view->say("Add a node: Tab, or a double click on the canvas.");
}

void Window::showFirstStart()
{
    const QString example = firstExample();
    if (example.isEmpty()) {
        newDocument();
        return;
    }
    _examplesDock->show();
    startOpening({example.toStdString(), true});
    _view->setTab(ViewPane::Tab::Solid);
}

void Window::offerRecovery()
{
    std::error_code missing;
    if (!_session->recovery().empty() && !std::filesystem::exists(_session->recovery(), missing)) {
        _session->discardRecovery(); // it was the former session's, which is closed
    }
    if (_session->recovery().empty()) {
        return;
    }
    const QFileInfo file(QString::fromStdString(_session->recovery().string()));
    const QString when = file.lastModified().toString("d MMM hh:mm");
    _notices->show(
        "recovery",
        QString("%1 has changes of %2 that weren't saved.")
            .arg(QFileInfo(QString::fromStdString(_session->path())).fileName(), when),
        {{"Recover them", [this] { recover(); }}, {"Discard them", [this] { _session->discardRecovery(); }}});
}

void Window::recover()
{
    const Doing doing("recovering");
    zrkmodel::DocumentWarnings warnings;
    if (const auto recovered = _session->recover(warnings); !recovered) {
        tell(recovered.error(), ProblemList::Source::Loading);
        return;
    }
    say("the unsaved changes are here; saving keeps them", false);
}

void Window::askAndOpen()
{
    if (!mayDiscard()) {
        return;
    }
    const QString folder =
        _session ? QFileInfo(QString::fromStdString(_session->document().name())).path() : QDir::homePath();
    const QString path = QFileDialog::getOpenFileName(this, "Open", folder, kDocuments);
    if (!path.isEmpty()) {
        startOpening({path.toStdString()});
    }
}

bool Window::askAndSave()
{
    if (!_session) {
        return false;
    }
    QString start = QString::fromStdString(_session->path());
    if (start.isEmpty()) {
        start = QDir::homePath() + "/" +
                QFileInfo(QString::fromStdString(_session->document().name())).fileName();
    }
    QString path = QFileDialog::getSaveFileName(this, "Save as", start, kDocuments);
    if (path.isEmpty()) {
        return false;
    }
    if (QFileInfo(path).suffix().isEmpty()) {
        path += ".zrk.json";
    }
    return save(path.toStdString());
}

bool Window::save(const std::string& path)
{
    if (!_session) {
        return false;
    }
    if (path.empty() && _session->path().empty()) {
        return askAndSave();
    }
    const Doing doing("saving");
    const std::string target = path.empty() ? _session->path() : path;
    const QString name = QFileInfo(QString::fromStdString(target)).fileName();
    const bool isOwn = target == _session->path();
    if (isOwn && _session->fileState() == FileState::Changed) {
        lookAtFile();
        say(name + " was changed by another program", true);
        return false;
    }
    if (const auto saved = _session->save(path); !saved) {
        tell(saved.error(), ProblemList::Source::Saving);
        _notices->show("saving",
                       QString("%1 isn't saved: %2. The file is what it was, and nothing here is lost.")
                           .arg(name, QString::fromStdString(zrk::printable(saved.error().found))),
                       {{"Try again", [this, path] { save(path); }},
                        {"Save as...", [this] { askAndSave(); }},
                        {"Close"}});
        return false;
    }
    _notices->remove("saving");
    _notices->remove("changed");
    _notices->remove("missing");
    _notices->remove("recovery");
    _problems.clear(ProblemList::Source::Saving);
    watchFile();
    noteRecent();
    showTitle();
    say("saved " + QString::fromStdString(target), false);
    return true;
}

bool Window::mayDiscard()
{
    if (!_session || !_session->isModified()) {
        return true;
    }
    const QString name = QFileInfo(QString::fromStdString(_session->document().name())).fileName();
    const auto answer = QMessageBox::question(
        this, "Unsaved changes", QString("Save the changes of %1?").arg(name),
        QMessageBox::Save | QMessageBox::Discard | QMessageBox::Cancel, QMessageBox::Save);
    return answer == QMessageBox::Discard || (answer == QMessageBox::Save && save());
}

/// Watches the folder, as editors save by renaming, and the file, which others write in place.
void Window::watchFile()
{
    if (!_watcher->files().isEmpty()) {
        _watcher->removePaths(_watcher->files());
    }
    if (!_watcher->directories().isEmpty()) {
        _watcher->removePaths(_watcher->directories());
    }
    const QString path = QString::fromStdString(_session->path());
    if (path.isEmpty()) {
        _lock.reset();
        return;
    }
    _watcher->addPath(QFileInfo(path).absolutePath());
    _watcher->addPath(path);
    const QString lockPath = lockPathOf(path);
    if (_lock && _lockPath == lockPath) {
        return;
    }
    _lockPath = lockPath;
    _lock = std::make_unique<QLockFile>(lockPath);
    _lock->setStaleLockTime(0); // a lock is stale when its program has ended
    if (!_lock->tryLock(0) && _lock->error() == QLockFile::LockFailedError) {
        _notices->show(
            "lock",
            QFileInfo(path).fileName() +
                " is open in another window too. What is saved there shows here, and the other way "
                "round.",
            {{"Close"}});
    }
}

void Window::lookAtFile()
{
    if (!_session || _session->path().empty() || _opener->isBusy()) {
        return;
    }
    const Doing doing("looking at the file");
    const QString path = QString::fromStdString(_session->path());
    const QString name = QFileInfo(path).fileName();
    if (QFileInfo::exists(path) && !_watcher->files().contains(path)) {
        _watcher->addPath(path); // a rename has put another file there
    }
    switch (_session->fileState()) {
    case FileState::Same:
        _notices->remove("changed");
        _notices->remove("missing");
        break;
    case FileState::Missing:
        _notices->show("missing", name + " is no longer in its folder; saving writes it anew.",
                       {{"Save", [this] { save(); }}, {"Close"}});
        break;
    case FileState::Changed:
        if (!_session->isModified()) {
            startOpening({_session->path()});
            say(name + " was changed by another program and is read again", false);
            break;
        }
        _notices->show("changed", name + " was changed by another program, and here too.",
                       {{"Read it, drop my changes", [this] { startOpening({_session->path()}); }},
                        {"Keep mine, write over it",
                         [this] {
                             if (const auto saved = _session->save("", true); !saved) {
                                 tell(saved.error(), ProblemList::Source::Saving);
                             }
                         }},
                        {"Save mine as...", [this] { askAndSave(); }}});
        break;
    }
}

QStringList Window::recentFiles() const
{
    return _settings.keepsSettings ? QSettings().value("files/recent").toStringList() : QStringList();
}

void Window::noteRecent()
{
    if (!_settings.keepsSettings) {
        return;
    }
    QStringList recent = recentFiles();
    const QString path = QFileInfo(QString::fromStdString(_session->path())).absoluteFilePath();
    recent.removeAll(path);
    recent.prepend(path);
    QSettings().setValue("files/recent", QStringList(recent.mid(0, kMostRecent)));
}

void Window::takeFile(const QString& wanted, std::optional<QPointF> position)
{
    QString path = wanted;
    if (path.isEmpty()) {
        path = QFileDialog::getOpenFileName(this, "Add a file", QDir::homePath(), kFiles);
        if (path.isEmpty()) {
            return;
        }
    }
    if (kindOf(path.toStdString()) == DroppedKind::Document) {
        if (mayDiscard()) {
            startOpening({path.toStdString()});
        }
        return;
    }
    if (!_session) {
        newDocument();
    }
    const QPointF place = position.value_or(_canvas->mapToScene(_canvas->viewport()->rect().center()));
    zrkmodel::DocumentWarnings warnings;
    zrk::Result<std::uint16_t> added = zrk::refused({});
    zrkui::ZRKApp::ui().runLong("reading " + path.toStdString(), this, [&](zrk::ProgressMonitor& monitor) {
        added = addFile(*_session, path.toStdString(), {place.x(), place.y()}, warnings, &monitor);
    });
    if (!added) {
        tell(added.error(), ProblemList::Source::Resource);
        return;
    }
    std::vector<Problem> problems;
    for (const zrk::Fault& warning : warnings) {
        Problem problem = problemOf(warning, Problem::Kind::Warning);
        problem.node = *added;
        problem.place = nameOf(*_session, *added);
        problems.push_back(std::move(problem));
    }
    _problems.set(ProblemList::Source::Resource, std::move(problems));
    if (_follow == Follow::Output && !_session->document().output()) {
        setFollow(Follow::Selection);
    }
}

void Window::dragEnterEvent(QDragEnterEvent* event)
{
    if (event->mimeData()->hasUrls()) {
        event->acceptProposedAction();
    }
}

void Window::dropEvent(QDropEvent* event)
{
    for (const QUrl& url : event->mimeData()->urls()) {
        if (url.isLocalFile()) {
            takeFile(url.toLocalFile());
        }
    }
    event->acceptProposedAction();
}

/// Files and types that are dropped on the canvas.
bool Window::eventFilter(QObject* watched, QEvent* event)
{
    if (watched != _canvas->viewport()) {
        return QMainWindow::eventFilter(watched, event);
    }
    switch (event->type()) {
    case QEvent::DragEnter:
    case QEvent::DragMove: {
        auto& drag = static_cast<QDragMoveEvent&>(*event);
        if (drag.mimeData()->hasUrls()) {
            drag.acceptProposedAction();
            return true;
        }
        break;
    }
    case QEvent::Drop: {
        auto& drop = static_cast<QDropEvent&>(*event);
        if (drop.mimeData()->hasUrls()) {
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
            const QPoint place = drop.position().toPoint();
#else
            const QPoint place = drop.pos();
#endif
            const QPointF position = _canvas->mapToScene(place);
            for (const QUrl& url : drop.mimeData()->urls()) {
                if (url.isLocalFile()) {
                    takeFile(url.toLocalFile(), position);
                }
            }
            drop.acceptProposedAction();
            return true;
        }
        break;
    }
    default:
        break;
    }
    return QMainWindow::eventFilter(watched, event);
}

/// Exports what the view shows, as it is when the dialog is closed.
void Window::exportField(ExportKind kind)
{
    const auto pin = _session ? wantedPin() : std::nullopt;
    if (!pin) {
        say("there is no output to export; set one with O", true);
        return;
    }
    const QFileInfo file(QString::fromStdString(_session->document().name()));
    ExportStart start;
    start.folder = file.absolutePath().toStdString();
    start.name = file.fileName().section('.', 0, 0).toStdString();
    start.slice.axis = _view->axis();
    start.slice.at = _view->slice().at();
    auto* dialog = new ExportDialog(
        kind, start,
        [this, pin](const std::string& target, const ExportOptions& options) {
            return exportTask(target, _session->document(), *pin, options);
        },
        this);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->onChosen([this](ExportTask task) {
        if (!_export->start(std::move(task))) {
            say("another export is still running", true);
        }
    });
    dialog->show();
}

} // namespace zrkworkbench
