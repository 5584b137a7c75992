#include "model/extension_base.h"

namespace zrkmodel {

namespace {

/// The field of one output of a graph's node.
template <std::uint32_t O>
class GraphField final : public zrk::FieldGenerator<O, 3> {
public:
    GraphField(std::shared_ptr<const ZRKExtensionBase> object, Pin_ref<1> pin)
        : _object(std::move(object)), _pin(std::move(pin))
    {}

    void build(zrk::EvaluatorBuilder<double>& builder) override
    {
        if (!builder.hostData().has_value()) {
            // Tags can't change while a chain is built, so each is found once.
            builder.hostData() = std::make_shared<EffectiveTagScope>();
        }
        _object->onBuildEvaluator(builder, _pin);
    }
    const zrk::FieldTypeDescriptor& descriptor() const override
    {
        static const zrk::FieldTypeDescriptor descriptor{O, 3, "graph node", {}};
        return descriptor;
    }
    zrk::FieldIdentity identity() const override { return {_object.get(), _pin.handle.index()}; }
    /// A node has one object, which can't be made anew: the clone is a field of the same pin.
    std::shared_ptr<zrk::IFieldGenerator> clone(bool) const override
    {
        return std::make_shared<GraphField>(_object, _pin);
    }

private:
    std::shared_ptr<const ZRKExtensionBase> _object;
    Pin_ref<1> _pin;
};

std::shared_ptr<ZRKFieldObject> fieldObject(const Pin_ref<1>& pin)
{
    return std::dynamic_pointer_cast<ZRKFieldObject>(pin.node.object());
}

/// What an input of a chain reads: its field, or its default while it is unconnected. Linked through
/// enclosing graphs, it is the outermost input that counts.
zrk::IField fieldOrDefault(const Pin_ref<1>& input)
{
    Pin_ref<1> outermost = input;
    for (Pin_ref<1> next = upstreamPin(input); next.isValid() && !next.handle.isOutput();
         next = upstreamPin(next)) {
        outermost = next;
    }
    const ZRKGraphPin& pin = *outermost.pin();
    if (pin.opt == ZRKPinOpt::DefaultValue && !pin.defaultValue.isEmpty() && !isConnected(outermost)) {
        return zrk::IField(std::make_shared<zrk::SolidField<1, 3>>(pin.defaultValue.components[0]));
    }
    return inputField(input.node, input.handle.index());
}

} // namespace

zrk::IField ZRKExtensionBase::realizeField(const ZRKNodeBase<1, ZRKGraphObject>& node,
                                           unsigned char outputIndex)
{
    const Pin_ref<1> pin = outputPin(node, outputIndex);
    auto self = std::dynamic_pointer_cast<const ZRKExtensionBase>(shared_from_this());
    return makeForTag(effectiveTag(pin), [&](auto n) {
        return zrk::IField(std::make_shared<GraphField<n()>>(std::move(self), pin));
    });
}

zrk::IField inputField(const ZRKNodeBase<1, ZRKGraphObject>& node, int k)
{
    const Pin_ref<1> input = inputPin(node, k);
    const auto* pin = input.pin();
    if (!pin) {
        return {};
    }
    const Pin_ref<1> upstream = upstreamPin(input);
    if (upstream.isValid()) {
        zrk::IField field;
        if (!upstream.handle.isOutput()) {
            field = inputField(upstream.node, upstream.handle.index());
        } else if (const auto object = fieldObject(upstream)) {
            field = object->realizeField(upstream.node, upstream.handle.index());
        }
        if (field) {
            return field;
        }
    }
    if (pin->allowsPassthrough()) {
        return zrk::IField(std::make_shared<zrk::PassThroughField<3>>());
    }
    return {};
}

std::optional<std::vector<ZRKExtensionBase::InputField>>
ZRKExtensionBase::collectInputFields(const ZRKNodeBase<1, ZRKGraphObject>& node)
{
    if (!node.isAlive()) {
        return std::nullopt;
    }
    std::vector<InputField> fields;
    for (std::size_t k = 0; k < node.record()->inputs.size(); ++k) {
        fields.push_back({inputField(node, static_cast<int>(k))});
    }
    return fields;
}

void ZRKExtensionBase::onBuildEvaluator(zrk::EvaluatorBuilder<double>& builder, const Pin_ref<1>& pin) const
{
    const auto graph = pin.node.graph();
    if (!graph || !pin.isValid()) {
        return;
    }
    builder.setEvaluator(getEvaluatorForPin(pin, graph->context()));
    const auto& inputs = pin.node.record()->inputs;
    std::vector<zrk::EvaluationNode*> arriving(inputs.size(), nullptr); // null where nothing does
    for (std::size_t k = 0; k < inputs.size(); ++k) {
        const zrk::IField field = fieldOrDefault({pin.node, inputs[k].handle});
        if (field) {
            const std::optional<std::size_t> at = coordinatesInput(k);
            arriving[k] = builder.addInput(field, at ? arriving[*at] : nullptr).get();
        } else {
            builder.addEmptyInput(std::max(1u, inputs[k].tag.components));
        }
    }
}

std::optional<std::size_t> ZRKExtensionBase::coordinatesInput(std::size_t) const { return std::nullopt; }

zrk::Field<1, 3> inputField(const Pin_ref<1>& pin) { return zrk::Field<1, 3>(inputField(pin.node, 0)); }

} // namespace zrkmodel
