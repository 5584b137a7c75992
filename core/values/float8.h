#pragma once

#include "core/values/eight_lanes.h"

#include <cmath>

namespace zrk {

/// Eight floats worked on together, for searches whose last word has a computation in double: what they
/// give may differ by rounding from one processor to the other.
class Float8 {
public:
    Float8() = default;

#if ZRK_EIGHT_LANES_AVX2
    Float8(float everywhere) : _v(_mm256_set1_ps(everywhere)) {}
    static Float8 load(const float* from) { return _mm256_loadu_ps(from); }
    void store(float* to) const { _mm256_storeu_ps(to, _v); }
    /// As `pack` below.
    void pack(Lanes8 lanes, float* to) const
    {
        _mm256_storeu_ps(to, _mm256_permutevar8x32_ps(_v, kLaneOrders.vectorOf(lanes)));
    }

    friend Float8 operator+(Float8 a, Float8 b) { return _mm256_add_ps(a._v, b._v); }
    friend Float8 operator-(Float8 a, Float8 b) { return _mm256_sub_ps(a._v, b._v); }
    friend Float8 operator*(Float8 a, Float8 b) { return _mm256_mul_ps(a._v, b._v); }
    friend Float8 operator/(Float8 a, Float8 b) { return _mm256_div_ps(a._v, b._v); }
    /// a * b + c
    friend Float8 fma(Float8 a, Float8 b, Float8 c) { return _mm256_fmadd_ps(a._v, b._v, c._v); }
    friend Float8 minimum(Float8 a, Float8 b) { return _mm256_min_ps(a._v, b._v); }
    friend Float8 maximum(Float8 a, Float8 b) { return _mm256_max_ps(a._v, b._v); }
    friend Float8 sqrt(Float8 a) { return _mm256_sqrt_ps(a._v); }
    friend Float8 abs(Float8 a) { return _mm256_andnot_ps(_mm256_set1_ps(-0.0f), a._v); }
    /// The lane of the smallest value; none may be NaN.
    friend int leastLane(Float8 a)
    {
        Float8 least = minimum(a, _mm256_permute2f128_ps(a._v, a._v, 0x01));
        least = minimum(least, _mm256_permute_ps(least._v, 0x4e));
        least = minimum(least, _mm256_permute_ps(least._v, 0xb1));
        return __builtin_ctz(lessOrEqual(a, least));
    }
    friend Lanes8 lessOrEqual(Float8 a, Float8 b) { return bits(_mm256_cmp_ps(a._v, b._v, _CMP_LE_OQ)); }
    /// x where a <= b, else y.
    friend Float8 selectLessOrEqual(Float8 a, Float8 b, Float8 x, Float8 y)
    {
        return _mm256_blendv_ps(y._v, x._v, _mm256_cmp_ps(a._v, b._v, _CMP_LE_OQ));
    }
    /// Each lane's value in the next one, and `first` in the first.
    friend Float8 shiftedUp(Float8 a, float first)
    {
        const __m256i from = _mm256_setr_epi32(7, 0, 1, 2, 3, 4, 5, 6);
        return _mm256_blend_ps(_mm256_permutevar8x32_ps(a._v, from), _mm256_set1_ps(first), 1);
    }
    /// Of all lanes, in any order.
    friend float sumOfLanes(Float8 a)
    {
        const __m128 four = _mm_add_ps(_mm256_castps256_ps128(a._v), _mm256_extractf128_ps(a._v, 1));
        const __m128 two = _mm_add_ps(four, _mm_movehl_ps(four, four));
        return _mm_cvtss_f32(_mm_add_ss(two, _mm_movehdup_ps(two)));
    }
    friend float largestLane(Float8 a)
    {
        const __m128 four = _mm_max_ps(_mm256_castps256_ps128(a._v), _mm256_extractf128_ps(a._v, 1));
        const __m128 two = _mm_max_ps(four, _mm_movehl_ps(four, four));
        return _mm_cvtss_f32(_mm_max_ss(two, _mm_movehdup_ps(two)));
    }

private:
    __m256 _v;

    Float8(__m256 v) : _v(v) {}
    static Lanes8 bits(__m256 mask) { return static_cast<Lanes8>(_mm256_movemask_ps(mask)); }
#else
    Float8(float everywhere)
    {
        for (float& lane : _v) {
            lane = everywhere;
        }
    }
    static Float8 load(const float* from)
    {
        return each([from](int i) { return from[i]; });
    }
    void store(float* to) const
    {
        for (int i = 0; i < kLanes; ++i) {
            to[i] = _v[i];
        }
    }
    void pack(Lanes8 lanes, float* to) const
    {
        for (int i = 0; i < kLanes; ++i) {
            to[i] = _v[kLaneOrders.of(lanes)[i]];
        }
    }

