#pragma once

#include "core/engine/barrier.h"

#include <atomic>
#include <cstddef>
#include <functional>
#include <optional>
#include <system_error>
#include <thread>
#include <vector>

namespace zrk {

/// Threads that wait for tasks; the only place where this library starts threads.
///
/// While a pool lives, `runTeam` on the thread that made it uses its threads, if they are enough: handing
/// them a task takes about a microsecond, starting a thread some forty. So a function that runs many teams
/// one after the other makes a pool first.
///
/// A pool belongs to the thread that made it, which also destroys it, the last made first.
class ThreadPool {
public:
    /// A pool of `wanted` threads, the calling one among them. Where the system refuses to start more
    /// threads, the pool is smaller; at worst it is the calling thread alone.
    explicit ThreadPool(std::size_t wanted)
    {
        _threads.reserve(wanted);
        try {
            while (_threads.size() + 1 < wanted) {
                _threads.emplace_back([this, index = _threads.size() + 1] { serve(index); });
            }
        } catch (const std::system_error&) {
            // The threads that were started do the work.
        }
        _barrier.emplace(_threads.size() + 1);
        _isComplete = true;
        _isComplete.notify_all();
        _ofThisThread = this;
    }
    ~ThreadPool()
    {
        _ofThisThread = _outer;
        _task = nullptr;
        _barrier->wait();
    }
    ThreadPool(const ThreadPool&) = delete;
    ThreadPool& operator=(const ThreadPool&) = delete;

    /// The pool that the calling thread made last, or null if there is none or it is running a task.
    static ThreadPool* idle() { return _ofThisThread && !_ofThisThread->_task ? _ofThisThread : nullptr; }

    /// Number of threads, the owner's included.
    std::size_t size() const { return _threads.size() + 1; }

    /// Calls task(k) for each k below `size()`, each on its own thread and task(0) on the calling one, and
    /// returns when all are done. The task must not throw.
    void call(const std::function<void(std::size_t)>& task)
    {
        _task = &task;
        _barrier->wait();
        task(0);
        _barrier->wait();
        _task = nullptr;
    }

private:
    static inline thread_local ThreadPool* _ofThisThread = nullptr;

    ThreadPool* _outer = _ofThisThread;                      ///< the one that this thread made before
    const std::function<void(std::size_t)>* _task = nullptr; ///< null tells the threads to end
    std::optional<Barrier> _barrier;                         ///< made when the number of threads is known
    std::atomic<bool> _isComplete{false};
    std::vector<std::jthread> _threads;

    void serve(std::size_t index)
    {
        _isComplete.wait(false);
        for (_barrier->wait(); _task; _barrier->wait()) {
            (*_task)(index);
            _barrier->wait();
        }
    }
};

} // namespace zrk
