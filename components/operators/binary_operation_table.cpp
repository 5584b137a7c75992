#include "components/operators/binary_operation_table.h"

#include "components/operators/binary_operator_formula.h"
#include "core/engine/formula.h"

#include <cstdint>

namespace zrkmodel {

namespace {

using Params = BinaryOperation::Params;

std::uint64_t fnv1a(std::string_view text)
{
    std::uint64_t hash = 0xcbf29ce484222325;
    for (const char c : text) {
        hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3;
    }
    return hash;
}

std::size_t bucketOf(std::string_view name) { return fnv1a(name) % 8; }

template <class Operation>
zrk::Evaluation combination(Tag tag, const Operation& operation, double strengthA, double strengthB)
{
    return makeForTag(tag, [&](auto n) {
        return zrk::evaluator(zrk::BinaryCombination<Operation, n()>{strengthA, strengthB, operation});
    });
}

/// A row without parameters.
template <class Operation>
BinaryOperation plainRow(const char* name, const char* symbol, const char* description)
{
    const auto factory = [](Tag tag, const Params&, double strengthA, double strengthB) {
        return combination(tag, Operation{}, strengthA, strengthB);
    };
    return {name, symbol, description, factory, {}, {}, {}};
}

BinaryOperation blendRow()
{
    const auto factory = [](Tag tag, const Params& params, double strengthA, double strengthB) {
        return combination(tag, zrk::Blend{params[0]}, strengthA, strengthB);
    };
    // Four bytes, an alpha encoded twice: stored graphs carry it so.
    return {"blend", "\xC3\x8E\xC2\xB1", "blend", factory, {"blend factor"}, {0.5}, {}};
}

} // namespace

const BinaryOperationTable& BinaryOperationTable::instance()
{
    static const BinaryOperationTable table;
    return table;
}

const BinaryOperation& BinaryOperationTable::noOperation()
{
    static const BinaryOperation row{"noop", ":(", "invalid operation", {}, {}, {}, {}};
    return row;
}

BinaryOperationTable::BinaryOperationTable()
{
    _firstOfBucket.fill(_rows.end());
    insert(plainRow<zrk::Addition>("add", "+", "addition"));
    insert(plainRow<zrk::Subtraction>("subtract", "-", "subtraction"));
    insert(plainRow<zrk::Multiplication>("multiply", "x", "multiplication"));
    insert(blendRow());
    insert(plainRow<zrk::Minimum>("minimum", "min", "minimum"));
    insert(plainRow<zrk::Maximum>("maximum", "max", "maximum"));
}

void BinaryOperationTable::insert(BinaryOperation row)
{
    Rows::iterator& first = _firstOfBucket[bucketOf(row.name)];
    first = _rows.insert(first, std::move(row));
}

const BinaryOperation& BinaryOperationTable::find(std::string_view name) const
{
    const std::size_t bucket = bucketOf(name);
    for (Rows::const_iterator row = _firstOfBucket[bucket];
         row != _rows.end() && bucketOf(row->name) == bucket; ++row) {
        if (row->name == name) {
            return *row;
        }
    }
    return noOperation();
}

std::vector<std::string> BinaryOperationTable::names() const
{
    std::vector<std::string> names;
    for (const BinaryOperation& row : _rows) {
        names.push_back(row.name);
    }
    return names;
}

} // namespace zrkmodel
