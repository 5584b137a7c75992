#pragma once

#include "core/engine/schedule_point.h"

#include <atomic>
#include <chrono>
#include <cstddef>
#include <thread>

namespace zrk {

/// Returns when the value is no longer `old`; whoever changes it also notifies it.
///
/// The calling thread first spins, since being woken takes tens of microseconds, then yields its processor,
/// and after 100 microseconds sleeps.
template <class T>
void waitWhileEqual(const std::atomic<T>& value, T old)
{
    schedulePoint();
    const auto start = std::chrono::steady_clock::now();
    while (value.load(std::memory_order_acquire) == old) {
        const auto waited = std::chrono::steady_clock::now() - start;
        if (waited > std::chrono::microseconds(100)) {
            schedulePoint();
            value.wait(old, std::memory_order_acquire);
        } else if (waited > std::chrono::microseconds(2)) {
            std::this_thread::yield(); // to a thread that has to share this processor
        }
    }
}

/// A point at which a fixed number of threads wait for each other, as often as they like.
class Barrier {
public:
    explicit Barrier(std::size_t threads) : _threads(threads), _missing(threads) {}

    /// Returns when all threads have called it. What each wrote before the call is seen by all afterwards.
    void wait()
    {
        const unsigned round = _round.load(std::memory_order_acquire);
        if (_missing.fetch_sub(1, std::memory_order_acq_rel) == 1) {
            schedulePoint();
            _missing.store(_threads, std::memory_order_relaxed);
            _round.fetch_add(1, std::memory_order_release);
            schedulePoint();
            _round.notify_all();
            return;
        }
        waitWhileEqual(_round, round);
    }

private:
    std::size_t _threads;
    alignas(64) std::atomic<std::size_t> _missing;
    alignas(64) std::atomic<unsigned> _round{0};
};

} // namespace zrk
