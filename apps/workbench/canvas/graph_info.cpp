#include "apps/workbench/canvas/graph_info.h"

#include "apps/workbench/look/families.h"
#include "host/document_values.h"
#include "inspectors/number_text.h"
#include "model/graph_object.h"
#include "model/pins.h"

#include <map>
#include <string_view>

namespace zrkworkbench {

using zrkmodel::EditSession;
using zrkmodel::Pin_handle;
using zrkmodel::Tag;
using zrkmodel::ZRKGraphPin;
using zrkmodel::ZRKJson;
using zrkui::textOfNumber;

namespace {

/// The value that says most about what a node of a class does.
struct SummaryKey {
    std::string_view className;
    const char* place; ///< in the stored form
    const char* before;
    const char* after;
};

constexpr SummaryKey kSummaries[] = {
    {"ZRKBinaryOperator", "/op_name", "", ""},
    {"ZRKTwistTransform", "/angle", "", "°"},
    {"ZRKBendTransform", "/angle", "", "°"},
    {"ZRKFallOff", "/falloff params/curve", "", ""},
    {"ZRKLevelsetIsoValue", "/levelset isovalue", "", ""},
    {"ZRKRasterFX", "/resolution", "", ""},
};

const std::pair<std::string_view, const char*> kShortWords[] = {
    {"minimum", "min"}, {"maximum", "max"}, {"difference", "diff"}, {"subtract", "sub"}, {"multiply", "mul"}};

/// A value in so few letters that a header has room; empty where it has none.
QString shortText(const ZRKJson& value)
{
    if (value.is_number()) {
        return textOfNumber(value.get<double>(), 2);
    }
    if (!value.is_string()) {
        return {};
    }
    const auto text = value.get<std::string>();
    for (const auto& [word, brief] : kShortWords) {
        if (text == word) {
            return brief;
        }
    }
    return text.size() <= 12 ? QString::fromStdString(text) : QString();
}

QString summaryOf(const zrkmodel::ZRKGraphObject& object, const std::string& className)
{
    for (const SummaryKey& summary : kSummaries) {
        if (className == summary.className) {
            const ZRKJson values = zrkmodel::storedForm(object);
            const ZRKJson::json_pointer place(summary.place);
            const QString text = values.contains(place) ? shortText(values.at(place)) : QString();
            return text.isEmpty() ? text : summary.before + text + QString::fromUtf8(summary.after);
        }
    }
    return {};
}

PinInfo pinInfo(const ZRKGraphPin& pin)
{
    PinInfo info;
    info.name = QString::fromStdString(pin.name);
    info.declared = pin.tag;
    info.tag = pin.tag == Tag::Any ? Tag::None : pin.tag;
    info.passesPosition = pin.allowsPassthrough();
    if (pin.opt == zrkmodel::ZRKPinOpt::DefaultValue && !pin.defaultValue.isEmpty()) {
        info.value = pin.defaultValue.components[0];
    }
    return info;
}

} // namespace

const zrkmodel::ZRKGraphObjectRegistration* typeOfNode(const EditSession& session, std::uint16_t node)
{
    const auto record = session.document().graph()->getNodePtr(node);
    if (!record) {
        return nullptr;
    }
    const zrkmodel::ZRKTypeInfo& type = record->object->typeInfo();
    return zrkmodel::ZRKGraphObject::registry().find(type.uuid, type.name);
}

NodeInfo nodeInfo(const EditSession& session, std::uint16_t node)
{
    const auto record = session.document().graph()->getNodePtr(node);
    const auto* type = typeOfNode(session, node);
    NodeInfo info;
    info.id = node;
    info.typeTitle = type ? type->strings.title : QString::fromStdString(record->object->typeInfo().name);
    info.title = info.typeTitle;
    info.icon = iconNameOf(type);
    info.family = familyOf(type).role;
    info.summary = type ? summaryOf(*record->object, type->className) : QString();
    if (const ZRKJson* entry = session.entry(node); entry && entry->contains("label")) {
        const ZRKJson& label = (*entry)["label"];
        info.title = label.is_string() ? QString::fromStdString(label.get<std::string>()) : info.title;
    }
    if (info.summary.isEmpty() && info.title != info.typeTitle) {
        info.summary = info.typeTitle.toLower();
    }
    for (const ZRKGraphPin& pin : record->inputs) {
        info.inputs.push_back(pinInfo(pin));
    }
    for (const ZRKGraphPin& pin : record->outputs) {
        info.outputs.push_back(pinInfo(pin));
    }
    info.isBypassed = session.isBypassed(node);
    const auto& output = session.document().output();
    info.hasOutputFlag = output && output->node == node;
    updatePins(info, session);
    return info;
}

void updatePins(NodeInfo& info, const EditSession& session)
{
    const auto& graph = session.document().graph();
    const auto record = graph->getNodePtr(info.id);
    const auto update = [&](std::vector<PinInfo>& pins, const std::vector<ZRKGraphPin>& records) {
        for (std::size_t i = 0; i < pins.size() && i < records.size(); ++i) {
            pins[i].isLinked = !records[i].connections.empty();
            if (pins[i].declared == Tag::Any) {
                const Tag tag = effectiveTag(graph->pin_ref(records[i].handle));
                pins[i].tag = tag == Tag::Any ? Tag::None : tag;
            }
        }
    };
    if (record) {
        update(info.inputs, record->inputs);
        update(info.outputs, record->outputs);
    }
}

std::optional<QPointF> storedPosition(const EditSession& session, std::uint16_t node)
{
    const ZRKJson* entry = session.entry(node);
    if (!entry || !entry->contains("position") || !zrkmodel::isNumbers((*entry)["position"], 2)) {
        return std::nullopt;
    }
    const ZRKJson& position = (*entry)["position"];
    return QPointF(position[0].get<double>(), position[1].get<double>());
}

std::vector<WireInfo> wiresOf(const EditSession& session)
{
    // Where the links were before they were led past a node that is bypassed.
    std::map<std::uint32_t, Pin_handle> pastNode;
    const auto& graph = session.document().graph();
    for (const auto& node : graph->nodes()) {
        const ZRKJson* entry = session.entry(node->id);
        if (!entry || !entry->contains("bypass") || node->inputs.empty()) {
            continue;
        }
        const Pin_handle source = graph->upstream(node->inputs[0].handle).handle;
        for (const ZRKJson& end : (*entry)["bypass"].value("links", ZRKJson::array())) {
            const Pin_handle to = Pin_handle::input(end[0].get<std::uint16_t>(), end[1].get<std::uint8_t>());
            if (source.isValid() && graph->upstream(to).handle == source) {
                pastNode[to.bits] = Pin_handle::output(node->id, 0);
            }
        }
    }
    std::vector<WireInfo> wires;
    for (const auto& node : graph->nodes()) {
        for (const ZRKGraphPin& input : node->inputs) {
            for (const Pin_handle source : input.connections) {
                const auto past = pastNode.find(input.handle.bits);
                const Tag tag = effectiveTag(graph->pin_ref(source));
                wires.push_back({source,
                                 past == pastNode.end() ? source : past->second,
                                 input.handle,
                                 tag == Tag::Any ? Tag::None : tag,
                                 {}});
            }
        }
    }
    return wires;
}

const NodeInfo& pinsOfType(const zrkmodel::ZRKGraphObjectRegistration& type)
{
    static std::map<const zrkmodel::ZRKGraphObjectRegistration*, NodeInfo> known;
    const auto found = known.find(&type);
    if (found != known.end()) {
        return found->second;
    }
    NodeInfo info;
    const auto graph = zrkmodel::ZRKGraph::create();
    const auto node = graph->addNode(type.factory());
    if (node.isAlive()) {
        for (const ZRKGraphPin& pin : node.record()->inputs) {
            info.inputs.push_back(pinInfo(pin));
        }
        for (const ZRKGraphPin& pin : node.record()->outputs) {
            info.outputs.push_back(pinInfo(pin));
        }
    }
    return known.emplace(&type, std::move(info)).first->second;
}

namespace {

QString titleOf(const EditSession& session, std::uint16_t node)
{
    const ZRKJson* entry = session.entry(node);
    if (entry && entry->contains("label") && (*entry)["label"].is_string()) {
        return QString::fromStdString((*entry)["label"].get<std::string>());
    }
    const auto* type = typeOfNode(session, node);
    return type ? QString(type->strings.title) : QString("node %1").arg(node);
}

std::unordered_set<std::uint16_t> reached(const EditSession& session, std::vector<std::uint16_t> open,
                                          bool upstream)
{
    std::unordered_set<std::uint16_t> seen(open.begin(), open.end());
    while (!open.empty()) {
        const auto node = session.document().graph()->getNodePtr(open.back());
        open.pop_back();
        if (!node) {
            continue;
        }
        for (const ZRKGraphPin& pin : upstream ? node->inputs : node->outputs) {
            for (const Pin_handle other : pin.connections) {
                if (seen.insert(other.node()).second) {
                    open.push_back(other.node());
                }
            }
        }
    }
    return seen;
}

} // namespace

QString pinText(const EditSession& session, Pin_handle pin)
{
    const auto reference = session.document().graph()->pin_ref(pin);
    return titleOf(session, pin.node()) + QString::fromUtf8(" · ") +
           (reference.isValid() ? QString::fromStdString(reference.pin()->name) : QString("?"));
}

WireRules::WireRules(const EditSession& session, Pin_handle start, Pin_handle freed)
    : _session(&session),
      _start(start),
      _freed(freed),
      _beyond(reached(session, {start.node()}, start.isOutput()))
{}

WireRefusal WireRules::refusal(Pin_handle other) const
{
    const auto& graph = _session->document().graph();
    const auto start = graph->pin_ref(_start);
    const auto end = graph->pin_ref(other);
    if (!start.isValid() || !end.isValid()) {
        return {"The pin is gone", "Start the wire again"};
    }
    if (_start.isOutput() == other.isOutput()) {
        return other.isOutput() ? WireRefusal{"Two outputs can't be linked", "Drop the wire on an input"}
                                : WireRefusal{"Two inputs can't be linked", "Drop the wire on an output"};
    }
    const Pin_handle output = _start.isOutput() ? _start : other;
    const Pin_handle input = _start.isOutput() ? other : _start;
    if (_beyond.contains(other.node())) {
        return {"This would be a cycle",
                input.node() == output.node()
                    ? titleOf(*_session, input.node()) + " would feed itself"
                    : titleOf(*_session, input.node()) + " feeds " + titleOf(*_session, output.node())};
    }
    const Tag from = graph->pin_ref(output).pin()->tag;
    const Tag to = graph->pin_ref(input).pin()->tag;
    if (from != Tag::Any && to != Tag::Any && from != to) {
        return {QString("A %1 doesn't fit a %2").arg(nameOf(from), nameOf(to)),
                "Put a node between them that converts"};
    }
    if (graph->upstream(input).isValid() && input != _freed) {
        return {QString::fromStdString(graph->pin_ref(input).pin()->name) + " has a link already",
                "Remove that link first, or hold Shift to replace it"};
    }
    return {};
}

std::vector<std::uint16_t> withUpstream(const EditSession& session, const std::vector<std::uint16_t>& nodes)
{
    const auto all = reached(session, nodes, true);
    std::vector<std::uint16_t> ordered;
    for (const auto& node : session.document().graph()->nodes()) {
        if (all.contains(node->id)) {
            ordered.push_back(node->id);
        }
    }
    return ordered;
}

} // namespace zrkworkbench
