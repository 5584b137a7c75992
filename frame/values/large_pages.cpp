#include "frame/values/large_pages.h"

#if defined(__linux__)
#include <sys/mman.h>
#endif

#include <cstdint>

namespace zrk {

void wishLargePages([[maybe_unused]] double* values, [[maybe_unused]] std::size_t count)
{
#if defined(__linux__)
    constexpr std::uintptr_t kLargePage = std::uintptr_t{1} << 21;
    const auto begin = reinterpret_cast<std::uintptr_t>(values);
    const auto end = reinterpret_cast<std::uintptr_t>(values + count);
    const std::uintptr_t first = (begin + kLargePage - 1) / kLargePage * kLargePage;
    const std::uintptr_t last = end / kLargePage * kLargePage;
    if (first < last) {
        // A wish only; where it isn't granted, ordinary pages do.
        madvise(reinterpret_cast<void*>(first), last - first, MADV_HUGEPAGE);
    }
#endif
}

void reserveOnLargePages(std::vector<double>& values, std::size_t count)
{
    values.reserve(count);
    wishLargePages(values.data() + values.size(), values.capacity() - values.size());
}

} // namespace zrk
