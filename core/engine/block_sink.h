#pragma once

#include "core/engine/block.h"
#include "core/engine/sample_buffer.h"
#include "core/values/export.h"

#include <cstddef>
#include <cstdint>

namespace zrk {

/// Takes the blocks of a sweep.
class ZRK_API BlockSink {
public:
    virtual ~BlockSink() = default;
    /// Takes the samples from `firstSample` on. One runner calls it in ascending order; several runners
    /// that share a sink call it at the same time, each with samples of its own.
    virtual void take(std::int32_t firstSample, std::size_t sampleCount, const Block& block) = 0;
};

/// Writes blocks as records of a buffer.
class ZRK_API BufferSink final : public BlockSink {
public:
    explicit BufferSink(SampleBufferData<double>& buffer) : _buffer(buffer) {}
    void take(std::int32_t firstSample, std::size_t sampleCount, const Block& block) override;

private:
    SampleBufferData<double>& _buffer;
};

} // namespace zrk
