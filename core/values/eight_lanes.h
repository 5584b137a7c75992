#pragma once

#include <cstdint>

#if ZRK_SIMD && defined(__AVX2__) && defined(__FMA__)
#define ZRK_EIGHT_LANES_AVX2 1
#include <immintrin.h>
#else
#define ZRK_EIGHT_LANES_AVX2 0
#endif

namespace zrk {

/// Lanes of a `Float8` and of a `Double8`; also the children of a node and the most primitives of a leaf of a
/// `BoxTree`.
inline constexpr int kLanes = 8;

/// A truth value for each of eight lanes, the first in bit 0.
using Lanes8 = std::uint32_t;

/// For each set of lanes these lanes one after the other, then zeros.
class LaneOrders {
public:
    constexpr LaneOrders()
    {
        for (unsigned lanes = 0; lanes < 1u << kLanes; ++lanes) {
            for (unsigned lane = 0, place = 0; lane < kLanes; ++lane) {
                if ((lanes >> lane & 1u) != 0) {
                    _orders[lanes][place++] = static_cast<std::uint8_t>(lane);
                }
            }
        }
    }
    const std::uint8_t* of(Lanes8 lanes) const { return _orders[lanes]; }
#if ZRK_EIGHT_LANES_AVX2
    __m256i vectorOf(Lanes8 lanes) const
    {
        return _mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(of(lanes))));
    }
#endif

private:
    std::uint8_t _orders[1u << kLanes][kLanes] = {};
};
inline constexpr LaneOrders kLaneOrders;

/// Calls use(lane) for each lane that holds, in ascending order.
template <class Use>
void forEachLane(Lanes8 lanes, Use use)
{
    for (; lanes != 0; lanes &= lanes - 1) {
        use(__builtin_ctz(lanes));
    }
}

/// Writes the values of the lanes that hold one after the other to `to`, and returns how many. What stands
/// behind them changes too, up to the eighth value of `to`, which mustn't overlap `from`.
inline int pack(Lanes8 lanes, const std::int32_t* from, std::int32_t* to)
{
#if ZRK_EIGHT_LANES_AVX2
    const __m256i values = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(to),
                        _mm256_permutevar8x32_epi32(values, kLaneOrders.vectorOf(lanes)));
#else
    for (int i = 0; i < kLanes; ++i) {
        to[i] = from[kLaneOrders.of(lanes)[i]];
    }
#endif
    return __builtin_popcount(lanes);
}

} // namespace zrk
