#include "core/engine/progress.h"

#include <chrono>

namespace zrk {

void ProgressManager::notifyProgressUpdate(std::thread::id, std::size_t steps)
{
    _completed += steps;
    if (_monitor) {
        _monitor->progress(static_cast<double>(_completed) / static_cast<double>(_total));
    }
}

bool ProgressManager::shouldInterrupt()
{
    if (_monitor && _monitor->interruptRequested()) {
        _monitor->interruptAcknowledged();
        return true;
    }
    return false;
}

void AsyncProgressManager::notifyProgressUpdate(std::thread::id thread, std::size_t steps)
{
    std::atomic<std::uint64_t>* count = nullptr;
    {
        const std::lock_guard lock(_insertion);
        count = &_perThread[thread];
    }
    count->fetch_add(steps, std::memory_order_relaxed);
}

std::uint64_t AsyncProgressManager::completedSteps()
{
    const std::lock_guard lock(_insertion);
    std::uint64_t sum = 0;
    for (const auto& [thread, count] : _perThread) {
        sum += count.load(std::memory_order_relaxed);
    }
    return sum;
}

void AsyncProgressManager::monitorProgress()
{
    if (!_monitor || _total == 0) {
        return;
    }
    for (;;) {
        const std::uint64_t done = completedSteps();
        _monitor->progress(static_cast<double>(done) / static_cast<double>(_total));
        if (_monitor->interruptRequested()) {
            _interrupted.store(true, std::memory_order_relaxed);
            _monitor->interruptAcknowledged();
            return;
        }
        if (shouldInterrupt()) {
            return;
        }
        if (_intervalMs > 0) {
            std::this_thread::sleep_until(std::chrono::steady_clock::now() +
                                          std::chrono::milliseconds(_intervalMs));
        }
        if (done >= _total) {
            return;
        }
    }
}

} // namespace zrk
