#include "core/mesh/search/morton_code.h"

#include "core/engine/parallel_loop.h"
#include "core/values/stop.h"

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

namespace zrk {

namespace {

constexpr int kDigitBits = 11;
constexpr std::size_t kDigits = std::size_t{1} << kDigitBits;
/// A radix sort goes by the upper bits, which hardly two of a million codes share; what is left is sorted
/// by comparisons.
constexpr int kLowestBit = 30;
constexpr int kHighestBit = 63;

std::size_t digitOf(const MortonCode& code, int lowestBit) { return code.code >> lowestBit & (kDigits - 1); }

/// Moves the codes to `sorted` in the order of one digit, equal digits in the order they have.
void sortByDigit(const LargeArray<MortonCode>& codes, LargeArray<MortonCode>& sorted, int lowestBit)
{
    const auto count = static_cast<std::int32_t>(codes.size());
    const std::int32_t threads = loopThreads(count);
    std::vector<std::vector<std::size_t>> places(static_cast<std::size_t>(threads),
                                                 std::vector<std::size_t>(kDigits, 0));
    const auto forEachChunk = [&](auto work) {
        parallelLoop({0, threads}, threads, [&](IndexRange chunks) {
            for (std::int32_t k = chunks.first; k < chunks.end; ++k) {
                const IndexRange chunk = chunkOf({0, count}, threads, k);
                std::vector<std::size_t>& placesOfChunk = places[static_cast<std::size_t>(k)];
                inPieces(chunk.first, chunk.end, [&](std::int32_t first, std::int32_t end) {
                    for (std::int32_t i = first; i < end; ++i) {
                        const MortonCode& code = codes[static_cast<std::size_t>(i)];
                        work(code, placesOfChunk[digitOf(code, lowestBit)]);
                    }
                });
            }
        });
    };
    forEachChunk([](const MortonCode&, std::size_t& frequency) { ++frequency; });
    std::size_t next = 0;
    for (std::size_t digit = 0; digit < kDigits; ++digit) {
        for (std::vector<std::size_t>& place : places) {
            next += std::exchange(place[digit], next);
        }
    }
    forEachChunk([&](const MortonCode& code, std::size_t& place) { sorted[place++] = code; });
}

} // namespace

void sortByCode(LargeArray<MortonCode>& codes)
{
    LargeArray<MortonCode> sorted(codes.size());
    for (int bit = kLowestBit; bit < kHighestBit; bit += kDigitBits) {
        sortByDigit(codes, sorted, bit);
        codes.swap(sorted);
    }
    StopLookout lookout;
    const auto isBefore = [&lookout](const MortonCode& a, const MortonCode& b) {
        lookout.step();
        return a.code != b.code ? a.code < b.code : a.primitive < b.primitive;
    };
    for (auto first = codes.begin(); first != codes.end();) {
        lookout.step();
        const std::uint64_t upperBits = first->code >> kLowestBit;
        const auto end = std::find_if(first + 1, codes.end(), [upperBits](const MortonCode& code) {
            return code.code >> kLowestBit != upperBits;
        });
        if (end - first > 1) {
            std::sort(first, end, isBefore);
        }
        first = end;
    }
}

} // namespace zrk
