#include "apps/workbench/window/file_looker.h"

#include <QMetaObject>

#include <utility>

namespace zrkworkbench {

using zrkmodel::FileState;
using zrkmodel::FileWatch;

struct FileLooker::Job {
    std::string path;
    FileWatch known;
    Seen seen;
    FileState state = FileState::Same;
};

FileLooker::~FileLooker()
{
    if (_thread.joinable()) {
        _thread.join();
    }
}

void FileLooker::look(const std::string& path, const FileWatch& known, Seen seen)
{
    auto job = std::make_shared<Job>(Job{path, known, std::move(seen)});
    if (_job) {
        _next = std::move(job);
    } else {
        start(std::move(job));
    }
}

void FileLooker::cancel()
{
    _next.reset();
    if (_job) {
        _job->seen = {};
    }
}

void FileLooker::start(std::shared_ptr<Job> job)
{
    _job = std::move(job);
    // What is called at the end stays in the window's thread.
    _thread = std::thread([this, job = _job.get()] {
        job->state = job->known.state(job->path);
        QMetaObject::invokeMethod(
            this, [this] { end(); }, Qt::QueuedConnection);
    });
}

void FileLooker::end()
{
    _thread.join();
    const std::shared_ptr<Job> job = std::exchange(_job, nullptr);
    if (_next) {
        start(std::exchange(_next, nullptr));
    }
    if (job->seen) {
        job->seen(job->state, job->known);
    }
}

} // namespace zrkworkbench
