#pragma once

#include "core/values/large_pages.h"
#include "core/values/tensor.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace zrk {

/// Records of one pin, one after the other: the components of the shape, then the weight.
template <class T>
struct SampleBufferData {
    std::uint32_t shape = 0;  ///< tensor code of the records
    std::vector<T> data;      ///< record i starts at i * stride
    std::uint64_t count = 0;  ///< number of records
    std::uint64_t stride = 1; ///< components of the shape plus 1

    SampleBufferData() = default;
    explicit SampleBufferData(std::uint32_t code) : shape(code), stride(componentCount(code) + 1u) {}

    /// Takes n records; those beyond the old count are zero.
    void resize(std::uint64_t n)
    {
        count = n;
        resizeInPieces(data, n * stride);
    }

    T* record(std::uint64_t i) { return data.data() + i * stride; }
    const T* record(std::uint64_t i) const { return data.data() + i * stride; }
};

} // namespace zrk
