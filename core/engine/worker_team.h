#pragma once

#include "core/engine/progress.h"
#include "core/engine/thread_pool.h"
#include "core/values/fault.h"
#include "core/values/stop.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <exception>
#include <optional>
#include <thread>
#include <vector>

namespace zrk {

/// `wanted`, or the number of processors if `wanted` is 0.
inline std::size_t workerCount(std::size_t wanted)
{
    // Asked once: the system answers from a file, which takes as long as building a small chain.
    static const std::size_t processors = std::max<std::size_t>(1, std::thread::hardware_concurrency());
    return wanted > 0 ? wanted : processors;
}

/// Calls work(worker, workers) for each worker below `workers`, at the same time on a thread each, worker 0
/// on the calling thread, and returns when all are done.
///
/// There are `wanted` workers, or fewer where the system refuses to start so many threads, so work is
/// divided by `workers`. The threads are those of the calling thread's `ThreadPool` if it is idle and
/// large enough, otherwise new ones. If workers throw, the exception of the one with the lowest number is
/// thrown again. What stops the calling thread's work stops that of the workers.
template <class Work>
void runTeam(std::size_t wanted, const Work& work)
{
    if (wanted <= 1) {
        work(std::size_t{0}, std::size_t{1});
        return;
    }
    ThreadPool* pool = ThreadPool::idle();
    std::optional<ThreadPool> own;
    if (!pool || pool->size() < wanted) {
        pool = &own.emplace(wanted);
    }
    const std::size_t workers = std::min(wanted, pool->size());
    std::vector<std::exception_ptr> failures(workers);
    const StopScope* const outer = StopScope::current();
    pool->call([&](std::size_t worker) {
        if (worker >= workers) {
            return;
        }
        const StopScope scope(outer);
        try {
            work(worker, workers);
        } catch (...) {
            failures[worker] = std::current_exception();
        }
    });
    for (const std::exception_ptr& failure : failures) {
        if (failure) {
            std::rethrow_exception(failure);
        }
    }
}

/// The progress of workers that stop when one of them has failed.
class TeamProgress final : public AsyncProgressManager {
public:
    using AsyncProgressManager::AsyncProgressManager;

    bool shouldInterrupt() override
    {
        return _hasFailed.load(std::memory_order_relaxed) || AsyncProgressManager::shouldInterrupt();
    }
    void fail() { _hasFailed.store(true, std::memory_order_relaxed); }

private:
    std::atomic<bool> _hasFailed{false};
};

/// Whom a team reports to.
struct TeamReport {
    ProgressMonitor* monitor;  ///< not owned; null for nobody
    std::size_t total;         ///< steps of all workers together
    unsigned intervalMs;       ///< between two reports
    bool sparesCaller = false; ///< no work on the calling thread, also without a monitor
};

/// Calls work(worker, workers, progress) for each worker, as `runTeam` does; with a monitor, or if the report
/// says so, all of them on threads of their own, while the calling thread speaks with the monitor. Work
/// returns whether it was finished: it asks `progress` when to stop, which is when the monitor interrupts or
/// another worker has thrown. Work that takes long within a step is stopped by `stopIfAsked` once the monitor
/// interrupts. True when all was finished and the monitor hasn't interrupted. If the system refuses to start
/// any thread, the calling one does the work and reports.
template <class Work>
bool runReportedTeam(std::size_t wanted, const TeamReport& report, const Work& work)
{
    std::atomic<bool> isFinished{true};
    TeamProgress progress(wanted, report.monitor, report.total, report.intervalMs);
    StopSign interrupt;
    const auto workOn = [&](std::size_t worker, std::size_t workers, ProgressManager& manager) {
        const StopScope scope(interrupt);
        try {
            if (!work(worker, workers, manager)) {
                isFinished = false;
            }
        } catch (const FaultError& error) {
            if (!interrupt.isRaised() || error.fault().kind != FaultKind::Interrupted) {
                throw;
            }
            isFinished = false;
        }
    };
    const std::size_t reporters = report.monitor || report.sparesCaller ? 1 : 0;
    runTeam(wanted + reporters, [&](std::size_t member, std::size_t members) {
        try {
            if (reporters == 1 && members == 1) {
                ProgressManager alone(report.monitor, report.total);
                workOn(0, 1, alone);
            } else if (member < reporters) {
                progress.monitorProgress();
                if (progress.AsyncProgressManager::shouldInterrupt()) {
                    interrupt.raise();
                }
            } else {
                workOn(member - reporters, members - reporters, progress);
            }
        } catch (...) {
            progress.fail();
            throw;
        }
    });
    return isFinished && !progress.shouldInterrupt();
}

} // namespace zrk
