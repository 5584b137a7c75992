#include "frame/engine/block.h"

#include <algorithm>
#include <bit>

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

Row* RowPool::constant(double value)
{
    Row*& row = _constants[std::bit_cast<std::uint64_t>(value)];
    if (!row) {
        row = take();
        std::fill_n(row->samples, kRowLength, value);
    }
    share(row);
    return row;
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
