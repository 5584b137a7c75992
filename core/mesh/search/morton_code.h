#pragma once

#include "core/values/large_pages.h"

#include <array>
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

/// The Morton code of three numbers of 21 bits: their bits interleaved, x in bit 0, y in bit 1, z in bit 2
/// and so on. Cells whose codes are near each other are near each other in space.
///
/// Source: Morton, "A computer oriented geodetic data base and a new technique in file sequencing", IBM,
/// 1966.
inline std::uint64_t interleave(std::uint32_t x, std::uint32_t y, std::uint32_t z)
{
    static constexpr auto kSpread = [] {
        std::array<std::uint32_t, 256> table{};
        for (std::uint32_t byte = 0; byte < 256; ++byte) {
            for (std::uint32_t bit = 0; bit < 8; ++bit) {
                table[byte] |= (byte >> bit & 1u) << (3 * bit);
            }
        }
        return table;
    }();
    std::uint64_t code = 0;
    for (const int shift : {16, 8, 0}) {
        const std::uint64_t bytes = kSpread[x >> shift & 255u] |
                                    std::uint64_t{kSpread[y >> shift & 255u]} << 1 |
                                    std::uint64_t{kSpread[z >> shift & 255u]} << 2;
        code = code << 24 | bytes;
    }
    return code;
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
