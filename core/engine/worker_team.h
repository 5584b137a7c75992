#pragma once

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <exception>
#include <functional>
#include <optional>
#include <system_error>
#include <thread>
#include <vector>

namespace zrk {

/// The processors' number, or the number asked for if that isn't 0.
inline std::size_t workerCount(std::size_t wanted)
{
    return wanted > 0 ? wanted : std::max<std::size_t>(1, std::thread::hardware_concurrency());
}

/// Where the workers of a team wait for each other, time and again. They first wait awake, as being woken
/// takes tens of microseconds, then asleep, so that a worker without a processor isn't kept from one.
class MeetingPoint {
public:
    explicit MeetingPoint(std::size_t workers) : _workers(workers), _missing(workers) {}

    /// Returns when all workers have called it. What they wrote before is seen by all after.
    void wait()
    {
        const unsigned round = _round.load(std::memory_order_acquire);
        if (_missing.fetch_sub(1, std::memory_order_acq_rel) == 1) {
            _missing.store(_workers, std::memory_order_relaxed);
            _round.fetch_add(1, std::memory_order_release);
            _round.notify_all();
            return;
        }
        const auto start = std::chrono::steady_clock::now();
        while (_round.load(std::memory_order_acquire) == round) {
            const auto waited = std::chrono::steady_clock::now() - start;
            if (waited > std::chrono::microseconds(100)) {
                _round.wait(round, std::memory_order_acquire);
            } else if (waited > std::chrono::microseconds(2)) {
                std::this_thread::yield(); // to a worker that has to share this processor
            }
        }
    }

private:
    std::size_t _workers;
    alignas(64) std::atomic<std::size_t> _missing;
    alignas(64) std::atomic<unsigned> _round{0};
};

/// Workers that stay. While it lives, what its thread runs on a team runs on these workers where they are
/// enough: calling them takes about a microsecond, starting threads some forty. For a thread that runs many
/// teams one after the other. Made and destroyed on the same thread, the last made first.
class StandingTeam {
public:
    /// With so many workers, or fewer where the system grants fewer threads.
    explicit StandingTeam(std::size_t wanted)
    {
        _threads.reserve(wanted);
        try {
            while (_threads.size() + 1 < wanted) {
                _threads.emplace_back([this, worker = _threads.size() + 1] { serve(worker); });
            }
        } catch (const std::exception&) {
        }
        _meetingPoint.emplace(_threads.size() + 1);
        _isComplete = true;
        _isComplete.notify_all();
        _ofThisThread = this;
    }
    ~StandingTeam()
    {
        _ofThisThread = _before;
        _task = nullptr;
        _meetingPoint->wait();
    }
    StandingTeam(const StandingTeam&) = delete;
    StandingTeam& operator=(const StandingTeam&) = delete;

    /// The calling thread's, if it isn't at work.
    static StandingTeam* idle() { return _ofThisThread && !_ofThisThread->_task ? _ofThisThread : nullptr; }
    std::size_t size() const { return _threads.size() + 1; }

    /// Calls task(worker), which must not throw, for each worker, and waits for all.
    void call(const std::function<void(std::size_t)>& task)
    {
        _task = &task;
        _meetingPoint->wait();
        task(0);
        _meetingPoint->wait();
        _task = nullptr;
    }

private:
    static inline thread_local StandingTeam* _ofThisThread = nullptr;

    StandingTeam* _before = _ofThisThread;
    const std::function<void(std::size_t)>* _task = nullptr; ///< none: the workers go home
    std::optional<MeetingPoint> _meetingPoint;
    std::atomic<bool> _isComplete{false};
    std::vector<std::jthread> _threads;

    void serve(std::size_t worker)
    {
        _isComplete.wait(false);
        for (_meetingPoint->wait(); _task; _meetingPoint->wait()) {
            (*_task)(worker);
            _meetingPoint->wait();
        }
    }
};

/// Runs work(worker, workers) once for each of so many workers, at the same time, the first on this
/// thread, and waits for all. Where the system grants fewer threads, there are fewer workers. Throws
/// again what the first of them threw. A `StandingTeam` of this thread does the work if it is large enough.
template <class Work>
void runTeam(std::size_t wanted, const Work& work)
{
    std::vector<std::exception_ptr> failures(std::max<std::size_t>(1, wanted));
    std::atomic<std::size_t> workers{0}; // known once all are started
    const auto run = [&](std::size_t worker) {
        workers.wait(0);
        try {
            work(worker, workers.load());
        } catch (...) {
            failures[worker] = std::current_exception();
        }
    };
    StandingTeam* const standing = StandingTeam::idle();
    if (failures.size() == 1 || (standing && standing->size() >= failures.size())) {
        workers = failures.size();
    }
    if (failures.size() == 1) {
        run(0);
    } else if (workers > 0) {
        standing->call([&](std::size_t worker) {
            if (worker < failures.size()) {
                run(worker);
            }
        });
    } else {
        std::vector<std::jthread> threads;
        threads.reserve(failures.size() - 1);
        try {
            while (threads.size() + 1 < failures.size()) {
                threads.emplace_back(run, threads.size() + 1);
            }
        } catch (const std::system_error&) {
        }
        workers = threads.size() + 1;
        workers.notify_all();
        run(0);
    }
    for (const std::exception_ptr& failure : failures) {
        if (failure) {
            std::rethrow_exception(failure);
        }
    }
}

} // namespace zrk
