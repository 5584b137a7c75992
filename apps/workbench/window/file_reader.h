#pragma once

#include "apps/workbench/window/stopped_threads.h"
#include "core/engine/progress.h"

#include <QObject>
#include <QString>
#include <QStringList>

#include <deque>
#include <functional>
#include <memory>
#include <thread>

class QTimer;

namespace zrkworkbench {

/// Files that are read together: those of a drop, of a paste, of an import.
struct FileReading {
    QStringList files; ///< what the user is told of them
    /// Reads one of them, by its index; called in the reader's thread, and throws nothing.
    std::function<void(int file, zrk::ProgressMonitor& monitor)> read;
    /// Called in the window's thread once all are read.
    std::function<void()> done;
    /// The same some times a second, with 0 to 1 of all; may be empty.
    std::function<void(double fraction)> progress{};
};

/// Reads files on a thread of its own, one reading after the other. All members are for the thread of the
/// window, in which the listeners are called too.
class FileReader : public QObject {
public:
    explicit FileReader(QObject* parent = nullptr);
    /// Stops what runs and waits for it.
    ~FileReader() override;

    /// Is given the last part of a reading, to be called there or, where it has to wait, later.
    void onDone(std::function<void(std::function<void()> done)> listener) { _done = std::move(listener); }
    /// Is told some times a second of the file that is being read, with 0 to 1 of the whole reading.
    void onProgress(std::function<void(const QString& file, double fraction)> listener)
    {
        _progress = std::move(listener);
    }

    void read(FileReading reading);
    /// Stops what runs, without waiting for it, and drops what waits; nothing of it is told.
    void cancel();
    bool isBusy() const { return _job != nullptr; }

private:
    struct Job;
    std::shared_ptr<Job> _job;
    std::thread _thread;
    StoppedThreads _stopped;
    std::deque<FileReading> _waiting;
    QTimer* _timer;
    std::function<void(std::function<void()>)> _done;
    std::function<void(const QString&, double)> _progress;

    void start(FileReading reading);
    void look();
};

} // namespace zrkworkbench
