#include "apps/workbench/canvas/canvas.h"
#include "apps/workbench/window/dropped_files.h"
#include "apps/workbench/window/file_reader.h"
#include "apps/workbench/window/names.h"
#include "apps/workbench/window/notice_bar.h"
#include "apps/workbench/window/watchdog.h"
#include "apps/workbench/window/window.h"
#include "inspectors/app.h"
#include "model/graph_object.h"

#include <QDir>
#include <QDragEnterEvent>
#include <QFileDialog>
#include <QFileInfo>
#include <QMimeData>
#include <QTimer>
#include <QUrl>

#include <array>
#include <memory>
#include <utility>

namespace zrkworkbench {

namespace {

const char* const kAddedFiles =
    "Pictures, volumes and meshes (*.png *.jpg *.jpeg *.tif *.tiff *.npy *.obj *.stl *.ply "
    "*.3mf);;All files (*)";

constexpr int kBusyMs = 20; ///< until it is looked again whether files can be added

QStringList localFiles(const QMimeData& data)
{
    QStringList files;
    for (const QUrl& url : data.urls()) {
        if (url.isLocalFile()) {
            files << url.toLocalFile();
        }
    }
    return files;
}

} // namespace

/// Files on their way into a document.
struct FileDrop {
    QStringList files;
    std::array<double, 2> position{}; ///< of the first node
    std::string document;             ///< name of the document that they are for
    std::uint64_t session = 0;        ///< the window's count of documents
};

void Window::askAndAddFiles()
{
    takeFiles(QFileDialog::getOpenFileNames(this, "Add files", QDir::homePath(), kAddedFiles));
}

void Window::takeFiles(QStringList files, std::optional<QPointF> position)
{
    for (const QString& file : files) {
        if (isDocumentName(file.toStdString())) {
            if (mayDiscard()) {
                startOpening({file.toStdString()});
            }
            files.removeAll(file);
            break;
        }
    }
    if (files.isEmpty()) {
        return;
    }
    haveDocument();
    const QPointF place = position.value_or(_canvas->mapToScene(_canvas->viewport()->rect().center()));
    FileDrop drop;
    drop.files = files;
    drop.position = {place.x(), place.y()};
    drop.document = _session->document().name();
    drop.session = _sessions;
    const auto read = std::make_shared<std::vector<ReadFile>>();
    FileReading reading;
    reading.files = files;
    reading.read = [drop, read, load = _settings.edit.load,
                    unit = _session->document().unit()](int file, zrk::ProgressMonitor& monitor) {
        zrkmodel::LoadSettings settings = load;
        settings.monitor = &monitor;
        read->push_back(readFile(drop.files[file].toStdString(), drop.document, unit, settings));
    };
    reading.done = [this, drop, read] { takeRead(drop, std::move(*read)); };
    _reader->read(std::move(reading));
}

/// Lets something change the document that was read apart.
void Window::finishReading(const std::function<void()>& done)
{
    if (_session->isBusy()) { // an edit that lets events through
        QTimer::singleShot(kBusyMs, this, [this, done] { finishReading(done); });
        return;
    }
    if (!_reader->isBusy()) {
        _notices->remove("reading");
    }
    done();
}

/// Reads what is pasted, and goes on with it.
void Window::readPasted(std::function<void(zrk::ProgressMonitor&)> read, Canvas::Paste paste)
{
    FileReading reading;
    reading.files = QStringList{"what is pasted"};
    reading.read = [read = std::move(read)](int, zrk::ProgressMonitor& monitor) { read(monitor); };
    reading.done = [this, paste = std::move(paste), session = _sessions] {
        if (session != _sessions) {
            say("What was pasted is read; the document that it was for is closed", false);
            return;
        }
        const Doing doing("pasting");
        const auto warnings = paste();
        if (!warnings) {
            tell(warnings.error(), ProblemList::Source::Edit);
            return;
        }
        std::vector<Problem> problems;
        for (const zrk::Fault& warning : *warnings) {
            problems.push_back(problemOf(warning, Problem::Kind::Warning));
        }
        _problems.set(ProblemList::Source::Resource, std::move(problems));
    };
    _reader->read(std::move(reading));
}

/// Reads what the panel of the selected node asks for, with a badge at the node.
void Window::readForPanel(zrkui::FileReading asked)
{
    const auto node = _session ? _inspector->shownNode() : std::nullopt;
    if (!node) {
        return;
    }
    const std::weak_ptr<zrkmodel::ZRKGraphObject> object =
        _session->document().graph()->getNodePtr(*node)->object;
    FileReading reading;
    reading.files = QStringList{QString::fromStdString(asked.file)};
    reading.read = [read = asked.read](int, zrk::ProgressMonitor& monitor) { read(monitor); };
    reading.progress = [this, node = *node, object,
                        title = QString::fromStdString(asked.title)](double share) {
        if (hasNode(node, object)) {
            _work = {node, NodeBadge{NodeBadge::Kind::computing, share, title}};
        }
    };
    reading.done = [this, node = *node, object, done = asked.done] {
        _work.reset();
        if (!hasNode(node, object)) {
            say("The file is read; the node that it was for is gone", false);
            return;
        }
        if (const std::string problem = done(); !problem.empty()) {
            say(QString::fromStdString(problem), true);
        }
        _view->refresh();
        wantView();
    };
    _reader->read(std::move(reading));
}

/// Whether a node is still there, and is the same.
bool Window::hasNode(std::uint16_t node, const std::weak_ptr<zrkmodel::ZRKGraphObject>& object) const
{
    const auto record = _session->document().graph()->getNodePtr(node);
    return record && record->object == object.lock();
}

/// Adds what was read, or asks where the document that it was for isn't shown any more.
void Window::takeRead(const FileDrop& drop, std::vector<ReadFile> files)
{
    std::vector<Problem> problems;
    for (const ReadFile& file : files) {
        if (!file.part) {
            problems.push_back(problemOf(file.part.error(), Problem::Kind::Error));
            say(QString::fromStdString(zrk::messageOf(file.part.error())), true);
        }
    }
    std::erase_if(files, [](const ReadFile& file) { return !file.part; });
    _problems.set(ProblemList::Source::Resource, std::move(problems));
    if (files.empty()) {
        return;
    }
    if (drop.session == _sessions || drop.document == _session->document().name()) {
        land(drop, std::move(files));
        return;
    }
    auto waiting = std::make_shared<std::vector<ReadFile>>(std::move(files));
    const QString name = QFileInfo(drop.files.front()).fileName();
    _notices->show(
        "read",
        QString("%1 is read; the document that it was for is closed.")
            .arg(waiting->size() == 1 ? name : QString("%1 files").arg(waiting->size())),
        {{"Add it here", [this, drop, waiting] { land(drop, std::move(*waiting)); }}, {"Drop it"}});
}

void Window::land(const FileDrop& drop, std::vector<ReadFile> files)
{
    const Doing doing("adding files");
    std::vector<zrkmodel::DocumentWarnings> warnings;
    for (const ReadFile& file : files) {
        warnings.push_back(file.warnings);
    }
    const auto added = addFiles(*_session, std::move(files), drop.position);
    if (!added) {
        tell(added.error(), ProblemList::Source::Resource);
        return;
    }
    std::vector<Problem> problems = _problems.of(ProblemList::Source::Resource);
    for (std::size_t i = 0; i < added->size(); ++i) {
        for (const zrk::Fault& warning : warnings[i]) {
            Problem problem = problemOf(warning, Problem::Kind::Warning);
            problem.node = (*added)[i];
            problem.place = nameOf(*_session, (*added)[i]);
            problems.push_back(std::move(problem));
        }
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
    takeFiles(localFiles(*event->mimeData()));
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
            takeFiles(localFiles(*drop.mimeData()), _canvas->mapToScene(place));
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

} // namespace zrkworkbench
