#pragma once

#include "core/engine/block.h"
#include "core/engine/evaluation_node.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace zrk {

/// The rows of a slot whose values come from a domain or a full buffer. They keep their place from block to
/// block, so that loops over them can be repeated.
class SourceRows {
public:
    /// Before the first block of a sweep: what the rows hold may belong to another domain.
    void forget() { _first = -1; }
    /// False if rows were taken, but for a domain with weights where this slot's has none, or the other way
    /// round.
    bool fitPositions(const EvaluationSlot& slot) const;

    /// The slot's positions as a block.
    void fillPositions(const EvaluationSlot& slot, std::int32_t first, std::size_t count, RowPool& pool,
                       Block& block);
    /// The records in the slot's buffer as a block.
    void fillRecords(const EvaluationSlot& slot, std::int32_t first, std::size_t count, RowPool& pool,
                     Block& block);

    /// Other samples in the rows that an earlier block has filled.
    void renewPositions(const EvaluationSlot& slot, std::int32_t first, std::size_t count);
    void renewRecords(const EvaluationSlot& slot, std::int32_t first, std::size_t count);

private:
    std::vector<Row*> _components;
    Row* _weight = nullptr;
    std::int32_t _first = -1; ///< first sample that the rows of positions hold, or -1
    std::size_t _count = 0;   ///< number of samples that they hold

    void takeComponents(std::size_t count, RowPool& pool);
    void share(RowPool& pool, Block& block) const;
};

} // namespace zrk
