#include "inspectors/app.h"

#include <QDir>
#include <QFileDialog>
#include <QProgressDialog>

#include <algorithm>
#include <cmath>
#include <utility>

namespace zrkui {

namespace {

constexpr int kPatience = 500; ///< milliseconds until the dialog of long work comes
constexpr int kSteps = 1000;

class DialogMonitor final : public zrk::ProgressMonitor {
public:
    DialogMonitor(QProgressDialog& dialog, std::function<void(double)> tell)
        : _dialog(dialog), _tell(std::move(tell))
    {}

    void progress(double fraction) override
    {
        // Lets the dialog, and nothing else, have its events. The last step would close it.
        const double share = std::isfinite(fraction) ? std::clamp(fraction, 0.0, 1.0) : 0.0;
        _tell(share);
        _dialog.setValue(std::min(kSteps - 1, static_cast<int>(share * kSteps)));
    }
    bool interruptRequested() override { return _dialog.wasCanceled(); }

private:
    QProgressDialog& _dialog;
    std::function<void(double)> _tell;
};

std::vector<std::string> askUser(const FileRequest& request, QWidget* parent, const std::string& lastFolder)
{
    const QString caption = QString::fromStdString(request.caption);
    const QString filter = QString::fromStdString(request.filter);
    const std::string wanted = request.startFolder.empty() ? lastFolder : request.startFolder;
    QString folder = QString::fromStdString(wanted);
    if (folder.isEmpty() || !QDir(folder).exists()) {
        folder = lastFolder.empty() ? QDir::homePath() : QString::fromStdString(lastFolder);
    }
    QStringList chosen;
    if (request.mode == FileRequest::Mode::folder) {
        chosen << QFileDialog::getExistingDirectory(parent, caption, folder, QFileDialog::ShowDirsOnly);
    } else if (request.multiple) {
        chosen = QFileDialog::getOpenFileNames(parent, caption, folder, filter);
    } else {
        chosen << QFileDialog::getOpenFileName(parent, caption, folder, filter);
    }
    chosen.removeAll(QString());
    std::vector<std::string> paths;
    for (const QString& path : chosen) {
        paths.push_back(path.toStdString());
    }
    return paths;
}

} // namespace

ZRKApp& ZRKApp::ui()
{
    static ZRKApp app;
    return app;
}

std::vector<std::string> ZRKApp::askForFiles(const FileRequest& request, QWidget* parent)
{
    std::vector<std::string> paths =
        _fileDialog ? _fileDialog(request, parent) : askUser(request, parent, _lastFolder);
    if (!paths.empty()) {
        const QFileInfo chosen(QString::fromStdString(paths.front()));
        _lastFolder = chosen.absolutePath().toStdString();
    }
    return paths;
}

void ZRKApp::readFiles(FileReading reading, QWidget* parent)
{
    if (_reader) {
        _reader(std::move(reading));
        return;
    }
    if (runLong(reading.title, parent, reading.read)) {
        (void)reading.done(); // the panel is there
    }
}

bool ZRKApp::runLong(const std::string& title, QWidget* parent,
                     const std::function<void(zrk::ProgressMonitor&)>& work)
{
    bool isStopped = false;
    {
        QProgressDialog dialog(QString::fromStdString(title), "stop", 0, kSteps, parent);
        dialog.setWindowModality(Qt::ApplicationModal);
        dialog.setMinimumDuration(kPatience);
        dialog.setValue(0);
        DialogMonitor monitor(dialog, [&](double fraction) { _work(title, fraction); });
        work(monitor);
        isStopped = dialog.wasCanceled();
    }
    _workDone();
    return !isStopped;
}

} // namespace zrkui
