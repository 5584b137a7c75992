#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <thread>

namespace zrk {

/// The outside of a long evaluation: is told how far it has come, and may ask it to stop.
/// Both operations are called on one thread at a time.
class ProgressMonitor {
public:
    virtual ~ProgressMonitor() = default;

    /// Done over total, normally 0 to 1.
    virtual void progress(double fraction) = 0;
    /// True when the work should stop.
    virtual bool interruptRequested() = 0;

    void interruptAcknowledged() { _acknowledged = true; }
    bool isInterruptAcknowledged() const { return _acknowledged; }

private:
    bool _acknowledged = false;
};

/// What one running thread reports to.
class ProgressManager {
public:
    /// The monitor isn't owned; without one nothing is reported and nothing interrupts.
    ProgressManager(ProgressMonitor* monitor, std::size_t total) : _total(total), _monitor(monitor) {}
    ProgressManager(const ProgressManager&) = default;
    ProgressManager& operator=(const ProgressManager&) = default;
    virtual ~ProgressManager() = default;

    ProgressMonitor* getProgressMonitor() const { return _monitor; }

    /// Adds finished samples.
    virtual void notifyProgressUpdate(std::thread::id thread, std::size_t steps);
    /// True when the work is to stop; the monitor then knows that it was heard.
    virtual bool shouldInterrupt();
    /// True after `shouldInterrupt` was, here and not in an earlier run with the same monitor.
    bool wasInterrupted() const { return _wasInterrupted; }

protected:
    std::uint64_t _completed = 0;
    std::uint64_t _total;
    ProgressMonitor* _monitor;

private:
    bool _wasInterrupted = false;
};

/// Serves several worker threads. They count and look at a flag only; the calling thread
/// polls for them and is the only one to speak with the monitor.
class AsyncProgressManager final : public ProgressManager {
public:
    AsyncProgressManager(std::size_t threadCount, ProgressMonitor* monitor, std::size_t total,
                         unsigned intervalMs)
        : ProgressManager(monitor, total), _threadCount(threadCount), _intervalMs(intervalMs)
    {}

    void notifyProgressUpdate(std::thread::id thread, std::size_t steps) override;
    bool shouldInterrupt() override { return _interrupted.load(std::memory_order_relaxed); }

    /// Reports every interval until all steps are done or the monitor interrupts. Without a
    /// monitor, or with a total of 0, it returns at once.
    void monitorProgress();
    /// Ends `monitorProgress` and the workers' runs, for a run that can't reach its total.
    void abandon() { _interrupted.store(true, std::memory_order_relaxed); }

    std::size_t threadCount() const { return _threadCount; }

private:
    std::mutex _insertion; ///< guards the map's shape, not the counts
    std::map<std::thread::id, std::atomic<std::uint64_t>> _perThread;
    std::atomic<bool> _interrupted{false};
    std::size_t _threadCount;
    unsigned _intervalMs;

    std::uint64_t completedSteps();
};

} // namespace zrk
