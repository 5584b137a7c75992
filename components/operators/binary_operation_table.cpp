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

constexpr std::string_view kBlendParams[] = {"blend factor"};

// The symbol of blend is four bytes, an alpha encoded twice: stored graphs carry it so.
constinit const BinaryOperation kOperations[] = {
    {"add", "+", "addition", plain<zrk::Addition>},
    {"maximum", "max", "maximum", plain<zrk::Maximum>},
    {"subtract", "-", "subtraction", plain<zrk::Subtraction>},
    {"multiply", "x", "multiplication", plain<zrk::Multiplication>},
    {"blend", "\xC3\x8E\xC2\xB1", "blend", blend, kBlendParams, {0.5}},
    {"minimum", "min", "minimum", plain<zrk::Minimum>},
};

constinit const BinaryOperation kNoOperation{"noop", ":(", "invalid operation"};

} // namespace

std::span<const BinaryOperation> binaryOperations() { return kOperations; }

const BinaryOperation& findBinaryOperation(std::string_view name)
{
    const auto found = std::find_if(std::begin(kOperations), std::end(kOperations),
                                    [name](const BinaryOperation& row) { return row.name == name; });
    return found == std::end(kOperations) ? kNoOperation : *found;
}

} // namespace zrkmodel
