#include "apps/workbench/window/document_writer.h"
#include "apps/workbench/window/file_looker.h"
#include "apps/workbench/window/names.h"
#include "apps/workbench/window/notice_bar.h"
#include "apps/workbench/window/watchdog.h"
#include "apps/workbench/window/window.h"

#include <QAbstractSpinBox>
#include <QApplication>
#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QEventLoop>
#include <QFileDialog>
#include <QFileInfo>
#include <QFileSystemWatcher>
#include <QLineEdit>
#include <QMessageBox>
#include <QProgressDialog>
#include <QStandardPaths>
#include <QTimer>

namespace zrkworkbench {

using zrkmodel::FileState;
using zrkmodel::FileWatch;
using zrkmodel::PendingSave;

namespace {

constexpr int kWritingPatience = 300; ///< milliseconds until it is told that a file is being written
constexpr int kLookAgainMs = 150;     ///< while the file is being read or written

QString fileNameOf(const std::string& path) { return QFileInfo(QString::fromStdString(path)).fileName(); }

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

/// The path that the user chooses; empty where that is cancelled.
std::string Window::askForTarget()
{
    QString start = QString::fromStdString(_session->path());
    if (start.isEmpty()) {
        start = QDir::homePath() + "/" + fileNameOf(_session->document().name());
    }
    QFileDialog dialog(this, "Save as", QFileInfo(start).path(), kDocumentFilter);
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setDefaultSuffix("zrk.json"); // here, so that it asks before the whole name is written over
    dialog.selectFile(QFileInfo(start).fileName());
    return dialog.exec() == QDialog::Accepted ? dialog.selectedFiles().value(0).toStdString() : std::string();
}

void Window::startSavingAs()
{
    takeEntry();
    if (const std::string target = _session ? askForTarget() : std::string(); !target.empty()) {
        startSaving(target);
    }
}

bool Window::save(const std::string& path)
{
    startSaving(path);
    return waitForWriting() && _savedWell.value_or(false);
}

void Window::startSaving(const std::string& path, bool overwrites)
{
    _savedWell = false;
    if (!_session) {
        return;
    }
    std::string target = path.empty() ? _session->path() : path;
    target = target.empty() ? askForTarget() : target;
    if (target.empty()) {
        return;
    }
    _savedWell.reset();
    if (_writer->isBusy()) {
        _nextSave = SaveRequest{target, overwrites};
        say("saved as soon as " + fileNameOf(_writer->path()) + " is written", false);
        return;
    }
    const Doing doing("saving");
    auto save = _session->startSaving(target, overwrites);
    if (!save) {
        refuseSaving(target, save.error());
        return;
    }
    startWriting(std::move(*save), [this](const PendingSave& saved) { takeSaved(saved); });
}

bool Window::isSaving() const { return _writer->isBusy(); }

void Window::startWriting(PendingSave save, std::function<void(const PendingSave&)> done)
{
    _writingSince->start(kWritingPatience);
    _writer->write(std::move(save), [this, done = std::move(done)](const PendingSave& saved) {
        _writingSince->stop();
        _notices->remove("writing");
        done(saved);
        goOnAfterWriting();
    });
}

void Window::writeRecovery()
{
    if (!_session || _writer->isBusy()) {
        return;
    }
    const Doing doing("writing the recovery file");
    if (auto due = _session->startRecovery()) {
        startWriting(std::move(*due), [this](const PendingSave& saved) {
            if (const auto written = _session->finishSaving(saved); !written) {
                tell(written.error(), ProblemList::Source::Saving);
            }
        });
    }
}

void Window::takeSaved(const PendingSave& saved)
{
    const Doing doing("saving");
    const auto done = _session->finishSaving(saved);
    _savedWell = done.has_value();
    if (saved.wasChangedOutside()) {
        lookAtFile();
        say(fileNameOf(saved.path()) + " was changed by another program", true);
        return;
    }
    if (!done) {
        refuseSaving(saved.path(), done.error());
        return;
    }
    for (const char* key : {"saving", "changed", "missing", "recovery"}) {
        _notices->remove(key);
    }
    _problems.clear(ProblemList::Source::Saving);
    leavePlace();
    _looker->cancel();
    watchFile();
    _looksAtFile->start(0); // changes weren't looked at while it was written
    noteRecent();
    showTitle();
    say("saved " + QString::fromStdString(saved.path()), false);
}

void Window::refuseSaving(const std::string& target, const zrk::Fault& fault)
{
    _savedWell = false;
    tell(fault, ProblemList::Source::Saving);
    _notices->show("saving",
                   QString("%1 isn't saved: %2. The file is what it was, and nothing here is lost.")
                       .arg(fileNameOf(target), QString::fromStdString(zrk::printable(fault.found))),
                   {{"Try again", [this, target] { startSaving(target); }},
                    {"Save as...", [this] { startSavingAs(); }},
                    {"Close"}});
}

/// Does what waited for a file to be written: the next save, or else what is to follow all of them.
void Window::goOnAfterWriting()
{
    if (_nextSave) {
        const SaveRequest next = *std::exchange(_nextSave, std::nullopt);
        startSaving(next.target, next.overwrites);
        return;
    }
    for (const auto& work : std::exchange(_afterWriting, {})) {
        work();
    }
}

/// Waits until all is written, with a message where it takes long. False when the user doesn't want to wait.
bool Window::waitForWriting()
{
    if (!_writer->isBusy()) {
        return true;
    }
    QProgressDialog dialog("Writing " + fileNameOf(_writer->path()) + ". What comes next follows then.",
                           "Stay here", 0, 0, this);
    dialog.setWindowModality(Qt::WindowModal);
    dialog.setMinimumDuration(kWritingPatience);
    QEventLoop loop;
    connect(&dialog, &QProgressDialog::canceled, &loop, &QEventLoop::quit);
    _afterWriting.push_back([loop = QPointer<QEventLoop>(&loop)] {
        if (loop) {
            loop->quit();
        }
    });
    loop.exec();
    return !_writer->isBusy();
}

/// What is being typed counts as entered.
void Window::takeEntry()
{
    QWidget* entry = QApplication::focusWidget();
    if (qobject_cast<QLineEdit*>(entry) || qobject_cast<QAbstractSpinBox*>(entry)) {
        entry->clearFocus();
        if (entry->isVisible()) {
            entry->setFocus();
        }
    }
}

bool Window::mayDiscard()
{
    takeEntry();
    if (!waitForWriting()) {
        return false;
    }
    if (!_session || !_session->isModified()) {
        return true;
    }
    const auto answer = QMessageBox::question(
        this, "Unsaved changes",
        QString("Save the changes of %1?").arg(fileNameOf(_session->document().name())),
        QMessageBox::Save | QMessageBox::Discard | QMessageBox::Cancel, QMessageBox::Save);
    return answer == QMessageBox::Discard ||
           (answer == QMessageBox::Save && save() && !_session->isModified());
}

// Recovery

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
    OpenRequest request{_session->path()};
    request.isRecovery = true;
    startOpening(request);
}

/// The document has a file now, or is no longer wanted.
void Window::leavePlace()
{
    if (_place) {
        _place->removeFile();
        _place.reset();
    }
}

/// What was to be recovered, and is offered again as it couldn't be shown.
void Window::putBack(const OpenRequest& request)
{
    if (request.isRecovery && _session && _session->path() == request.path) {
        offerRecovery();
    }
    if (request.isLeft) {
        _left.push_back(request.place);
        offerLeft();
    }
}

/// Offers what programs left that were ended before their documents had a file, one after the other.
void Window::offerLeft()
{
    if (_left.empty()) {
        _notices->remove("left");
        return;
    }
    const std::shared_ptr<UnsavedPlace> place = _left.front();
    const auto drop = [this] {
        _left.erase(_left.begin());
        offerLeft();
    };
    const QString others = _left.size() == 1   ? QString()
                           : _left.size() == 2 ? QString(" Another one is kept, too.")
                                               : QString(" %1 others are kept, too.").arg(_left.size() - 1);
    _notices->show("left",
                   QString("%1 of %2 was never saved.%3")
                       .arg(place->name(), place->changed().toString("d MMM hh:mm"), others),
                   {{"Recover it",
                     [this, place, drop] {
                         if (!mayDiscard()) {
                             offerLeft();
                             return;
                         }
                         drop();
                         OpenRequest request{place->file().toStdString()};
                         request.place = place;
                         request.isLeft = true;
                         startOpening(request);
                     }},
                    {"Discard it",
                     [place, drop] {
                         place->removeFile();
                         drop();
                     }},
                    {"Later", [this] { _left.clear(); }}});
}

// The file

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
    if (!_session || _session->path().empty()) {
        return;
    }
    const auto isBusy = [this] { return _opener->isBusy() || _writer->isBusy(); };
    if (isBusy()) {
        _looksAtFile->start(kLookAgainMs);
        return;
    }
    _looker->look(_session->path(), _session->file(), [this, isBusy](FileState state, const FileWatch& file) {
        if (isBusy()) {
            _looksAtFile->start(kLookAgainMs);
            return;
        }
        _session->setFile(file);
        takeFileState(state);
    });
}

void Window::takeFileState(FileState state)
{
    const QString path = QString::fromStdString(_session->path());
    const QString name = QFileInfo(path).fileName();
    if (state != FileState::Missing && !_watcher->files().contains(path)) {
        _watcher->addPath(path); // a rename has put another file there
    }
    switch (state) {
    case FileState::Same:
        _notices->remove("changed");
        _notices->remove("missing");
        break;
    case FileState::Missing:
        _notices->remove("changed");
        _notices->show("missing", name + " is no longer in its folder; saving writes it anew.",
                       {{"Save", [this] { startSaving(); }}, {"Close"}});
        break;
    case FileState::Changed:
        _notices->remove("missing");
        takeEntry();
        if (!_session->isModified()) {
            startOpening({_session->path()});
            say(name + " was changed by another program and is read again", false);
            break;
        }
        _notices->show("changed", name + " was changed by another program, and here too.",
                       {{"Read it, drop my changes", [this] { startOpening({_session->path()}); }},
                        {"Keep mine, write over it", [this] { startSaving("", true); }},
                        {"Save mine as...", [this] { startSavingAs(); }}});
        break;
    }
}

} // namespace zrkworkbench
