#include "core/engine/progress.h"

#include <chrono>

namespace zrk {

void ProgressManager::notifyProgressUpdate(std::thread::id, std::size_t steps)
{
    completed += steps;
    if (monitor) {
        monitor->progress(static_cast<double>(completed) / static_cast<double>(total));
    }
}

bool ProgressManager::shouldInterrupt()
{
    if (monitor && monitor->interruptRequested()) {
        monitor->interruptAcknowledged();
        return true;
    }
    return false;
}

void AsyncProgressManager::notifyProgressUpdate(std::thread::id thread, std::size_t steps)
{
    std::atomic<std::uint64_t>* count = nullptr;
    {
        const std::lock_guard lock(_insertion);
        count = &perThread[thread];
    }
    count->fetch_add(steps, std::memory_order_relaxed);
}

std::uint64_t AsyncProgressManager::completedSteps()
{
    const std::lock_guard lock(_insertion);
    std::uint64_t sum = 0;
    for (const auto& [thread, count] : perThread) {
        sum += count.load(std::memory_order_relaxed);
    }
    return sum;
}

void AsyncProgressManager::monitorProgress()
{
    if (!monitor || total == 0) {
        return;
    }
    for (;;) {
        const std::uint64_t done = completedSteps();
        monitor->progress(static_cast<double>(done) / static_cast<double>(total));
        if (monitor->interruptRequested()) {
            interrupted.store(true, std::memory_order_relaxed);
            monitor->interruptAcknowledged();
            return;
        }
        if (shouldInterrupt()) {
            return;
        }
        if (intervalMs > 0) {
            std::this_thread::sleep_until(std::chrono::steady_clock::now() +
                                          std::chrono::milliseconds(intervalMs));
        }
        if (done >= total) {
            return;
        }
    }
}

} // namespace zrk
