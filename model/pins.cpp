#include "model/pins.h"

#include "model/graph_object.h"

#include <unordered_map>
#include <utility>

namespace zrkmodel {

namespace {

using Node = ZRKNodeBase<0, ZRKGraphObject>;
constexpr std::size_t kMaxPins = 256;

Pin_ref<1> addPin(const Node& node, bool isOutput, const ZRKGraphPinData& data)
{
    ZRKGraphNode* record = node.isAlive() ? node.record() : nullptr;
    if (!record) {
        return {};
    }
    auto& pins = isOutput ? record->outputs : record->inputs;
    if (pins.size() >= kMaxPins) {
        return {};
    }
    const auto index = static_cast<std::uint8_t>(pins.size());
    const Pin_handle handle =
        isOutput ? Pin_handle::output(record->id, index) : Pin_handle::input(record->id, index);
    pins.emplace_back(data, handle);
    return {node, handle};
}

Pin_ref<1> pinOf(const ZRKNodeBase<1, ZRKGraphObject>& node, bool isOutput, int k)
{
    if (k < 0 || k >= static_cast<int>(kMaxPins)) {
        return {};
    }
    const auto index = static_cast<std::uint8_t>(k);
    const Pin_ref<1> pin{node, isOutput ? Pin_handle::output(node.id(), index)
                                        : Pin_handle::input(node.id(), index)};
    return pin.isValid() ? pin : Pin_ref<1>{};
}

/// What the pins' objects answered, by record and handle, while a scope lives.
struct Answers {
    using Key = std::pair<const ZRKGraphNode*, std::uint32_t>;
    struct Hash {
        std::size_t operator()(const Key& key) const
        {
            return std::hash<const void*>()(key.first) * 257 + (key.second >> 16);
        }
    };
    std::unordered_map<Key, Tag, Hash> tags;
    int scopes = 0;
};

/// Null outside of all scopes. Not the answers themselves: where memory fails while a thread notes that it
/// has something to destroy, the system's library ends the program.
thread_local Answers* answers = nullptr;

Answers::Key keyOf(const Pin_ref<1>& pin) { return {pin.node.record(), pin.handle.bits}; }

/// Outputs that the object may ask about in order to answer: those linked to its wildcard inputs.
std::vector<Pin_ref<1>> outputsBehind(const Pin_ref<1>& output)
{
    std::vector<Pin_ref<1>> found;
    for (const ZRKGraphPin& input : output.node.record()->inputs) {
        if (input.tag == Tag::Any) {
            const Pin_ref<1> upstream = upstreamPin({output.node, input.handle});
            if (upstream.isValid() && upstream.handle.isOutput()) {
                found.push_back(upstream);
            }
        }
    }
    return found;
}

/// Asks the object of an output, after those of all outputs it depends on.
Tag askObject(const Pin_ref<1>& output)
{
    struct Step {
        Pin_ref<1> output;
        bool isExpanded = false;
    };
    std::vector<Step> steps{{output}};
    while (!steps.empty()) {
        const Pin_ref<1> current = steps.back().output;
        if (!steps.back().isExpanded) {
            steps.back().isExpanded = true;
            // Known from now on, so that no foreign graph with a cycle can trap us.
            if (!answers->tags.emplace(keyOf(current), Tag::None).second) {
                steps.pop_back();
                continue;
            }
            for (Pin_ref<1>& upstream : outputsBehind(current)) {
                steps.push_back({std::move(upstream)});
            }
            continue;
        }
        steps.pop_back();
        if (const auto& object = current.node.object()) {
            answers->tags[keyOf(current)] = object->queryEffectiveOutputPinTag(current);
        }
    }
    return answers->tags[keyOf(output)];
}

} // namespace

Pin_ref<1> addInputPin(const Node& node, Tag tag, const std::string& name)
{
    return addPin(node, false, {tag, name, ZRKPinOpt::None, std::nullopt, {}});
}

Pin_ref<1> addCoordinatesPin(const Node& node, Tag tag, const std::string& name)
{
    return addPin(node, false, {tag, name, ZRKPinOpt::Coordinates, std::nullopt, {}});
}

Pin_ref<1> addDefaultedInputPin(const Node& node, Tag tag, const std::string& name, double value)
{
    const zrk::TensorVariant<double> defaultValue(value);
    return addPin(node, false, {tag, name, ZRKPinOpt::DefaultValue, std::nullopt, defaultValue});
}

Pin_ref<1> addOutputPin(const Node& node, Tag tag, const std::string& name)
{
    return addPin(node, true, {tag, name, ZRKPinOpt::None, std::nullopt, {}});
}

Pin_ref<1> inputPin(const ZRKNodeBase<1, ZRKGraphObject>& node, int k) { return pinOf(node, false, k); }

Pin_ref<1> outputPin(const ZRKNodeBase<1, ZRKGraphObject>& node, int k) { return pinOf(node, true, k); }

Pin_ref<1> upstreamPin(const Pin_ref<1>& input)
{
    const auto graph = input.isValid() && !input.handle.isOutput() ? input.node.graph() : nullptr;
    return graph ? Pin_ref<1>(graph->upstream(input.handle)) : Pin_ref<1>{};
}

bool isConnected(const Pin_ref<1>& input) { return upstreamPin(input).isValid(); }

Tag effectiveTag(const Pin_ref<1>& pin)
{
    const ZRKGraphPin* record = pin.pin();
    if (!record) {
        return Tag::None;
    }
    if (record->tag != Tag::Any) {
        return record->tag;
    }
    const Pin_ref<1> asked = pin.handle.isOutput() ? pin : upstreamPin(pin);
    if (!asked.isValid()) {
        return Tag::None;
    }
    const EffectiveTagScope scope;
    const auto known = answers->tags.find(keyOf(asked));
    return known != answers->tags.end() ? known->second : askObject(asked);
}

EffectiveTagScope::EffectiveTagScope()
{
    if (!answers) {
        answers = new Answers();
    }
    ++answers->scopes;
}

EffectiveTagScope::~EffectiveTagScope()
{
    if (--answers->scopes == 0) {
        delete std::exchange(answers, nullptr);
    }
}

} // namespace zrkmodel
