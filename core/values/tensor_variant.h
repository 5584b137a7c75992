#pragma once

#include "core/values/tensor.h"

#include <cstdint>
#include <vector>

namespace zrk {

/// A tensor whose shape is only known at run time. Shape 0 means that it is empty.
template <class T>
struct TensorVariant {
    std::uint32_t shape = 0;
    std::vector<T> components;

    TensorVariant() = default;
    explicit TensorVariant(const T& scalar) : shape(1), components{scalar} {}
    template <std::uint32_t N>
    explicit TensorVariant(const Tensor<N, T>& tensor) : shape(N), components(tensor.begin(), tensor.end())
    {}

    bool isEmpty() const { return shape == 0; }
    friend bool operator==(const TensorVariant&, const TensorVariant&) = default;
};

} // namespace zrk
