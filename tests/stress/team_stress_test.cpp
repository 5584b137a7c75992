#include "core/engine/parallel_loop.h"
#include "core/engine/worker_team.h"
#include "core/values/fault.h"
#include "tests/stress/stress.h"

#include <memory>
#include <numeric>
#include <stdexcept>

namespace zrk {
namespace {

using zrktest::ForcedSchedules;
using zrktest::Stress;

std::size_t drawn(std::mt19937& random, std::size_t most) { return 1 + random() % most; }

/// A team whose members each add what they are given; the sum isn't atomic, so that a return before all are
/// done is a wrong sum, and a race.
void expectSum(std::size_t wanted)
{
    std::vector<std::size_t> sums(wanted, 0);
    runTeam(wanted, [&](std::size_t worker, std::size_t workers) {
        for (std::size_t k = worker; k < wanted; k += workers) {
            sums[k] += k + 1;
        }
    });
    ASSERT_EQ(std::accumulate(sums.begin(), sums.end(), std::size_t{0}), wanted * (wanted + 1) / 2);
}

TEST(TeamStress, DoesAllWorkOnceInAnySchedule)
{
    const ForcedSchedules schedules;
    Stress stress;
    stress.add(3, [](std::mt19937& random) {
        // Teams of their own, then several of one pool, some larger than it, and one within another.
        expectSum(drawn(random, 5));
        const ThreadPool pool(drawn(random, 4));
        for (std::size_t left = drawn(random, 6); left > 0; --left) {
            expectSum(drawn(random, 5));
        }
        runTeam(2, [](std::size_t, std::size_t) { expectSum(2); });
        const ThreadPool inner(2);
        expectSum(2);
    });
    stress.run();
}

TEST(TeamStress, PassesExceptionsOnAndGoesOn)
{
    const ForcedSchedules schedules;
    Stress stress;
    stress.add(3, [](std::mt19937& random) {
        const ThreadPool pool(4);
        const std::size_t failing = random() % 4;
        std::atomic<std::size_t> begun{0};
        try {
            runTeam(4, [&](std::size_t worker, std::size_t) {
                ++begun;
                if (worker >= failing) {
                    throw std::runtime_error(std::to_string(worker));
                }
            });
            ADD_FAILURE() << "nothing was thrown";
        } catch (const std::runtime_error& error) {
            EXPECT_EQ(error.what(), std::to_string(failing)) << "the lowest number's";
        }
        EXPECT_EQ(begun, 4u);
        expectSum(4);
    });
    stress.run();
}

TEST(TeamStress, EndsSoonWhenItIsInterruptedOrFails)
{
    const ForcedSchedules schedules;
    Stress stress;
    stress.add(2, [](std::mt19937& random) {
        const std::size_t steps = 200;
        const std::size_t failing = random() % 3 == 0 ? random() % steps : steps;
        zrktest::ImpatientMonitor monitor(random() % 8);
        std::atomic<std::size_t> next{0};
        const auto work = [&](std::size_t, std::size_t, ProgressManager& manager) {
            for (std::size_t k = next++; k < steps; k = next++) {
                if (manager.shouldInterrupt()) {
                    return false;
                }
                if (k == failing) {
                    throw std::runtime_error("failed");
                }
                std::this_thread::sleep_for(std::chrono::microseconds(20));
                manager.notifyProgressUpdate(std::this_thread::get_id(), 1);
            }
            return true;
        };
        bool isFinished = false;
        try {
            isFinished = runReportedTeam(3, {.monitor = &monitor, .total = steps, .intervalMs = 1}, work);
        } catch (const std::runtime_error&) {
            EXPECT_LT(failing, steps);
        }
        EXPECT_TRUE(!isFinished || next >= steps);
    });
    stress.run();
}

TEST(TeamStress, StopsTheWorkOfItsThreadAlone)
{
    const ForcedSchedules schedules;
    Stress stress;
    stress.add(2, [](std::mt19937& random) {
        StopSign stop;
        std::jthread raiser([&stop, after = random() % 500] {
            std::this_thread::sleep_for(std::chrono::microseconds(after));
            stop.raise();
        });
        const StopScope scope(stop);
        const auto stopped = attempt("work", [] {
            for (;;) {
                parallelTasks(64, 3, [](std::int32_t) { std::this_thread::yield(); });
            }
        });
        EXPECT_EQ(stopped.error().kind, FaultKind::Interrupted);
    });
    // Beside them one that nobody stops.
    stress.add(1, [](std::mt19937&) {
        std::atomic<int> done{0};
        parallelTasks(64, 3, [&](std::int32_t) { ++done; });
        EXPECT_EQ(done, 64);
    });
    stress.run();
}

TEST(TeamStress, BarriersHoldEverybody)
{
    const ForcedSchedules schedules;
    Stress stress;
    stress.add(2, [](std::mt19937&) {
        constexpr std::size_t kMembers = 4;
        std::vector<std::size_t> rounds(kMembers, 0);
        runTeam(kMembers,
                [&, barrier = std::make_shared<Barrier>(kMembers)](std::size_t member, std::size_t members) {
                    if (members < kMembers) {
                        return; // the system has no more threads
                    }
                    for (std::size_t round = 1; round <= 8; ++round) {
                        rounds[member] = round;
                        barrier->wait();
                        for (const std::size_t other : rounds) {
                            EXPECT_EQ(other, round);
                        }
                        barrier->wait();
                    }
                });
    });
    stress.run();
}

} // namespace
} // namespace zrk
