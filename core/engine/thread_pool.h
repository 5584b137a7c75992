#pragma once

#include "core/engine/barrier.h"
#include "core/engine/schedule_point.h"

#include <atomic>
#include <cstddef>
#include <exception>
#include <functional>
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
        } catch (const std::exception&) {
            // The threads that were started do the work.
        }
        _ofThisThread = this;
    }
    ~ThreadPool()
    {
        _ofThisThread = _outer;
        begin(nullptr);
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
        _running.store(_threads.size(), std::memory_order_relaxed);
        begin(&task);
        task(0);
        while (const std::size_t running = _running.load(std::memory_order_acquire)) {
            waitWhileEqual(_running, running);
        }
        _task = nullptr;
    }

private:
    static inline thread_local ThreadPool* _ofThisThread = nullptr;

    ThreadPool* _outer = _ofThisThread;                      ///< the one that this thread made before
    const std::function<void(std::size_t)>* _task = nullptr; ///< null tells the threads to end
    alignas(64) std::atomic<unsigned> _round{0};             ///< number of tasks begun
    alignas(64) std::atomic<std::size_t> _running{0};        ///< threads that haven't finished the task
    std::vector<std::jthread> _threads;

    void begin(const std::function<void(std::size_t)>* task)
    {
        _task = task;
        schedulePoint();
        _round.fetch_add(1, std::memory_order_release);
        schedulePoint();
        _round.notify_all();
    }

    /// A thread that starts late holds up none of the others.
    void serve(std::size_t index)
    {
        for (unsigned round = 0;; ++round) {
            waitWhileEqual(_round, round);
            if (!_task) {
                return;
            }
            schedulePoint();
            (*_task)(index);
            if (_running.fetch_sub(1, std::memory_order_acq_rel) == 1) {
                schedulePoint();
                _running.notify_all();
            }
        }
    }
};

} // namespace zrk
