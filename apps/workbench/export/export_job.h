#pragma once

#include "apps/workbench/export/export_task.h"
#include "core/values/stop.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>

class QObject;

namespace zrkworkbench {

/// How far an export has come.
struct ExportProgress {
    std::string stage;                 ///< such as "surface"
    double fraction = 0;               ///< of the whole, 0 to 1
    std::optional<double> secondsLeft; ///< unknown at first
};

struct ExportResult {
    enum class Kind { Done, Cancelled, Failed };

    Kind kind = Kind::Done;
    std::string file;
    std::string text; ///< what was written, or why nothing was, with the remedy
};

/// Writes a file on a thread of its own, which leaves the processors to the views. All members are for the
/// receiver's thread, in which the listeners are called too.
class ExportJob {
public:
    explicit ExportJob(QObject& receiver) : _receiver(receiver) {}
    /// Cancels what runs; no file is left half written.
    ~ExportJob();
    ExportJob(const ExportJob&) = delete;
    ExportJob& operator=(const ExportJob&) = delete;

    /// False, and nothing happens, while another export runs.
    bool start(ExportTask task);
    /// Has the work stop soon; `onDone` tells when it has.
    void cancel();
    bool isRunning() const { return _state != nullptr; }
    /// The file that is being written.
    const std::string& file() const { return _file; }

    void onProgress(std::function<void(const ExportProgress&)> listener) { _progress = std::move(listener); }
    void onDone(std::function<void(const ExportResult&)> listener) { _done = std::move(listener); }

private:
    struct State;
    QObject& _receiver;
    std::string _file;
    std::function<void(const ExportProgress&)> _progress;
    std::function<void(const ExportResult&)> _done;
    std::shared_ptr<State> _state; ///< of what runs
    std::thread _thread;

    void finish(const ExportResult& result);
};

} // namespace zrkworkbench
