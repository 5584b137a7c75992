#pragma once

#include "apps/workbench/export/export_job.h"

#include <QWidget>

#include <functional>

class QLabel;
class QProgressBar;
class QTimer;
class QToolButton;

namespace zrkworkbench {

/// Shows an export that runs, for the status line: its file, how far it is, the time left, and a button that
/// cancels it. Hidden while none runs. Ending it cancels the export.
class ExportBar : public QWidget {
public:
    explicit ExportBar(QWidget* parent = nullptr);

    /// False, and nothing happens, while another export runs.
    bool start(ExportTask task);
    void cancel();
    bool isRunning() const { return _job.isRunning(); }
    /// The file that is being written, or was written last.
    const std::string& file() const { return _job.file(); }
    void onDone(std::function<void(const ExportResult&)> listener) { _done = std::move(listener); }

private:
    QLabel* _name;
    QProgressBar* _progress;
    QLabel* _left;
    QToolButton* _cancel;
    std::function<void(const ExportResult&)> _done;
    ExportJob _job;
    bool _isStopping = false;

    void display(const ExportProgress& progress);
};

/// A time as people tell it: "12 s", "3 min".
QString timeText(double seconds);

} // namespace zrkworkbench
