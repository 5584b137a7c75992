#pragma once

#include "host/editing/file_watch.h"

#include <QObject>

#include <functional>
#include <memory>
#include <string>
#include <thread>

namespace zrkworkbench {

/// Finds out whether a file is what it was, on a thread of its own, as disks may be slow. All members are for
/// the thread of the window, in which the answer is told too.
class FileLooker : public QObject {
public:
    /// What the file is, and what is known of it from now on.
    using Seen = std::function<void(zrkmodel::FileState, const zrkmodel::FileWatch&)>;

    explicit FileLooker(QObject* parent = nullptr) : QObject(parent) {}
    /// Waits for what runs; tells nobody.
    ~FileLooker() override;

    /// Looks at a file and then tells. While another look runs, only the last one that was asked for follows.
    void look(const std::string& path, const zrkmodel::FileWatch& known, Seen seen);
    /// Nothing that was asked for until now is told.
    void cancel();

private:
    struct Job;
    std::shared_ptr<Job> _job;
    std::shared_ptr<Job> _next;
    std::thread _thread;

    void start(std::shared_ptr<Job> job);
    void end();
};

} // namespace zrkworkbench
