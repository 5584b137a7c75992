#include "host/graph_document.h"

#include "components/mesh/beam_sdf.h"
#include "components/transport/image_sweep.h"
#include "core/engine/progress.h"
#include "core/values/stop.h"
#include "formats/atomic_file.h"
#include "formats/input_file.h"
#include "formats/limits.h"
#include "formats/part.h"
#include "host/document_reader.h"
#include "host/document_values.h"
#include "host/nearest_names.h"
#include "host/solid.h"
#include "host/stored_paths.h"
#include "model/channel_names.h"
#include "model/extension_base.h"
#include "model/graph_object.h"
#include "model/pins.h"
#include "model/property.h"
#include "model/serialization.h"
#include "model/type_info.h"

#include <fmt/core.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <set>
#include <system_error>
#include <utility>
#include <vector>

namespace zrkmodel {

namespace {

constexpr std::size_t kLineLength = 110;
constexpr const char* kStandardInput = "-";

/// The text of a file, or of a pipe, such as a shell makes of what another program writes.
std::string readText(const std::string& path, zrk::ProgressMonitor* monitor)
{
    auto file = path == kStandardInput
                    ? zrk::InputFile::standardInput()
                    : zrk::valueOrThrow(zrk::InputFile::open(path, zrk::InputFile::Accepted::FilesAndStreams)
                                            .map_error([&](zrk::Fault fault) {
                                                fault.place = path.empty() ? "document" : path;
                                                fault.expected = "a graph document";
                                                return fault;
                                            }));
    std::string text;
    std::vector<char> buffer(1 << 16);
    while (const std::size_t read = zrk::valueOrThrow(file.read(buffer.data(), buffer.size(), monitor))) {
        text.append(buffer.data(), read);
        zrk::stopIfAsked();
        if (text.size() > zrk::kMaxDocumentBytes) {
            throw zrk::FaultError({path, fmt::format("more than {} MiB", zrk::kMaxDocumentBytes >> 20),
                                   "a graph document", "check that the path names a graph document"});
        }
    }
    return text;
}

/// Lack of memory is the document's fault, as another one would fit.
zrk::Fault asDocumentFault(zrk::Fault fault)
{
    if (fault.kind == zrk::FaultKind::FailedWork) {
        fault.kind = zrk::FaultKind::BadInput;
    }
    return fault;
}

/// JSON text with short values on one line, so that a node or a link is a line.
void print(const ZRKJson& value, std::size_t indent, std::string& out)
{
    const std::string line = value.dump(-1, ' ', false, ZRKJson::error_handler_t::replace);
    if (!value.is_structured() || value.empty() || (indent > 0 && line.size() + indent <= kLineLength)) {
        out += line;
        return;
    }
    const std::string margin(indent + 2, ' ');
    out += value.is_object() ? "{" : "[";
    bool isFirst = true;
    for (const auto& [key, member] : value.items()) {
        out += isFirst ? "\n" : ",\n";
        isFirst = false;
        out += margin;
        if (value.is_object()) {
            out += ZRKJson(key).dump() + ": ";
        }
        print(member, indent + 2, out);
    }
    out += "\n" + std::string(indent, ' ') + (value.is_object() ? "}" : "]");
}

/// Adds to the members of an object, and of the objects in it, those of its former form that it lacks.
void keepUnknown(const ZRKJson& former, ZRKJson& current)
{
    if (!former.is_object() || !current.is_object()) {
        return;
    }
    for (const auto& [key, member] : former.items()) {
        if (const auto known = current.find(key); known != current.end()) {
            keepUnknown(member, *known);
        } else {
            current[key] = member;
        }
    }
}

/// The component's stored form, and after its keys those of the document that it doesn't know.
ZRKJson currentValues(const ZRKGraphObject& object, const ZRKJson& entry)
{
    ZRKJson values = storedForm(object);
    if (const auto former = entry.find("values"); former != entry.end()) {
        keepUnknown(*former, values);
    }
    return values;
}

ZRKJson linkJson(Pin_handle from, Pin_handle to)
{
    return {{"from", {from.node(), from.index()}}, {"to", {to.node(), to.index()}}};
}

/// The same field, which also keeps its graph alive.
zrk::IField withGraph(const zrk::IField& field, std::shared_ptr<ZRKGraph> graph)
{
    using Owner = std::pair<std::shared_ptr<ZRKGraph>, std::shared_ptr<zrk::IFieldGenerator>>;
    if (!field) {
        return field;
    }
    const auto owner = std::make_shared<const Owner>(std::move(graph), field.generator());
    return zrk::IField(std::shared_ptr<zrk::IFieldGenerator>(owner, owner->second.get()));
}

} // namespace

std::string documentText(const ZRKJson& root)
{
    std::string text;
    print(root, 0, text);
    return text + "\n";
}

zrk::Result<GraphDocument> GraphDocument::load(const std::string& path, DocumentWarnings& warnings,
                                               const LoadSettings& settings)
{
    const std::string name = path == kStandardInput ? "standard input" : path;
    return zrk::attempt(name,
                        [&] { return parse(readText(path, settings.monitor), name, warnings, settings); })
        .map_error(asDocumentFault);
}

zrk::Result<GraphDocument> GraphDocument::parse(const std::string& text, const std::string& name,
                                                DocumentWarnings& warnings, const LoadSettings& settings)
{
    return zrk::attempt(name,
                        [&] {
                            GraphDocument document;
                            document._name = name;
                            DocumentReader(document, name, warnings, settings).read(text);
                            return document;
                        })
        .map_error(asDocumentFault);
}

/// The nodes in the order of the document, which edits may have made another one than that of the graph.
std::vector<std::shared_ptr<ZRKGraphNode>> GraphDocument::orderedNodes() const
{
    auto nodes = _graph->nodes();
    const auto place = [this](const auto& node) {
        const auto index = _nodeIndex.find(node->id);
        return index == _nodeIndex.end() ? _nodeIndex.size() : index->second;
    };
    if (!std::is_sorted(nodes.begin(), nodes.end(),
                        [&](const auto& a, const auto& b) { return place(a) < place(b); })) {
        std::stable_sort(nodes.begin(), nodes.end(),
                         [&](const auto& a, const auto& b) { return place(a) < place(b); });
    }
    return nodes;
}

GraphDocument GraphDocument::create(const std::string& name)
{
    GraphDocument document;
    document._name = name;
    document._graph = ZRKGraph::create();
    document._resources = std::make_shared<DocumentResources>();
    document._root = {{"zrkGraph", 1}, {"nodes", ZRKJson::array()}};
    return document;
}

const ZRKJson* GraphDocument::member(const std::string& key) const
{
    const auto found = _root.find(key);
    return found == _root.end() ? nullptr : &*found;
}

void GraphDocument::setMember(const std::string& key, const ZRKJson& value)
{
    if (value.is_null()) {
        _root.erase(key);
    } else {
        _root[key] = value;
    }
}

const ZRKJson* GraphDocument::nodeEntry(std::uint16_t node) const
{
    const auto index = _nodeIndex.find(node);
    return index == _nodeIndex.end() ? nullptr : &_root["nodes"][index->second];
}

void GraphDocument::setNodeMember(std::uint16_t node, const std::string& key, const ZRKJson& value)
{
    ZRKJson& nodes = _root["nodes"];
    const auto [index, isNew] = _nodeIndex.emplace(node, nodes.size());
    if (isNew) {
        nodes.push_back(ZRKJson::object());
    }
    if (value.is_null()) {
        nodes[index->second].erase(key);
    } else {
        nodes[index->second][key] = value;
    }
}

void GraphDocument::setOutput(const std::optional<PinAddress>& output)
{
    _output = output;
    setMember("output", output ? ZRKJson{output->node, output->output} : ZRKJson());
}

void GraphDocument::moveTo(const std::string& name)
{
    const auto folderOf = [](const std::string& file) {
        return std::filesystem::absolute(file).parent_path().lexically_normal();
    };
    const std::filesystem::path from = folderOf(_name);
    const std::filesystem::path to = folderOf(name);
    _name = name;
    if (from != to) {
        rebaseDocument(_root, from, to);
    }
}

ZRKJson GraphDocument::toJson() const
{
    ZRKJson root = _root;
    ZRKJson nodes = ZRKJson::array();
    std::set<std::string> current;
    ZRKJson links = ZRKJson::array();
    ZRKJson newLinks = ZRKJson::array();
    for (const auto& node : orderedNodes()) {
        const auto index = _nodeIndex.find(node->id);
        ZRKJson entry = index == _nodeIndex.end() ? ZRKJson::object() : _root["nodes"][index->second];
        const ZRKTypeInfo& type = node->object->typeInfo();
        entry["id"] = node->id;
        entry["type"] = type.name;
        entry["uuid"] = type.uuid;
        entry["values"] = currentValues(*node->object, entry);
        nodes.push_back(std::move(entry));
        for (const ZRKGraphPin& input : node->inputs) {
            for (const Pin_handle upstream : input.connections) {
                newLinks.push_back(linkJson(upstream, input.handle));
                current.insert(newLinks.back().dump());
            }
        }
    }
    // Links that stay keep their place and what else stands beside them; new ones follow.
    if (const auto former = _root.find("links"); former != _root.end()) {
        for (const ZRKJson& link : *former) {
            const ZRKJson ends{{"from", link["from"]}, {"to", link["to"]}};
            if (current.erase(ends.dump()) > 0) {
                links.push_back(link);
            }
        }
    }
    for (ZRKJson& link : newLinks) {
        if (current.count(link.dump()) > 0) {
            links.push_back(std::move(link));
        }
    }
    for (const ZRKJson& resource : _resources->addedEntries()) {
        root["resources"].push_back(resource);
    }
    root["nodes"] = std::move(nodes);
    root["links"] = std::move(links);
    return root;
}

zrk::Result<void> GraphDocument::save(const std::string& path) const
{
    return zrk::attempt(path, [&] { return zrk::writeFile(path, toText()); });
}

zrk::Result<void> GraphDocument::setValue(std::uint16_t node, const std::string& key, const ZRKJson& value,
                                          zrk::ProgressMonitor* monitor)
{
    const auto entry = _graph->getNodePtr(node);
    if (!entry) {
        return zrk::refused({fmt::format("{}, node {}", _name, node), "no such node", "the id of a node",
                             "see \"nodes\" in the document"});
    }
    ZRKGraphObject& object = *entry->object;
    const std::string place =
        fmt::format("{}, node {} ({}), \"{}\"", _name, node, object.typeInfo().name, zrk::printable(key));
    const ZRKJson former = storedForm(object);
    if (!former.contains(key)) {
        const std::vector<std::string> known = keysOf(former);
        return zrk::refused(
            {place, "a key that the type doesn't know",
             known.empty() ? "none, as the type stores nothing" : "one of its keys",
             known.empty() ? "change another node" : "did you mean " + nearestNames(key, known) + "?"});
    }
    // A twin reads the value first, so that one that is refused reaches neither the component nor what it
    // has computed.
    return twinWith(object, key, value, former, place).and_then([&](const auto& twin) {
        if (isTakenByReading(object, key)) {
            return takeByReading(object, *twin, key, withValue(former, key, value), place, monitor);
        }
        auto* const sweep = dynamic_cast<ZRKImageSweep*>(&object);
        if (sweep && (key == "smoothing" || key == "transport")) {
            sweep->invalidateOutputRaster();
        }
        object.findProperty(key)->assignFrom(twin->findProperty(key), true);
        return zrk::Result<void>();
    });
}

/// An object of the same class that has read a value.
zrk::Result<std::shared_ptr<ZRKGraphObject>>
GraphDocument::twinWith(const ZRKGraphObject& object, const std::string& key, const ZRKJson& value,
                        const ZRKJson& former, const std::string& place) const
{
    std::string expected;
    const ZRKReadDiagnostics refused = [&](const ZRKReadIssue& issue) {
        if (!isIssueOf(object, former, _resources, issue)) {
            expected = issue.expected;
        }
    };
    const std::shared_ptr<ZRKGraphObject> twin = freshTwin(object);
    const zrk::Result<void> read = zrk::attempt(place, [&] {
        try {
            const ZRKJson values = withValue(former, key, value);
            const ZRKDeserialization stored(values, _resources, refused);
            if (ZRKPropertyBase* property = twin->findProperty(key)) {
                property->read(stored, key);
            } else {
                twin->deserialize(stored);
            }
        } catch (const ZRKJson::exception&) {
            expected = "another kind of value";
        }
    });
    if (!read) {
        return zrk::refused(read.error());
    }
    if (!expected.empty()) {
        return zrk::refused({place, shown(value), expected, "give a value of that kind"});
    }
    return twin;
}

/// Has a component read a value that it makes more of than a property, and puts the former one back where
/// that fails or is stopped.
/// @param twin    has read the value.
/// @param values  the stored form with it.
zrk::Result<void> GraphDocument::takeByReading(ZRKGraphObject& object, ZRKGraphObject& twin,
                                               const std::string& key, ZRKJson values,
                                               const std::string& place, zrk::ProgressMonitor* monitor)
{
    const ZRKJson former = storedForm(object);
    ZRKPropertyBase* property = object.findProperty(key);
    const std::shared_ptr<ZRKGraphObject> before = freshTwin(object);
    if (property) {
        before->findProperty(key)->assignFrom(property, false);
        property->assignFrom(twin.findProperty(key), false);
        values = storedForm(object);
    }
    const zrk::Result<void> taken = zrk::attempt(place, [&]() -> zrk::Result<void> {
        ZRKDeserialization stored(values, _resources);
        stored.setMonitor(monitor);
        object.deserialize(stored);
        if (monitor && monitor->isInterruptAcknowledged()) {
            return zrk::refused(zrk::interruptedAt(place));
        }
        return {};
    });
    if (!taken && property) {
        property->assignFrom(before->findProperty(key), false);
    } else if (!taken) {
        object.deserialize(ZRKDeserialization(former, _resources));
    } else if (property) {
        property->assignFrom(twin.findProperty(key), true);
        object.emitPropertyChange("raster"); // what was made of it
    } else {
        emitValueChange(object, key);
    }
    return taken;
}

zrk::BBox<double> GraphDocument::samplingBounds() const
{
    return _graph->context().modelBounds().value_or(zrk::BBox<double>({0, 0, 0}, {1, 1, 1}));
}

std::string GraphDocument::unit() const
{
    const auto context = _root.find("context");
    const auto* unit = context != _root.end() && context->is_object() && context->contains("unit")
                           ? context->at("unit").get_ptr<const std::string*>()
                           : nullptr;
    return unit && zrk::lengthUnit("", *unit) ? *unit : "";
}

std::shared_ptr<const zrk::BeamCacheData> GraphDocument::beamsOf(PinAddress address) const
{
    const auto node = _graph->getNodePtr(address.node);
    const auto* beams = node ? dynamic_cast<const ZRKBeamSDF*>(node->object.get()) : nullptr;
    const bool isMoved = _graph->upstream(Pin_handle::input(address.node, 0)).isValid();
    return beams && !isMoved ? beams->lattice() : nullptr;
}

std::vector<OutputPin> GraphDocument::outputPins() const
{
    const EffectiveTagScope tags;
    std::vector<OutputPin> pins;
    for (const auto& node : orderedNodes()) {
        for (const ZRKGraphPin& pin : node->outputs) {
            pins.push_back(
                {{node->id, pin.handle.index()}, pin.name, effectiveTag(_graph->pin_ref(pin.handle))});
        }
    }
    return pins;
}

zrk::Result<OutputField> GraphDocument::outputField() const
{
    if (!_output) {
        return zrk::refused({_name + ", \"output\"", "none", "the pin to sample",
                             "add \"output\": [NODE, OUT] to the document, or give --pin NODE:OUT"});
    }
    return outputField(*_output);
}

zrk::Result<OutputField> GraphDocument::outputField(PinAddress address) const
{
    const std::string place = fmt::format("{}, output {} of node {}", _name, address.output, address.node);
    if (!_graph->pin_ref(Pin_handle::output(address.node, address.output)).isValid()) {
        return zrk::refused({place, "no such pin", "an output of a node of the document",
                             fmt::format("`zrk check {}` lists the outputs", _name)});
    }
    return outputFieldOf(_graph, address, place);
}

zrk::Result<OutputField> outputFieldOf(const std::shared_ptr<ZRKGraph>& graph, PinAddress address,
                                       const std::string& place)
{
    return zrk::attempt(place, [&]() -> zrk::Result<OutputField> {
        const Pin_ref<0> pin = graph->pin_ref(Pin_handle::output(address.node, address.output));
        const Tag tag = effectiveTag(pin);
        const auto object = std::dynamic_pointer_cast<ZRKFieldObject>(pin.node.object());
        const zrk::IField field = object ? object->realizeField(pin.node, address.output) : zrk::IField();
        if (!field) {
            return zrk::refused({place, fmt::format("a pin without a data type ({})", tag.name()),
                                 "one that carries values",
                                 "link inputs of one type to the node, so that the pin takes it on",
                                 zrk::FaultKind::FailedWork});
        }
        OutputField output{withGraph(field, graph), tag, pin.pin()->name, address};
        output.isDensity = output.name == ChannelNames::pin_density();
        output.surfaceLevel = surfaceLevelOf(output.isDensity);
        return output;
    });
}

} // namespace zrkmodel
