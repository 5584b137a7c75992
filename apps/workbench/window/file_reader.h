#pragma once

#include "apps/workbench/window/dropped_files.h"

#include <QObject>
#include <QString>
#include <QStringList>

#include <deque>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

class QTimer;

namespace zrkworkbench {

/// Files on their way into a document.
struct FileDrop {
    QStringList files;
    std::array<double, 2> position{}; ///< of the first node
    zrkmodel::LoadSettings load{};
    std::string document;      ///< name of the document that they are for
    std::string unit;          ///< its unit; may be empty
    std::uint64_t session = 0; ///< the window's count of documents
};

/// Reads files on a thread of its own, one drop after the other. All members are for the thread of the
/// window, in which the listeners are called too.
class FileReader : public QObject {
public:
    explicit FileReader(QObject* parent = nullptr);
    /// Stops what runs and waits for it.
    ~FileReader() override;

    /// Is told of a drop once all of its files were read or refused.
    void onRead(std::function<void(const FileDrop&, std::vector<ReadFile>)> listener)
    {
        _read = std::move(listener);
    }
    /// Is told some times a second of the file that is being read, with 0 to 1 of the whole drop.
    void onProgress(std::function<void(const QString& file, double fraction)> listener)
    {
        _progress = std::move(listener);
    }

    void read(FileDrop drop);
    /// Stops what runs, and drops what waits; nothing of it is told.
    void cancel();
    bool isBusy() const { return _job != nullptr; }

private:
    struct Job;
    std::shared_ptr<Job> _job;
    std::thread _thread;
    std::deque<FileDrop> _waiting;
    QTimer* _timer;
    std::function<void(const FileDrop&, std::vector<ReadFile>)> _read;
    std::function<void(const QString&, double)> _progress;

    void start(FileDrop drop);
    void look();
};

} // namespace zrkworkbench
