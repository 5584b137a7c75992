#pragma once

#include "core/engine/progress.h"
#include "core/engine/thread_pool.h"
#include "core/engine/worker_team.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <exception>
#include <thread>

namespace zrk::picture {

/// The threads that draw a picture, and whoever follows them. The monitor is asked on the thread that made
/// this object only; the other threads see a flag.
class PictureWork {
public:
    /// @param threads  0 for as many as there are processors.
    /// @param monitor  not owned; may be null.
    PictureWork(std::size_t threads, ProgressMonitor* monitor)
        : _pool(workerCount(threads)), _monitor(monitor), _owner(std::this_thread::get_id())
    {}

    std::size_t threads() const { return _pool.size(); }

    /// Begins a stage that takes so much of the whole work, 0 to 1.
    void beginStage(double share)
    {
        _done += _share;
        _share = share;
    }

    /// False once the monitor has interrupted. Cheap; from any of the threads.
    bool keepsGoing()
    {
        if (_isStopped.load(std::memory_order_relaxed)) {
            return false;
        }
        if (_monitor && std::this_thread::get_id() == _owner && _monitor->interruptRequested()) {
            _monitor->interruptAcknowledged();
            _isStopped.store(true, std::memory_order_relaxed);
            return false;
        }
        return true;
    }

    /// Calls body(k, worker) for each k below `count`; each thread takes the next k when it is done with one.
    /// Returns whether all was done; throws again what a body threw.
    template <class Body>
    bool forEach(std::size_t count, const Body& body)
    {
        std::atomic<std::size_t> next{0};
        std::atomic<std::size_t> finished{0};
        runTeam(std::clamp<std::size_t>(count, 1, threads()), [&](std::size_t worker, std::size_t workers) {
            const Finish finish(*this, finished);
            for (std::size_t k = next++; k < count && keepsGoing(); k = next++) {
                body(k, worker);
                if (worker == 0 && _monitor) {
                    report(static_cast<double>(k + 1) / static_cast<double>(count));
                }
            }
            if (worker == 0) {
                waitFor(finished, workers - 1);
            }
        });
        return keepsGoing();
    }

private:
    ThreadPool _pool;
    ProgressMonitor* _monitor;
    std::thread::id _owner;
    std::atomic<bool> _isStopped{false};
    double _done = 0;
    double _share = 0;
    double _reported = 0; ///< never falls, though a stage may have several loops

    /// Counts a thread that is done, and stops the others if it threw.
    class Finish {
    public:
        Finish(PictureWork& work, std::atomic<std::size_t>& finished) : _work(work), _finished(finished) {}
        ~Finish()
        {
            if (std::uncaught_exceptions() > _exceptions) {
                _work._isStopped.store(true, std::memory_order_relaxed);
            }
            _finished.fetch_add(1, std::memory_order_release);
        }
        Finish(const Finish&) = delete;
        Finish& operator=(const Finish&) = delete;

    private:
        PictureWork& _work;
        std::atomic<std::size_t>& _finished;
        int _exceptions = std::uncaught_exceptions();
    };

    void report(double part)
    {
        _reported = std::max(_reported, std::min(1.0, _done + _share * part));
        _monitor->progress(_reported);
    }

    /// The others may still be at work for long; meanwhile the monitor is asked.
    void waitFor(const std::atomic<std::size_t>& finished, std::size_t others)
    {
        constexpr int kShortWaits = 200;
        for (int i = 0; _monitor && finished.load(std::memory_order_acquire) < others; ++i) {
            keepsGoing();
            if (i < kShortWaits) {
                std::this_thread::yield();
            } else {
                std::this_thread::sleep_for(std::chrono::microseconds(500));
            }
        }
    }
};

} // namespace zrk::picture
