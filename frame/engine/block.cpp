#include "frame/engine/block.h"

#include <algorithm>

namespace zrk {

namespace {

constexpr std::size_t kRowsAChunk = 8;

struct alignas(64) ConstantRow {
    double samples[kRowLength];
    explicit ConstantRow(double value) { std::fill(std::begin(samples), std::end(samples), value); }
};

} // namespace

struct RowPool::Chunk {
    alignas(64) double samples[kRowsAChunk][kRowLength] = {};
    Row rows[kRowsAChunk];
};

void RowPool::grow()
{
    // Value-initialised: a vector that reaches beyond the last sample reads defined numbers.
    _chunks.emplace_back(new Chunk(), [](Chunk* chunk) { delete chunk; });
    Chunk& chunk = *_chunks.back();
    for (std::size_t i = kRowsAChunk; i-- > 0;) {
        chunk.rows[i] = {chunk.samples[i], 0};
        _free.push_back(&chunk.rows[i]);
    }
}

const double* Block::zeroRow()
{
    static const ConstantRow row(0.0);
    return row.samples;
}

const double* Block::oneRow()
{
    static const ConstantRow row(1.0);
    return row.samples;
}

} // namespace zrk
