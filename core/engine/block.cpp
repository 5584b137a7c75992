#include "core/engine/block.h"

#include "core/values/processor.h"

#include <algorithm>
#include <bit>

namespace zrk {

namespace {

constexpr std::size_t kRowsAChunk = 8;

} // namespace

/// The pool itself is a user, so that the row is never lent for other values.
struct alignas(64) RowPool::ConstantRow {
    double samples[kRowLength];
    Row row{samples, 1};
    explicit ConstantRow(double value) { std::fill(std::begin(samples), std::end(samples), value); }
};

RowPool::RowPool() { requireProcessor(); }
RowPool::~RowPool() = default;

struct RowPool::Chunk {
    alignas(64) double samples[kRowsAChunk][kRowLength] = {};
    Row rows[kRowsAChunk];
};

void RowPool::grow()
{
    // Zeros, so that a vector which reaches beyond the last sample reads numbers.
    _chunks.emplace_back(new Chunk(), [](Chunk* chunk) { delete chunk; });
    Chunk& chunk = *_chunks.back();
    for (std::size_t i = kRowsAChunk; i-- > 0;) {
        chunk.rows[i] = {chunk.samples[i], 0};
        _free.push_back(&chunk.rows[i]);
    }
}

Row* RowPool::constant(double value)
{
    std::unique_ptr<ConstantRow>& constant = _constants[std::bit_cast<std::uint64_t>(value)];
    if (!constant) {
        constant = std::make_unique<ConstantRow>(value);
    }
    share(&constant->row);
    return &constant->row;
}

const double* Block::zeroRow()
{
    static const RowPool::ConstantRow row(0.0);
    return row.samples;
}

const double* Block::oneRow()
{
    static const RowPool::ConstantRow row(1.0);
    return row.samples;
}

} // namespace zrk
