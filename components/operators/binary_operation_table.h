#pragma once

#include "core/engine/kernel.h"
#include "model/icons.h"
#include "model/tag.h"

#include <array>
#include <span>
#include <string_view>

namespace zrkmodel {

/// One row of the operation table of ZRKBinaryOperator.
struct BinaryOperation {
    using Params = std::array<double, 4>;

    std::string_view name;        ///< key of the row, in documents and in lists
    std::string_view symbol;      ///< shown on the node
    std::string_view description; ///< long name
    /// The evaluator for a tag, parameters and the strengths of a and b; an empty one for a
    /// tag that can't be combined. Null in the row of no operation.
    zrk::Evaluation (*factory)(Tag, const Params&, double, double) = nullptr;
    std::span<const std::string_view> paramNames{}; ///< at most 4
    Params params{}; ///< in the table the defaults; 0 where there is no parameter
    ZRKIcon icon{};
};

/// The operations, in the order in which panels list them. Constant-initialised.
std::span<const BinaryOperation> binaryOperations();

/// The row of this name; where there is none, the row of no operation, which stands outside the table.
const BinaryOperation& findBinaryOperation(std::string_view name);

} // namespace zrkmodel
