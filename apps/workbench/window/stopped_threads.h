#pragma once

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

namespace zrkworkbench {

/// Threads whose work was stopped, and that may take long to notice: a read from a slow disk ends when it
/// ends. Nobody waits for them before the program does.
class StoppedThreads {
public:
    StoppedThreads() = default;
    StoppedThreads(const StoppedThreads&) = delete;
    StoppedThreads& operator=(const StoppedThreads&) = delete;
    /// Waits for all.
    ~StoppedThreads()
    {
        for (Stopped& stopped : _all) {
            stopped.thread.join();
        }
    }

    /// @param job  what the thread works at, with an `std::atomic<bool> isDone`. It is let go in this thread.
    template <class Job>
    void add(std::thread thread, std::shared_ptr<Job> job)
    {
        const std::atomic<bool>& isDone = job->isDone;
        _all.push_back({std::move(thread), {std::move(job), &isDone}});
    }
    /// Lets go of those that have ended.
    void clear()
    {
        std::erase_if(_all, [](Stopped& stopped) {
            const bool isDone = stopped.isDone->load(std::memory_order_acquire);
            if (isDone) {
                stopped.thread.join();
            }
            return isDone;
        });
    }
    bool isEmpty() const { return _all.empty(); }

private:
    struct Stopped {
        std::thread thread;
        std::shared_ptr<const std::atomic<bool>> isDone; ///< of the job, which it holds
    };
    std::vector<Stopped> _all;
};

} // namespace zrkworkbench
