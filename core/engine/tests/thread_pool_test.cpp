#include "core/engine/parallel_loop.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <set>
#include <stdexcept>
#include <thread>
#include <vector>

namespace zrk {
namespace {

/// How often each number of a range was worked on by a loop, and on which threads.
struct Tally {
    std::vector<int> counts;
    std::set<std::thread::id> threads;
    std::mutex mutex;

    explicit Tally(std::size_t count) : counts(count, 0) {}
    void add(std::int32_t k)
    {
        const std::lock_guard lock(mutex);
        ++counts[static_cast<std::size_t>(k)];
        threads.insert(std::this_thread::get_id());
    }
    bool isOnceEach() const
    {
        return std::all_of(counts.begin(), counts.end(), [](int count) { return count == 1; });
    }
};

void add(IndexRange range, Tally& tally)
{
    for (std::int32_t k = range.first; k < range.end; ++k) {
        tally.add(k);
    }
}

TEST(ThreadPool, DoesWhatTeamsOfItsThreadDo)
{
    std::set<std::thread::id> seen;
    const ThreadPool pool(3);
    for (int round = 0; round < 200; ++round) {
        Tally loop(10);
        parallelLoop({0, 10}, 3, [&](IndexRange range) { add(range, loop); });
        ASSERT_TRUE(loop.isOnceEach());
        Tally tasks(7);
        parallelTasks(7, 2, [&](std::int32_t k) { tasks.add(k); });
        ASSERT_TRUE(tasks.isOnceEach());
        seen.insert(loop.threads.begin(), loop.threads.end());
        seen.insert(tasks.threads.begin(), tasks.threads.end());
    }
    // Threads started for each loop would be hundreds.
    EXPECT_EQ(seen.size(), pool.size());
}

// A team inside of another has workers of its own; waiting for those at work would never end.
TEST(ThreadPool, LeavesTeamsInsideAndLargerOnesAlone)
{
    const ThreadPool pool(2);
    Tally inside(12);
    parallelLoop({0, 2}, 2, [&](IndexRange outer) {
        parallelLoop({6 * outer.first, 6 * outer.end}, 2, [&](IndexRange range) { add(range, inside); });
    });
    EXPECT_TRUE(inside.isOnceEach());
    Tally larger(5);
    parallelLoop({0, 5}, 5, [&](IndexRange range) { add(range, larger); });
    EXPECT_TRUE(larger.isOnceEach());
    {
        const ThreadPool second(3);
        Tally tally(3);
        parallelLoop({0, 3}, 3, [&](IndexRange range) { add(range, tally); });
        EXPECT_TRUE(tally.isOnceEach());
    }
    Tally after(2);
    parallelLoop({0, 2}, 2, [&](IndexRange range) { add(range, after); });
    EXPECT_TRUE(after.isOnceEach());
}

TEST(ThreadPool, ThrowsWhatAWorkerThrewAndGoesOn)
{
    const ThreadPool pool(2);
    for (const std::int32_t thrower : {0, 1}) {
        EXPECT_THROW(parallelLoop({0, 2}, 2,
                                  [&](IndexRange range) {
                                      if (range.first == thrower) {
                                          throw std::runtime_error("fault");
                                      }
                                  }),
                     std::runtime_error);
    }
    std::atomic<std::int32_t> sum{0};
    parallelTasks(100, 2, [&](std::int32_t k) { sum += k; });
    EXPECT_EQ(sum, 4950);
}

} // namespace
} // namespace zrk
