#include "apps/workbench/window/file_reader.h"

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
    FileReading reading;
    zrk::StopSign stop;
    std::atomic<int> current{0};
    std::atomic<double> fraction{0}; ///< of the current file
    std::atomic<bool> isDone{false};

    void progress(double share) override { fraction = share; }
    bool interruptRequested() override { return stop.isRaised(); }

    void run()
    {
        const zrk::StopScope scope(stop);
        for (int i = 0; i < reading.files.size() && !stop.isRaised(); ++i) {
            current = i;
            fraction = 0;
            reading.read(i, *this);
        }
        isDone.store(true, std::memory_order_release);
    }
};

FileReader::FileReader(QObject* parent) : QObject(parent), _timer(new QTimer(this))
{
    connect(_timer, &QTimer::timeout, this, [this] { look(); });
}

FileReader::~FileReader() { cancel(); }

void FileReader::read(FileReading reading)
{
    if (_job) {
        _waiting.push_back(std::move(reading));
    } else {
        start(std::move(reading));
    }
}

void FileReader::start(FileReading reading)
{
    _job = std::make_shared<Job>();
    _job->reading = std::move(reading);
    _thread = std::thread([job = _job] { job->run(); });
    _timer->start(kReaderInterval);
}

void FileReader::cancel()
{
    _waiting.clear();
    if (_job) {
        _job->stop.raise();
        _stopped.add(std::move(_thread), std::move(_job));
    }
}

void FileReader::look()
{
    _stopped.clear();
    if (!_job) {
        if (_stopped.isEmpty()) {
            _timer->stop();
        }
        return;
    }
    if (!_job->isDone.load(std::memory_order_acquire)) {
        const FileReading& reading = _job->reading;
        const int current = _job->current;
        const double fraction = (current + _job->fraction) / static_cast<double>(reading.files.size());
        if (_progress) {
            _progress(QFileInfo(reading.files[current]).fileName(), fraction);
        }
        if (reading.progress) {
            reading.progress(fraction);
        }
        return;
    }
    _thread.join();
    const std::shared_ptr<Job> job = std::exchange(_job, nullptr);
    if (!_waiting.empty()) {
        FileReading next = std::move(_waiting.front());
        _waiting.pop_front();
        start(std::move(next));
    }
    if (_done) {
        _done(job->reading.done);
    }
}

} // namespace zrkworkbench
