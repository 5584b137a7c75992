#pragma once

#include <cstdint>
#include <exception>
#include <thread>
#include <vector>

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
    const auto processors = static_cast<std::int32_t>(std::thread::hardware_concurrency());
    return processors > 1 && count >= 2 * kWorthAThread ? processors : 1;
}

/// Calls body(IndexRange) for each chunk of the range, on a thread each, and returns when all are done.
/// The chunks depend on the range and `threadCount` alone, so `chunkOf` tells a body's place. With one
/// chunk everything runs on the calling thread. Of several exceptions that of the first chunk is thrown.
template <class Body>
void parallelLoop(IndexRange range, std::int32_t threadCount, const Body& body)
{
    if (range.count() <= 0) {
        return;
    }
    if (threadCount < 2 || range.count() == 1) {
        body(range);
        return;
    }
    std::vector<std::exception_ptr> failures(static_cast<std::size_t>(threadCount));
    {
        std::vector<std::jthread> threads;
        threads.reserve(failures.size());
        for (std::int32_t k = 0; k < threadCount; ++k) {
            const IndexRange chunk = chunkOf(range, threadCount, k);
            if (chunk.count() == 0) {
                break;
            }
            threads.emplace_back([&body, &failure = failures[static_cast<std::size_t>(k)], chunk] {
                try {
                    body(chunk);
                } catch (...) {
                    failure = std::current_exception();
                }
            });
        }
    }
    for (const std::exception_ptr& failure : failures) {
        if (failure) {
            std::rethrow_exception(failure);
        }
    }
}

} // namespace zrk
