#pragma once

#include "core/engine/progress.h"
#include "core/engine/schedule_point.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdlib>
#include <exception>
#include <functional>
#include <random>
#include <thread>
#include <vector>

namespace zrktest {

/// How long each test goes on: a second, or ZRK_STRESS_SECONDS.
inline std::chrono::milliseconds stressTime()
{
    const char* const seconds = std::getenv("ZRK_STRESS_SECONDS");
    return std::chrono::milliseconds(seconds ? 1000 * std::atoi(seconds) : 1000);
}

/// Calls work(thread, random) on several threads until the time is over, and returns when all have ended.
/// What one throws fails the test. Each thread has random numbers of its own, the same in every run, though
/// the schedule is the system's.
class Stress {
public:
    using Work = std::function<void(std::mt19937&)>;

    /// Adds threads that do this, each at least once.
    void add(std::size_t threads, const Work& work)
    {
        for (std::size_t i = 0; i < threads; ++i) {
            _works.push_back(work);
        }
    }

    void run()
    {
        const auto end = std::chrono::steady_clock::now() + stressTime();
        std::vector<std::jthread> threads;
        for (std::size_t i = 0; i < _works.size(); ++i) {
            threads.emplace_back([this, i, end] {
                std::mt19937 random(static_cast<std::uint32_t>(i + 1));
                try {
                    do {
                        _works[i](random);
                    } while (std::chrono::steady_clock::now() < end && !_hasFailed);
                } catch (const std::exception& error) {
                    _hasFailed = true;
                    ADD_FAILURE() << "thread " << i << ": " << error.what();
                }
            });
        }
    }

private:
    std::vector<Work> _works;
    std::atomic<bool> _hasFailed{false};
};

/// While one lives, threads that hand work to each other now and then wait in between, so that they meet in
/// orders that are rare otherwise.
class ForcedSchedules {
public:
    ForcedSchedules() { zrk::atSchedulePoint = wait; }
    ~ForcedSchedules() { zrk::atSchedulePoint = nullptr; }

private:
    static void wait()
    {
        thread_local std::minstd_rand random(
            static_cast<std::uint32_t>(std::hash<std::thread::id>()(std::this_thread::get_id())));
        switch (random() % 16) {
        case 0:
            // Longer than a thread spins before it sleeps.
            std::this_thread::sleep_for(std::chrono::microseconds(random() % 400));
            break;
        case 1:
        case 2:
        case 3:
            std::this_thread::yield();
            break;
        default:
            break;
        }
    }
};

/// Interrupts after so many questions.
class ImpatientMonitor final : public zrk::ProgressMonitor {
public:
    explicit ImpatientMonitor(std::size_t patience) : _patience(patience) {}
    void progress(double) override {}
    bool interruptRequested() override { return _patience == 0 || --_patience == 0; }

private:
    std::size_t _patience;
};

} // namespace zrktest
