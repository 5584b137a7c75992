#pragma once

#include "host/editing/pending_save.h"

#include <QObject>

#include <functional>
#include <memory>
#include <thread>

namespace zrkworkbench {

/// Writes files on a thread of its own, one at a time, however slow the disk is. All members are for the
/// thread of the window, in which what became of a file is told too.
class DocumentWriter : public QObject {
public:
    using Done = std::function<void(const zrkmodel::PendingSave&)>;

    explicit DocumentWriter(QObject* parent = nullptr) : QObject(parent) {}
    /// Waits for what runs; tells nobody.
    ~DocumentWriter() override;

    /// Nothing is told while this answers true: within an edit, for example.
    void onAsked(std::function<bool()> isHeldUp) { _isHeldUp = std::move(isHeldUp); }
    /// Writes a file and then tells. Only while nothing else is written.
    void write(zrkmodel::PendingSave save, Done done);
    /// True until the end of what runs has been told.
    bool isBusy() const { return _job != nullptr; }
    /// The file that is written.
    std::string path() const;
    /// Waits for what runs, and tells.
    void finish();

private:
    struct Job;
    std::shared_ptr<Job> _job;
    std::thread _thread;
    std::function<bool()> _isHeldUp;

    void look();
    void end();
};

} // namespace zrkworkbench
