#include "core/engine/block_sink.h"

namespace zrk {

namespace {

/// Writes a row as one component of records.
void scatter(const double* row, std::size_t count, double* target, std::size_t stride)
{
    for (std::size_t i = 0; i < count; ++i) {
        target[i * stride] = row[i];
    }
}

} // namespace

void BufferSink::take(std::int32_t firstSample, std::size_t sampleCount, const Block& block)
{
    const std::size_t n = _buffer.stride - 1;
    double* records = _buffer.record(static_cast<std::uint64_t>(firstSample));
    for (std::size_t c = 0; c < n; ++c) {
        scatter(block.row(c), sampleCount, records + c, n + 1);
    }
    scatter(block.weights(), sampleCount, records + n, n + 1);
}

} // namespace zrk
