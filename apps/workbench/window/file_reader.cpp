#include "apps/workbench/window/file_reader.h"

#include "core/engine/progress.h"
#include "core/values/stop.h"

#include <QFileInfo>
#include <QTimer>

#include <atomic>
#include <utility>

namespace zrkworkbench {

namespace {

constexpr int kReaderInterval = 15; ///< milliseconds between two looks at the work

} // namespace

struct FileReader::Job final : zrk::ProgressMonitor {
    FileDrop drop;
    zrk::StopSign stop;
    std::atomic<int> current{0};
    std::atomic<double> fraction{0}; ///< of the current file
    std::atomic<bool> isDone{false};
    std::vector<ReadFile> files; ///< for the window's thread once it is done

    void progress(double share) override { fraction = share; }
    bool interruptRequested() override { return stop.isRaised(); }

    void run()
    {
        const zrk::StopScope scope(stop);
        zrkmodel::LoadSettings load = drop.load;
        load.monitor = this;
        for (int i = 0; i < drop.files.size() && !stop.isRaised(); ++i) {
            current = i;
            fraction = 0;
            files.push_back(readFile(drop.files[i].toStdString(), drop.document, drop.unit, load));
        }
        isDone.store(true, std::memory_order_release);
    }
};

FileReader::FileReader(QObject* parent) : QObject(parent), _timer(new QTimer(this))
{
    connect(_timer, &QTimer::timeout, this, [this] { look(); });
}

FileReader::~FileReader() { cancel(); }

void FileReader::read(FileDrop drop)
{
    if (_job) {
        _waiting.push_back(std::move(drop));
    } else {
        start(std::move(drop));
    }
}

void FileReader::start(FileDrop drop)
{
    _job = std::make_shared<Job>();
    _job->drop = std::move(drop);
    _thread = std::thread([job = _job] { job->run(); });
    _timer->start(kReaderInterval);
}

void FileReader::cancel()
{
    _waiting.clear();
    if (_job) {
        _job->stop.raise();
        _thread.join();
        _job.reset();
        _timer->stop();
    }
}

void FileReader::look()
{
    if (!_job) {
        return;
    }
    if (!_job->isDone.load(std::memory_order_acquire)) {
        if (_progress) {
            const int current = _job->current;
            _progress(QFileInfo(_job->drop.files[current]).fileName(),
                      (current + _job->fraction) / _job->drop.files.size());
        }
        return;
    }
    _thread.join();
    _timer->stop();
    const std::shared_ptr<Job> job = std::exchange(_job, nullptr);
    if (!_waiting.empty()) {
        FileDrop next = std::move(_waiting.front());
        _waiting.pop_front();
        start(std::move(next));
    }
    if (_read) {
        _read(job->drop, std::move(job->files));
    }
}

} // namespace zrkworkbench
