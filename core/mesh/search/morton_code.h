#pragma once

#include "core/values/interleaved_bits.h"
#include "core/values/large_pages.h"

#include <cstdint>

namespace zrk {

/// Largest cell number along an axis.
inline constexpr double kMortonCells = 2097151.0;

/// Cell of a coordinate that has come `offset` of the way `extent` along an axis. An extent of zero gives 0.
inline std::uint32_t mortonCell(double offset, double extent)
{
    const double cell = offset * kMortonCells / extent;
    // False for NaN too.
    return cell > 0.0 ? static_cast<std::uint32_t>(cell < kMortonCells ? cell : kMortonCells) : 0;
}

/// The code of a primitive's centroid.
struct MortonCode {
    std::int32_t primitive;
    std::uint64_t code;
};

/// Sorts codes that stand in ascending order of their primitives by code and, for equal codes, by
/// primitive. Takes as much memory again while it runs, and several threads where there are many codes.
void sortByCode(LargeArray<MortonCode>& codes);

} // namespace zrk
