#pragma once

#include "core/engine/kernel.h"
#include "model/icons.h"
#include "model/tag.h"

#include <array>
#include <functional>
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
    std::function<zrk::Evaluation(Tag, const Params&, double, double)> factory{};
    std::vector<std::string> paramNames{}; ///< at most 4
    Params params{};                       ///< in the table the defaults; 0 where there is no parameter
    ZRKIcon icon{};
};

/// The operations, in the order in which panels list them. Made on first use; read-only afterwards.
const std::vector<BinaryOperation>& binaryOperations();

/// The row of this name; where there is none, the row of no operation, which stands outside the table.
const BinaryOperation& findBinaryOperation(std::string_view name);

} // namespace zrkmodel
