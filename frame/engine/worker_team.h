#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <exception>
#include <system_error>
#include <thread>
#include <vector>

namespace zrk {

/// The processors' number, or the number asked for if that isn't 0.
inline std::size_t workerCount(std::size_t wanted)
{
    return wanted > 0 ? wanted : std::max<std::size_t>(1, std::thread::hardware_concurrency());
}

/// Runs work(worker, workers) once for each of so many workers, at the same time, the first on this
/// thread, and waits for all. Where the system grants fewer threads, there are fewer workers. Throws
/// again what the first of them threw.
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
    {
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