    friend Float8 operator+(const Float8& a, const Float8& b)
    {
        return each([&](int i) { return a._v[i] + b._v[i]; });
    }
    friend Float8 operator-(const Float8& a, const Float8& b)
    {
        return each([&](int i) { return a._v[i] - b._v[i]; });
    }
    friend Float8 operator*(const Float8& a, const Float8& b)
    {
        return each([&](int i) { return a._v[i] * b._v[i]; });
    }
    friend Float8 operator/(const Float8& a, const Float8& b)
    {
        return each([&](int i) { return a._v[i] / b._v[i]; });
    }
    friend Float8 fma(const Float8& a, const Float8& b, const Float8& c)
    {
        return each([&](int i) { return a._v[i] * b._v[i] + c._v[i]; });
    }
    friend Float8 minimum(const Float8& a, const Float8& b)
    {
        return each([&](int i) { return a._v[i] < b._v[i] ? a._v[i] : b._v[i]; });
    }
    friend Float8 maximum(const Float8& a, const Float8& b)
    {
        return each([&](int i) { return a._v[i] > b._v[i] ? a._v[i] : b._v[i]; });
    }
    friend Float8 sqrt(const Float8& a)
    {
        return each([&](int i) { return std::sqrt(a._v[i]); });
    }
    friend Float8 abs(const Float8& a)
    {
        return each([&](int i) { return std::abs(a._v[i]); });
    }
    friend int leastLane(const Float8& a)
    {
        int least = 0;
        for (int i = 1; i < kLanes; ++i) {
            least = a._v[i] < a._v[least] ? i : least;
        }
        return least;
    }
    friend Lanes8 lessOrEqual(const Float8& a, const Float8& b)
    {
        Lanes8 lanes = 0;
        for (int i = 0; i < kLanes; ++i) {
            lanes |= static_cast<Lanes8>(a._v[i] <= b._v[i]) << i;
        }
        return lanes;
    }
    friend Float8 selectLessOrEqual(const Float8& a, const Float8& b, const Float8& x, const Float8& y)
    {
        return each([&](int i) { return a._v[i] <= b._v[i] ? x._v[i] : y._v[i]; });
    }
    friend Float8 shiftedUp(const Float8& a, float first)
    {
        return each([&](int i) { return i == 0 ? first : a._v[i - 1]; });
    }
    friend float sumOfLanes(const Float8& a)
    {
        float sum = 0.0f;
        for (const float lane : a._v) {
            sum += lane;
        }
        return sum;
    }
    friend float largestLane(const Float8& a)
    {
        float largest = a._v[0];
        for (const float lane : a._v) {
            largest = lane > largest ? lane : largest;
        }
        return largest;
    }

private:
    float _v[kLanes];

    template <class Lane>
    static Float8 each(Lane lane)
    {
        Float8 result;
        for (int i = 0; i < kLanes; ++i) {
            result._v[i] = lane(i);
        }
        return result;
    }
#endif
};

/// Eight vectors.
struct Float8Vector {
    Float8 x;
    Float8 y;
    Float8 z;

    /// From three rows of `kLanes` floats.
    static Float8Vector load(const float (&rows)[3][kLanes])
    {
        return {Float8::load(rows[0]), Float8::load(rows[1]), Float8::load(rows[2])};
    }
    friend Float8Vector operator+(const Float8Vector& a, const Float8Vector& b)
    {
        return {a.x + b.x, a.y + b.y, a.z + b.z};
    }
    friend Float8Vector operator*(const Float8Vector& a, Float8 factor)
    {
        return {a.x * factor, a.y * factor, a.z * factor};
    }
    friend Float8Vector operator-(const Float8Vector& a, const Float8Vector& b)
    {
        return {a.x - b.x, a.y - b.y, a.z - b.z};
    }
    friend Float8 dot(const Float8Vector& a, const Float8Vector& b)
    {
        return fma(a.x, b.x, fma(a.y, b.y, a.z * b.z));
    }
    friend Float8Vector cross(const Float8Vector& a, const Float8Vector& b)
    {
        return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
    }
    /// a - factor * b
    friend Float8Vector minusScaled(const Float8Vector& a, Float8 factor, const Float8Vector& b)
    {
        const Float8 minus = Float8(0.0f) - factor;
        return {fma(minus, b.x, a.x), fma(minus, b.y, a.y), fma(minus, b.z, a.z)};
    }
};

/// A value in the first `count` lanes, zero in the others.
inline Float8 inFirstLanes(int count, Float8 value)
{
    static constexpr float kNumbers[kLanes] = {0, 1, 2, 3, 4, 5, 6, 7};
    return selectLessOrEqual(Float8::load(kNumbers), static_cast<float>(count - 1), value, 0.0f);
}

} // namespace zrk
