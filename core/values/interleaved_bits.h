#pragma once

#include <array>
#include <cstdint>

namespace zrk {

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

} // namespace zrk
