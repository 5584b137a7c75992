#pragma once

#include "core/values/tensor.h"

namespace zrk {

/// A field times a constant, in every component.
template <std::uint32_t N>
struct Scaling {
    double factor;

    template <class V>
    Tensor<N, V> operator()(const Tensor<N, V>& a) const
    {
        return a * V(factor);
    }
};

/// A field times a constant and a scalar field, whose weight is left out of account.
template <std::uint32_t N>
struct ScalingByField {
    double factor;

    template <class V>
    Tensor<N, V> operator()(const Tensor<N, V>& a, const V& b) const
    {
        return a * V(factor * b);
    }
};

} // namespace zrk
