#pragma once

#include "core/engine/kernel.h"
#include "model/icons.h"
#include "model/tag.h"

#include <array>
#include <functional>
#include <list>
#include <string>
#include <string_view>
#include <vector>

namespace zrkmodel {

/// One row of the operation table of ZRKBinaryOperator.
struct BinaryOperation {
    using Params = std::array<double, 4>;

    std::string name;        ///< key of the row, in documents and in lists
    std::string symbol;      ///< shown on the node
    std::string description; ///< long name
    /// The evaluator for a tag, parameters and the strengths of a and b; an empty one for a
    /// tag that can't be combined. Empty in the row of no operation.
    std::function<zrk::Evaluation(Tag, const Params&, double, double)> factory;
    std::vector<std::string> paramNames; ///< at most 4
    Params params{};                     ///< in the table the defaults; 0 where there is no parameter
    ZRKIcon icon;
};

/// The operations by name: a hash map keyed by the name's 64-bit FNV-1a hash, in 8 buckets.
///
/// Its order, in which panels list the names, follows from the hashes: a new row goes to the
/// end, or before the first row of its bucket. Read-only after construction, and so safe from
/// many threads.
class BinaryOperationTable {
public:
    /// The process's one table, filled at the first call.
    static const BinaryOperationTable& instance();
    /// The row of no operation, which stands outside the table.
    static const BinaryOperation& noOperation();

    /// The row of this name; the row of no operation if there is none.
    const BinaryOperation& find(std::string_view name) const;
    /// Names in the order of the table.
    std::vector<std::string> names() const;

private:
    using Rows = std::list<BinaryOperation>;

    Rows _rows;
    std::array<Rows::iterator, 8> _firstOfBucket;

    BinaryOperationTable();
    void insert(BinaryOperation row);
};

} // namespace zrkmodel
