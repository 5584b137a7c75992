#pragma once

#include <atomic>

namespace zrk {

/// What threads of this library call between the steps by which they hand work to each other. Tests set one
/// that waits, so that the threads meet in orders that a machine seldom has; null, as it is otherwise, costs
/// a load. It must not throw.
inline constinit std::atomic<void (*)()> atSchedulePoint{nullptr};

inline void schedulePoint()
{
    if (void (*const wait)() = atSchedulePoint.load(std::memory_order_relaxed)) {
        wait();
    }
}

} // namespace zrk
