#include "core/values/large_pages.h"

#if defined(__linux__)
#include <sys/mman.h>
#endif

#include <cstdint>

namespace zrk {

void wishLargePages([[maybe_unused]] void* memory, [[maybe_unused]] std::size_t bytes)
{
#if defined(__linux__)
    constexpr std::uintptr_t kLargePage = std::uintptr_t{1} << 21;
    const auto begin = reinterpret_cast<std::uintptr_t>(memory);
    const std::uintptr_t end = begin + bytes;
    const std::uintptr_t first = (begin + kLargePage - 1) / kLargePage * kLargePage;
    const std::uintptr_t last = end / kLargePage * kLargePage;
    if (first < last) {
        // The result is ignored: where large pages aren't granted, ordinary ones do.
        madvise(reinterpret_cast<void*>(first), last - first, MADV_HUGEPAGE);
    }
#endif
}

} // namespace zrk
