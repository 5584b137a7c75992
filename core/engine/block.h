#pragma once

#include "core/values/export.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <vector>

namespace zrk {

/// Number of samples of a block; a chain is computed block by block.
inline constexpr std::size_t kBlockSamples = 1024;

/// Length of a row in memory: a block and one cache line more. Rows at a distance of a power of two
/// would compete for the same cache sets.
inline constexpr std::size_t kRowLength = kBlockSamples + 8;

/// Length of the longest record, its weight included.
inline constexpr std::size_t kMaxRecord = 32;

/// The values of one component over a block. Blocks share rows: a node that forwards its input holds the
/// input's row.
struct Row {
    double* samples;
    std::int32_t users; ///< number of blocks and loops that hold the row
};

/// Lends rows. The row that was given back last is lent next, so that a chain works on the few rows that
/// are still in the cache. A pool and its rows belong to one thread.
class ZRK_API RowPool {
public:
    RowPool();
    ~RowPool();

    /// A row with one user, whose samples are whatever was in it before.
    Row* take()
    {
        if (_free.empty()) {
            grow();
        }
        Row* row = _free.back();
        _free.pop_back();
        row->users = 1;
        return row;
    }
    /// A row that holds `value` everywhere and nothing else as long as the pool lives; all who ask for the
    /// same bits share it.
    Row* constant(double value);
    /// Counts one more user.
    void share(Row* row) { ++row->users; }
    /// Counts one user less; without users the row may be lent again.
    void release(Row* row)
    {
        if (--row->users == 0) {
            _free.push_back(row);
        }
    }

private:
    struct Chunk;
    std::vector<std::unique_ptr<Chunk, void (*)(Chunk*)>> _chunks;
    std::vector<Row*> _free;
    struct ConstantRow;
    std::map<std::uint64_t, std::unique_ptr<ConstantRow>> _constants; ///< by bits

    void grow();

    friend class Block;
};

/// The values of one pin over a block of samples: a row for each component and one for the weights.
/// Rows may be read beyond the last sample, up to a whole vector; what stands there means nothing.
class ZRK_API Block {
public:
    /// The row of a component; zeros for a component that the pin doesn't have.
    const double* row(std::size_t component) const
    {
        return component < _componentCount ? _rows[component]->samples : zeroRow();
    }
    std::size_t componentCount() const { return _componentCount; }

    /// True if the weights are known to be 1 without a row that holds them.
    bool hasUnitWeight() const { return _weight == nullptr; }
    /// The row of weights; ones if `hasUnitWeight()`.
    const double* weights() const { return _weight ? _weight->samples : oneRow(); }

    static const double* zeroRow();
    static const double* oneRow();

private:
    std::size_t _componentCount = 0;
    Row* _weight = nullptr;
    std::array<Row*, kMaxRecord - 1> _rows{};

    friend class ChainBlocks;
    friend class BlockRun;
    friend class SourceRows;
};

} // namespace zrk
