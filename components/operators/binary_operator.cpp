#include "components/operators/binary_operator.h"

#include "core/values/fault.h"
#include "model/graph_item.h"
#include "model/pins.h"

#include <algorithm>

namespace zrkmodel {

namespace {

constexpr const char* kNameKey = "op_name";
constexpr const char* kParametersKey = "op_params";

} // namespace

ZRKBinaryOperator::ZRKBinaryOperator() : _operation(findBinaryOperation("add")) {}

ZRKBinaryOperator::ZRKBinaryOperator(const ZRKBinaryOperator& other)
    : ZRKComponent(other), _operation(other._operation)
{}

ComponentIdentity ZRKBinaryOperator::identity()
{
    return {
        .className = "ZRKBinaryOperator",
        .typeName = "BinaryOperator",
        .uuid = "FD99F113-273B-43E6-8A40-D978F004230E",
        .icon = IconResources::comp_x_binary_operator,
        .strings = ZRKUIStrings::binary_operator(),
        .inputs = {Tag::Any}, // one, although there are two pins
        .outputs = {Tag::Any},
    };
}

void ZRKBinaryOperator::onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node)
{
    addInputPin(node, Tag::Any, "a");
    addInputPin(node, Tag::Any, "b");
    addOutputPin(node, Tag::Any, "a<>b");
}

Tag ZRKBinaryOperator::queryEffectiveOutputPinTag(const Pin_ref<1>& pin)
{
    const Tag a = effectiveTag(inputPin(pin.node, 0));
    const Tag b = effectiveTag(inputPin(pin.node, 1));
    return a == b ? a : Tag::None;
}

void ZRKBinaryOperator::onUpdateGraphItem(zrkui::ZRKExtensionBaseGraphItem* item,
                                          const ZRKNodeBase<0, ZRKGraphObject>&) const
{
    if (item) {
        item->setText(_operation.symbol);
    }
}

void ZRKBinaryOperator::onSerialize(ZRKSerialization& s) const
{
    ZRKComponent::onSerialize(s);
    s.write(_operation.name, kNameKey);
    writeNumbers(s, _operation.params.data(), _operation.params.size(), kParametersKey);
}

void ZRKBinaryOperator::onDeserialize(const ZRKDeserialization& d)
{
    ZRKComponent::onDeserialize(d);
    readOperation(d);
    readParameters(d);
}

void ZRKBinaryOperator::readOperation(const ZRKDeserialization& d)
{
    std::string name;
    const bool isThere = ZRKValueSerializer<std::string>::read(d, name, kNameKey);
    _operation = findBinaryOperation(name);
    if (_operation.name != name) {
        std::string expected = "one of";
        for (const std::string& known : operationNames()) {
            expected += " \"" + known + "\"";
        }
        d.refuse(kNameKey, isThere ? zrk::quotation(name) : "none", expected, "the node writes nothing");
    }
}

void ZRKBinaryOperator::readParameters(const ZRKDeserialization& d)
{
    const ZRKJson* stored = d.at(kParametersKey);
    if (!stored) {
        return;
    }
    BinaryOperation::Params params;
    if (!stored->is_array() || stored->size() != params.size()) {
        d.refuse(kParametersKey, "array of 4 numbers");
        return;
    }
    std::transform(stored->begin(), stored->end(), params.begin(),
                   [](const ZRKJson& number) { return number.get<double>(); });
    _operation.params = params;
}

zrk::Evaluation ZRKBinaryOperator::getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext&) const
{
    // The pin is a wildcard, so this asks the node's object, which is this one.
    const Tag tag = effectiveTag(pin);
    if (!_operation.factory) {
        return {};
    }
    return _operation.factory(tag, _operation.params, strengthA.value(), strengthB.value());
}

std::vector<std::string> ZRKBinaryOperator::operationNames()
{
    std::vector<std::string> names;
    for (const BinaryOperation& row : binaryOperations()) {
        names.push_back(row.name);
    }
    return names;
}

int ZRKBinaryOperator::operationIndex() const
{
    const auto& rows = binaryOperations();
    const auto found = std::find_if(
        rows.begin(), rows.end(), [this](const BinaryOperation& row) { return row.name == _operation.name; });
    return found == rows.end() ? -1 : static_cast<int>(found - rows.begin());
}

void ZRKBinaryOperator::selectOperation(int index)
{
    const auto& rows = binaryOperations();
    if (index < 0 || index >= static_cast<int>(rows.size())) {
        return;
    }
    _operation = rows[static_cast<std::size_t>(index)];
    emitChange({"op", this});
}

void ZRKBinaryOperator::setParameter(int index, double value)
{
    if (index < 0 || index >= static_cast<int>(_operation.paramNames.size())) {
        return;
    }
    _operation.params[static_cast<std::size_t>(index)] = value;
    emitChange({"op", this});
}

} // namespace zrkmodel
