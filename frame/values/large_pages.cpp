#include "frame/values/large_pages.h"

#if defined(__linux__)
#include <sys/mman.h>
#endif

#include <cstdint>

namespace zrk {

void reserveOnLargePages(std::vector<double>& values, std::size_t count)
{
    values.reserve(count);
#if defined(__linux__)
    constexpr std::uintptr_t kLargePage = std::uintptr_t{1} << 21;
    const auto begin = reinterpret_cast<std::uintptr_t>(values.data() + values.size());
    const auto end = reinterpret_cast<std::uintptr_t>(values.data() + values.capacity());
    const std::uintptr_t first = (begin + kLargePage - 1) / kLargePage * kLargePage;
    const std::uintptr_t last = end / kLargePage * kLargePage;
    if (first < last) {
        // A wish only; where it isn't granted, ordinary pages do.
        madvise(reinterpret_cast<void*>(first), last - first, MADV_HUGEPAGE);
    }
#endif
}

} // namespace zrk
