#pragma once

#include "core/engine/progress.h"
#include "core/engine/thread_pool.h"
#include "core/engine/worker_team.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
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
    /// Returns whether all was done.
    template <class Body>
    bool forEach(std::size_t count, const Body& body)
    {
        std::atomic<std::size_t> next{0};
        runTeam(std::clamp<std::size_t>(count, 1, threads()), [&](std::size_t worker, std::size_t) {
            for (std::size_t k = next++; k < count && keepsGoing(); k = next++) {
                body(k, worker);
                if (worker == 0 && _monitor) {
                    const double part = static_cast<double>(k + 1) / static_cast<double>(count);
                    _reported = std::max(_reported, std::min(1.0, _done + _share * part));
                    _monitor->progress(_reported);
                }
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
};

} // namespace zrk::picture
