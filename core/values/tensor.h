#pragma once

#include "core/values/scalar_math.h"

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>

namespace zrk {

/// Shape code of the 4-by-4 matrix: rank 2, sizes 4 and 4, not symmetric.
inline constexpr std::uint32_t kMatrix4 = 0x10000044;

/// Returns the number of components of a tensor with the given shape code.
///
/// A code below 16 is a plain vector of that length. In any other code, bits 28-30 hold the rank minus 1,
/// and bits 0-3, 4-7, 8-11 and 12-15 hold the sizes of the dimensions. Bit 31 marks a symmetric tensor,
/// which stores each distinct component once.
constexpr std::uint32_t componentCount(std::uint32_t code)
{
    if (code < 16) {
        return code;
    }
    const std::uint32_t rank = ((code >> 28) & 7u) + 1;
    const bool symmetric = (code >> 31) != 0;
    if (!symmetric) {
        std::uint32_t product = 1;
        for (std::uint32_t d = 0; d < rank; ++d) {
            // Only four sizes fit into a code; a higher dimension has size 0.
            product *= d < 4 ? (code >> (4 * d)) & 15u : 0u;
        }
        return product;
    }
    // A symmetric tensor has as many distinct components as the binomial coefficient of n + r - 1 over r.
    const std::uint64_t n = code & 15u;
    if (n == 0) {
        return 0;
    }
    std::uint64_t binomial = 1;
    for (std::uint64_t k = 1; k <= rank; ++k) {
        binomial = binomial * (n + k - 1) / k;
    }
    return static_cast<std::uint32_t>(binomial);
}

/// A tensor of fixed size with value semantics. N is a shape code (see componentCount).
///
/// A 4-by-4 matrix (kMatrix4) is stored column by column: the entry of row r and
/// column c stands at 4 * c + r.
template <std::uint32_t N, class T>
struct Tensor {
    static constexpr std::uint32_t shape = N;
    static constexpr std::size_t count = componentCount(N);
    using value_type = T;

    T components[count];

    constexpr T& operator[](std::size_t i) { return components[i]; }
    constexpr const T& operator[](std::size_t i) const { return components[i]; }

    constexpr T* begin() { return components; }
    constexpr T* end() { return components + count; }
    constexpr const T* begin() const { return components; }
    constexpr const T* end() const { return components + count; }
};

template <std::uint32_t N, class T>
constexpr bool operator==(const Tensor<N, T>& a, const Tensor<N, T>& b)
{
    for (std::size_t i = 0; i < Tensor<N, T>::count; ++i) {
        if (!(a[i] == b[i])) {
            return false;
        }
    }
    return true;
}

template <std::uint32_t N, class T>
constexpr Tensor<N, T> operator+(const Tensor<N, T>& a, const Tensor<N, T>& b)
{
    Tensor<N, T> sum{};
    for (std::size_t i = 0; i < Tensor<N, T>::count; ++i) {
        sum[i] = a[i] + b[i];
    }
    return sum;
}

template <std::uint32_t N, class T>
constexpr Tensor<N, T> operator-(const Tensor<N, T>& a, const Tensor<N, T>& b)
{
    Tensor<N, T> difference{};
    for (std::size_t i = 0; i < Tensor<N, T>::count; ++i) {
        difference[i] = a[i] - b[i];
    }
    return difference;
}

template <std::uint32_t N, class T>
constexpr Tensor<N, T> operator*(const Tensor<N, T>& a, const T& factor)
{
    Tensor<N, T> product{};
    for (std::size_t i = 0; i < Tensor<N, T>::count; ++i) {
        product[i] = a[i] * factor;
    }
    return product;
}

template <std::uint32_t N, class T>
constexpr Tensor<N, T> operator*(const T& factor, const Tensor<N, T>& a)
{
    return a * factor;
}

/// Returns the sum of the products of components, added in ascending order.
template <std::uint32_t N, class T>
constexpr T dot(const Tensor<N, T>& a, const Tensor<N, T>& b)
{
    T sum = a[0] * b[0];
    for (std::size_t i = 1; i < Tensor<N, T>::count; ++i) {
        sum = sum + a[i] * b[i];
    }
    return sum;
}

/// Returns the Euclidean length.
template <std::uint32_t N>
double length(const Tensor<N, double>& v)
{
    return std::sqrt(dot(v, v));
}

/// Returns the vector product a x b.
template <class T>
constexpr Tensor<3, T> cross(const Tensor<3, T>& a, const Tensor<3, T>& b)
{
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

/// Scales v to unit length in place and returns its old length.
/// A zero vector stays as it is, and 0 is returned without a division.
template <std::uint32_t N>
double normalize(Tensor<N, double>& v)
{
    const double length = std::sqrt(dot(v, v));
    if (length == 0.0) {
        return 0.0;
    }
    for (double& c : v) {
        c = c / length;
    }
    return length;
}

/// Returns v scaled to unit length, for every value type of a formula. A zero vector stays as it is.
template <std::uint32_t N, class V>
Tensor<N, V> normalized(const Tensor<N, V>& v)
{
    const V length = sqrt(dot(v, v));
    const auto isZero = length == V(0.0);
    Tensor<N, V> unit;
    for (std::size_t i = 0; i < Tensor<N, V>::count; ++i) {
        unit[i] = select(isZero, v[i], v[i] / length);
    }
    return unit;
}

} // namespace zrk
