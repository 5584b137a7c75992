#include "apps/workbench/export/export_job.h"

#include "apps/workbench/views/work_lane.h"
#include "core/engine/progress.h"

#include <QMetaObject>
#include <QObject>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <exception>
#include <utility>

namespace zrkworkbench {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kNice = 5; ///< the views come first
constexpr auto kBetweenReports = std::chrono::milliseconds(50);
constexpr double kSecondsUnknown = 1; ///< at first, before the time left is told

/// The part of a whole export that a stage takes, by its title: where it begins and where it ends.
std::pair<double, double> shareOf(const std::string& stage)
{
    if (stage == "estimating") {
        return {0, 0.05};
    }
    if (stage == "surface") {
        return {0.05, 0.8};
    }
    if (stage == "colours") {
        return {0.8, 0.85};
    }
    return stage == "writing" ? std::pair(0.85, 1.0) : std::pair(0.0, 0.85);
}

} // namespace

struct ExportJob::State {
    zrk::StopSign stop;
    bool isGone = false; ///< the receiver's thread's own: nothing is told any more
};

namespace {

class StageMonitor final : public zrk::ProgressMonitor {
public:
    StageMonitor(std::string stage, Clock::time_point begin, const zrk::StopSign& stop,
                 const std::function<void(const ExportProgress&)>& tell)
        : _stage(std::move(stage)), _begin(begin), _stop(stop), _tell(tell)
    {
        progress(0);
    }

    void progress(double fraction) override
    {
        const auto now = Clock::now();
        if (_last && now - *_last < kBetweenReports) {
            return;
        }
        _last = now;
        const auto [from, to] = shareOf(_stage);
        const double done =
            from + (to - from) * (std::isfinite(fraction) ? std::clamp(fraction, 0.0, 1.0) : 0);
        const double seconds = std::chrono::duration<double>(now - _begin).count();
        ExportProgress progress{_stage, done, std::nullopt};
        if (seconds > kSecondsUnknown && done > 0.02) {
            progress.secondsLeft = seconds * (1 - done) / done;
        }
        _tell(progress);
    }
    bool interruptRequested() override { return _stop.isRaised(); }

private:
    std::string _stage;
    Clock::time_point _begin;
    const zrk::StopSign& _stop;
    const std::function<void(const ExportProgress&)>& _tell;
    std::optional<Clock::time_point> _last;
};

ExportResult run(const ExportTask& task, const zrk::StopSign& stop,
                 const std::function<void(const ExportProgress&)>& tell)
{
    const auto begin = Clock::now();
    const zrk::StopScope scope(stop);
    try {
        const std::string text = task.run([&](const char* title, const auto& stage) {
            StageMonitor monitor(title, begin, stop, tell);
            stage(monitor);
        });
        return {ExportResult::Kind::Done, task.file, text};
    } catch (const std::exception& error) {
        const zrk::Fault fault = zrk::faultOf(error, task.file);
        const bool isCancelled = stop.isRaised() && fault.kind == zrk::FaultKind::Interrupted;
        return {isCancelled ? ExportResult::Kind::Cancelled : ExportResult::Kind::Failed, task.file,
                zrk::messageOf(fault)};
    }
}

} // namespace

ExportJob::~ExportJob()
{
    cancel();
    if (_state) {
        _state->isGone = true;
    }
    if (_thread.joinable()) {
        _thread.join();
    }
}

bool ExportJob::start(ExportTask task)
{
    if (_state) {
        return false;
    }
    _file = task.file;
    _state = std::make_shared<State>();
    const auto inReceiver = [this, state = _state](std::function<void()> call) {
        QMetaObject::invokeMethod(
            &_receiver,
            [state, call = std::move(call)] {
                if (!state->isGone) {
                    call();
                }
            },
            Qt::QueuedConnection);
    };
    _thread = std::thread([this, inReceiver, state = _state, task = std::move(task)] {
        yieldToOthers(kNice);
        const ExportResult result = run(task, state->stop, [&](const ExportProgress& progress) {
            inReceiver([this, progress] {
                if (_progress) {
                    _progress(progress);
                }
            });
        });
        inReceiver([this, result] { finish(result); });
    });
    return true;
}

void ExportJob::cancel()
{
    if (_state) {
        _state->stop.raise();
    }
}

void ExportJob::finish(const ExportResult& result)
{
    _thread.join();
    _state.reset();
    if (_done) {
        _done(result);
    }
}

} // namespace zrkworkbench
