#pragma once

#include "core/engine/worker_team.h"
#include "core/values/stop.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>

namespace zrk {

/// The integers from `first` up to, and without, `end`.
struct IndexRange {
    std::int32_t first = 0;
    std::int32_t end = 0;

    std::int32_t count() const { return end - first; }
};

/// The k-th of `chunkCount` parts of a range: of equal length, but for the first few, which have one more.
inline IndexRange chunkOf(IndexRange range, std::int32_t chunkCount, std::int32_t k)
{
    const std::int32_t size = range.count() / chunkCount;
    const std::int32_t longer = range.count() % chunkCount;
    const std::int32_t first = k < longer ? range.first + k * (size + 1) : range.first + k * size + longer;
    return {first, first + size + (k < longer ? 1 : 0)};
}

/// Threads worth starting for `count` elements of a loop whose body is short.
inline std::int32_t loopThreads(std::int32_t count)
{
    constexpr std::int32_t kWorthAThread = 32768;
    const auto processors = static_cast<std::int32_t>(workerCount(0));
    return processors > 1 && count >= 2 * kWorthAThread ? processors : 1;
}

/// Calls body(IndexRange) for each chunk of the range, on a thread each where the system grants them, and
/// returns when all are done. The chunks depend on the range and `threadCount` alone, so `chunkOf` tells a
/// body's place. With one chunk everything runs on the calling thread. Throws again what a body threw.
template <class Body>
void parallelLoop(IndexRange range, std::int32_t threadCount, const Body& body)
{
    const std::int32_t chunks = std::min(std::max(threadCount, 1), range.count());
    runTeam(static_cast<std::size_t>(std::max(chunks, 1)), [&](std::size_t worker, std::size_t workers) {
        for (auto k = static_cast<std::int32_t>(worker); k < chunks;
             k += static_cast<std::int32_t>(workers)) {
            body(chunkOf(range, chunks, k));
        }
    });
}

/// Parts that `count` elements are worth being cut into for `parallelTasks`: several a thread, so that a
/// thread that is held up leaves its share to the others.
inline std::int32_t taskCount(std::int32_t count, std::int32_t threadCount)
{
    constexpr std::int32_t kPerThread = 16;
    return threadCount > 1 ? std::clamp(count, 1, kPerThread * threadCount) : 1;
}

/// Calls body(k) for each k below `count`, on up to so many threads, each of which takes the next k when
/// it is done with one: for work of unequal length. Returns when all are done; throws again what a body
/// threw. Looks for a request to stop before each call.
template <class Body>
void parallelTasks(std::int32_t count, std::int32_t threadCount, const Body& body)
{
    std::atomic<std::int32_t> next{0};
    runTeam(static_cast<std::size_t>(std::clamp(count, 1, std::max(threadCount, 1))),
            [&](std::size_t, std::size_t) {
                for (std::int32_t k = next++; k < count; k = next++) {
                    stopIfAsked();
                    body(k);
                }
            });
}

} // namespace zrk
