#include "apps/workbench/window/document_writer.h"

#include <QMetaObject>
#include <QTimer>

#include <atomic>
#include <utility>

namespace zrkworkbench {

namespace {

constexpr int kHeldUpMs = 20; ///< until it is looked again whether it can be told

} // namespace

struct DocumentWriter::Job {
    zrkmodel::PendingSave save;
    Done done;
    std::atomic<bool> isWritten{false};
};

DocumentWriter::~DocumentWriter()
{
    if (_thread.joinable()) {
        _thread.join();
    }
}

std::string DocumentWriter::path() const { return _job ? _job->save.path() : std::string(); }

void DocumentWriter::write(zrkmodel::PendingSave save, Done done)
{
    _job = std::make_shared<Job>();
    _job->save = std::move(save);
    _job->done = std::move(done);
    _thread = std::thread([this, job = _job] {
        job->save.write();
        job->isWritten.store(true, std::memory_order_release);
        QMetaObject::invokeMethod(
            this, [this] { look(); }, Qt::QueuedConnection);
    });
}

void DocumentWriter::look()
{
    if (!_job || !_job->isWritten.load(std::memory_order_acquire)) {
        return; // it was told already
    }
    if (_isHeldUp && _isHeldUp()) {
        QTimer::singleShot(kHeldUpMs, this, [this] { look(); });
        return;
    }
    end();
}

void DocumentWriter::end()
{
    _thread.join();
    const std::shared_ptr<Job> job = std::exchange(_job, nullptr);
    job->done(job->save);
}

void DocumentWriter::finish()
{
    if (_job) {
        end();
    }
}

} // namespace zrkworkbench
