#include "apps/workbench/window/window.h"

#include "apps/workbench/canvas/canvas.h"
#include "apps/workbench/export/export_bar.h"
#include "apps/workbench/export/export_dialog.h"
#include "apps/workbench/look/sentences.h"
#include "apps/workbench/views/slice_view.h"
#include "apps/workbench/views/view_pane.h"
#include "apps/workbench/window/data_folder.h"
#include "apps/workbench/window/document_writer.h"
#include "apps/workbench/window/names.h"
#include "apps/workbench/window/notice_bar.h"

#include <QDir>
#include <QDockWidget>
#include <QEventLoop>
#include <QFileDialog>
#include <QFileInfo>
#include <QMessageBox>
#include <QPushButton>
#include <QSettings>
#include <QTimer>

namespace zrkworkbench {

using zrkmodel::EditSession;

namespace {

constexpr int kMostRecent = 10;
/// Bounds around the shapes that nodes begin with.
const char* const kNewDocument =
    R"({"zrkGraph": 1, "context": {"modelBounds": [[-1.5, -1.5, -1.5], [1.5, 1.5, 1.5]]}, "nodes": []})";

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
    OpenRequest placed = request;
    if (placed.isTemplate && !placed.place) {
        placed.place = UnsavedPlace::create(_settings.unsavedFolder, QString::fromStdString(placed.path));
    }
    _opener->open(placed, _settings.edit);
}

void Window::takeOpened(OpenedDocument opened)
{
    _notices->remove("opening");
    _openedWell = opened.session.has_value();
    if (!opened.session) {
        haveDocument();
        tell(opened.session.error(), ProblemList::Source::Loading);
        const QString name = QFileInfo(QString::fromStdString(opened.request.path)).fileName();
        const auto text = [](const std::string& part) {
            return QString::fromStdString(zrk::printable(part));
        };
        const zrk::Fault& fault = opened.session.error();
        const std::string whole = opened.request.path + ", ";
        const bool hasPlace = fault.place.starts_with(whole);
        const std::string place = hasPlace ? fault.place.substr(whole.size()) + ": " : std::string();
        _notices->show("refused",
                       QString("%1 can't be %2: %3, expected %4. %5.")
                           .arg(name, opened.request.isRecovery ? "recovered" : "opened",
                                text(place + fault.found), text(fault.expected),
                                sentence(text(fault.remedy))),
                       {{"Close"}});
        putBack(opened.request);
        return;
    }
    _notices->remove("refused");
    auto waiting = std::make_shared<OpenedDocument>(std::move(opened));
    if (_writer->isBusy()) {
        _openedWell.reset();
        _afterWriting.push_back([this, waiting] { takeOpened(std::move(*waiting)); });
        return;
    }
    const auto show = [this, waiting] {
        showOpened(std::move(*waiting));
        if (!_session->path().empty()) {
            noteRecent();
        }
    };
    // What was edited while the other document was read isn't lost.
    if (_session && _session->isModified() && _session->history().doneCount() != _stepsWhenAsked) {
        _notices->show("opened", "The other document is read; this one was changed meanwhile.",
                       {{"Show it, drop the changes", show},
                        {"Stay here", [this, waiting] { putBack(waiting->request); }}});
        return;
    }
    show();
}

void Window::showOpened(OpenedDocument opened)
{
    const bool isRecovery = opened.request.isRecovery;
    takeOver(std::move(*opened.session), std::move(opened.monitor), std::move(opened.request.place));
    std::vector<Problem> problems;
    for (const zrk::Fault& warning : opened.warnings) {
        problems.push_back(problemOf(*_session, warning, Problem::Kind::Warning));
    }
    _problems.set(ProblemList::Source::Loading, std::move(problems));
    say(isRecovery ? "the unsaved changes are here; saving keeps them" : "", false);
    offerRecovery();
}

void Window::newDocument()
{
    const std::string name = (QDir::homePath() + "/untitled.zrk.json").toStdString();
    auto place = UnsavedPlace::create(_settings.unsavedFolder, QString::fromStdString(name));
    zrkmodel::EditSettings edit = _settings.edit;
    edit.unnamedRecovery = place ? place->file().toStdString() : std::string();
    zrkmodel::DocumentWarnings none;
    takeOver(
        std::make_unique<EditSession>(
            zrk::valueOrThrow(zrkmodel::GraphDocument::parse(kNewDocument, name, none)), std::move(edit)),
        nullptr, std::move(place));
    _view->say("Add a node: Tab, or a double click on the canvas.");
}

/// A window without a document could do nothing.
void Window::haveDocument()
{
    if (!_session) {
        newDocument();
    }
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

void Window::askAndOpen()
{
    if (!mayDiscard()) {
        return;
    }
    const QString folder =
        _session ? QFileInfo(QString::fromStdString(_session->document().name())).path() : QDir::homePath();
    const QString path = QFileDialog::getOpenFileName(this, "Open", folder, kDocumentFilter);
    if (!path.isEmpty()) {
        startOpening({path.toStdString()});
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

/// Exports what the view shows, as it is when the dialog is closed.
void Window::exportField(ExportKind kind)
{
    const auto pin = _session ? wantedPin() : std::nullopt;
    if (!pin) {
        say("there is no output to export; set one with O", true);
        return;
    }
    const QFileInfo file(QString::fromStdString(_session->document().name()));
    const ExportStart start = exportStartOf(*_view, file.absolutePath().toStdString(),
                                            file.fileName().section('.', 0, 0).toStdString());
    auto* dialog = new ExportDialog(
        kind, start,
        [this, pin, session = _sessions, name = _session->document().name()](
            const std::string& target, const ExportOptions& options) -> zrk::Result<ExportTask> {
            if (session != _sessions) { // names are alike where documents have no file
                return zrk::refused({target, "another document, or a newer version, in the window",
                                     "the one that this is for, " + name,
                                     "cancel this and export from the menu again"});
            }
            if (_export->isRunning()) {
                return zrk::refused({target, "that " + _export->file() + " is still being exported",
                                     "one export at a time", "wait for it, or cancel it in the status line"});
            }
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

/// Asks before an export that runs is lost with the window.
bool Window::mayStopExport()
{
    if (!_export->isRunning()) {
        return true;
    }
    QMessageBox box(QMessageBox::Question, "Export",
                    QFileInfo(QString::fromStdString(_export->file())).fileName() +
                        " is still being exported.",
                    QMessageBox::NoButton, this);
    box.setInformativeText("Without the rest no file is written, and a former one stays as it was.");
    const QAbstractButton* stop = box.addButton("Stop it and close", QMessageBox::DestructiveRole);
    box.setDefaultButton(box.addButton("Stay here", QMessageBox::RejectRole));
    box.exec();
    return box.clickedButton() == stop || !_export->isRunning();
}

} // namespace zrkworkbench
