#pragma once

#include "core/values/export.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <thread>

namespace zrk {

/// Whoever follows a long evaluation: is told how far it has come, and may ask it to stop.
/// Both operations are called on one thread at a time.
class ZRK_API ProgressMonitor {
public:
    /// @param fraction  what is done over the total, normally 0 to 1.
    virtual void progress(double fraction) = 0;
    /// True when the work should stop.
    virtual bool interruptRequested() = 0;

    virtual ~ProgressMonitor() = default;

    /// Notes that a request to stop was heard.
    void interruptAcknowledged() { acknowledged = true; }
    bool isInterruptAcknowledged() const { return acknowledged; }

private:
    bool acknowledged = false;
};

/// What work on one thread reports to.
class ZRK_API ProgressManager {
public:
    /// @param monitor  not owned; null when nobody follows the work, and then nothing interrupts it.
    /// @param total    steps of the whole work.
    ProgressManager(ProgressMonitor* monitor, std::size_t total) : total(total), monitor(monitor) {}

    /// Adds finished steps.
    virtual void notifyProgressUpdate(std::thread::id thread, std::size_t steps);
    /// True when the work is to stop; the monitor is then told that it was heard.
    virtual bool shouldInterrupt();

    ProgressManager(const ProgressManager&) = default;
    ProgressManager& operator=(const ProgressManager&) = default;
    virtual ~ProgressManager() = default;

    ProgressMonitor* getProgressMonitor() const { return monitor; }

protected:
    std::uint64_t completed = 0;
    std::uint64_t total;
    ProgressMonitor* monitor;
};

/// What work on several threads reports to. Workers only add to their counts and read a flag; one thread,
/// in `monitorProgress`, speaks with the monitor for all of them.
class ZRK_API AsyncProgressManager : public ProgressManager {
public:
    AsyncProgressManager(std::size_t threadCount, ProgressMonitor* monitor, std::size_t total,
                         unsigned intervalMs)
        : ProgressManager(monitor, total), threadCount(threadCount), intervalMs(intervalMs)
    {}

    void notifyProgressUpdate(std::thread::id thread, std::size_t steps) override;
    /// True once the monitor has asked `monitorProgress` to stop.
    bool shouldInterrupt() override { return interrupted.load(std::memory_order_relaxed); }

    /// Reports every interval until a count, taken before the last wait, has reached the total, or
    /// `shouldInterrupt` is true. Without a monitor, or with a total of 0, it returns at once.
    void monitorProgress();

protected:
    std::map<std::thread::id, std::atomic<std::uint64_t>> perThread;
    std::atomic<bool> interrupted{false};
    std::uint64_t threadCount;
    std::uint32_t intervalMs;

private:
    std::mutex _insertion; ///< guards the map's shape, not the counts

    std::uint64_t completedSteps();
};

} // namespace zrk
