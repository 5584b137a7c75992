#pragma once

#include "core/values/tensor.h"

#include <limits>

namespace zrk {

/// The corners of an axis-aligned box. A default one is empty: what is included in it is all there is. For
/// searches and bounds; `BBox` is the box of the interface to a host.
template <class T>
struct Box {
    static constexpr T kInfinity = std::numeric_limits<T>::infinity();

    Tensor<3, T> min{kInfinity, kInfinity, kInfinity};
    Tensor<3, T> max{-kInfinity, -kInfinity, -kInfinity};

    /// Grows to hold a point. A coordinate that is NaN changes nothing.
    void include(const Tensor<3, T>& p)
    {
        for (std::size_t i = 0; i < 3; ++i) {
            min[i] = p[i] < min[i] ? p[i] : min[i];
            max[i] = p[i] > max[i] ? p[i] : max[i];
        }
    }
    void include(const Box& other)
    {
        for (std::size_t i = 0; i < 3; ++i) {
            min[i] = other.min[i] < min[i] ? other.min[i] : min[i];
            max[i] = other.max[i] > max[i] ? other.max[i] : max[i];
        }
    }
    Tensor<3, T> size() const { return max - min; }
    /// Half of the surface.
    T halfArea() const
    {
        const Tensor<3, T> s = size();
        return s[0] * s[1] + s[1] * s[2] + s[2] * s[0];
    }
};

} // namespace zrk
