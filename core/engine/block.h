#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <vector>

namespace zrk {

/// Samples that one pass through a chain computes together.
inline constexpr std::size_t kBlockSamples = 1024;

/// Doubles of a row: a block and one cache line more. Rows at a power-of-two distance
/// would compete for the same cache sets.
inline constexpr std::size_t kRowLength = kBlockSamples + 8;

/// Longest record, components and weight together.
inline constexpr std::size_t kMaxRecord = 32;

/// One component of one pin over a block. Rows are shared: a node that forwards its
/// input holds the input's row. `users` counts the holders; only the owning context,
/// and so one thread, touches it. The counts lie together, apart from the samples.
struct Row {
    double* samples;
    std::int32_t users;
};

/// Hands out rows and takes them back, most recently used first, so that a chain works
/// on the few rows that are still in the cache.
class RowPool {
public:
    RowPool();
    ~RowPool();

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
    /// The row of one number, shared by all who ask for that number. It is filled at once, so it is none
    /// that a loop still to be run could read or write.
    Row* constant(double value);
    void share(Row* row) { ++row->users; }
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

/// Values of one pin over a block of samples, as a kernel reads them: a row a component
/// and a row of weights. Values beyond the block's last sample, up to a whole vector,
/// may be read and mean nothing.
class Block {
public:
    /// Row of a component; one that the pin doesn't have reads as zeros.
    const double* row(std::size_t component) const
    {
        return component < _componentCount ? _rows[component]->samples : zeroRow();
    }
    std::size_t componentCount() const { return _componentCount; }

    /// True when the weight of every sample is 1; then there is no row of weights to read.
    bool hasUnitWeight() const { return _weight == nullptr; }
    /// Row of weights, of ones where all are 1.
    const double* weights() const { return _weight ? _weight->samples : oneRow(); }

    static const double* zeroRow();
    static const double* oneRow();

private:
    std::size_t _componentCount = 0;
    Row* _weight = nullptr;
    std::array<Row*, kMaxRecord - 1> _rows{};

    friend class BlockEngine;
    friend class BlockRun;
};

} // namespace zrk
