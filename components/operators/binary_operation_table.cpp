#include "components/operators/binary_operation_table.h"

#include "components/operators/binary_operator_formula.h"
#include "core/engine/formula.h"

#include <algorithm>

namespace zrkmodel {

namespace {

using Params = BinaryOperation::Params;

template <class Operation>
zrk::Evaluation combination(Tag tag, const Operation& operation, double strengthA, double strengthB)
{
    return makeForTag(tag, [&](auto n) {
        return zrk::evaluator(zrk::BinaryCombination<Operation, n()>{strengthA, strengthB, operation});
    });
}

template <class Operation>
zrk::Evaluation plain(Tag tag, const Params&, double strengthA, double strengthB)
{
    return combination(tag, Operation{}, strengthA, strengthB);
}

zrk::Evaluation blend(Tag tag, const Params& params, double strengthA, double strengthB)
{
    return combination(tag, zrk::Blend{params[0]}, strengthA, strengthB);
}

} // namespace

const std::vector<BinaryOperation>& binaryOperations()
{
    // The symbol of blend is four bytes, an alpha encoded twice: stored graphs carry it so.
    static const std::vector<BinaryOperation> operations{
        {"add", "+", "addition", plain<zrk::Addition>},
        {"maximum", "max", "maximum", plain<zrk::Maximum>},
        {"subtract", "-", "subtraction", plain<zrk::Subtraction>},
        {"multiply", "x", "multiplication", plain<zrk::Multiplication>},
        {"blend", "\xC3\x8E\xC2\xB1", "blend", blend, {"blend factor"}, {0.5}},
        {"minimum", "min", "minimum", plain<zrk::Minimum>},
    };
    return operations;
}

const BinaryOperation& findBinaryOperation(std::string_view name)
{
    static const BinaryOperation noOperation{"noop", ":(", "invalid operation"};
    const std::vector<BinaryOperation>& rows = binaryOperations();
    const auto found = std::find_if(rows.begin(), rows.end(),
                                    [name](const BinaryOperation& row) { return row.name == name; });
    return found == rows.end() ? noOperation : *found;
}

} // namespace zrkmodel
