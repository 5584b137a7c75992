#include "host/graph_document.h"

#include "components/mesh/beam_sdf.h"
#include "core/values/stop.h"
#include "formats/atomic_file.h"
#include "formats/limits.h"
#include "host/document_reader.h"
#include "model/channel_names.h"
#include "model/extension_base.h"
#include "model/graph_object.h"
#include "model/pins.h"
#include "model/serialization.h"
#include "model/type_info.h"

#include <fmt/core.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <set>

namespace zrkmodel {

namespace {

constexpr std::size_t kLineLength = 110;

zrk::Result<std::string> readFile(const std::string& path)
{
    const auto refuse = [&path](const std::string& found, const char* remedy) {
        return zrk::refused({path.empty() ? "document" : path, found, "a graph document", remedy});
    };
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        return refuse(fmt::format("no readable file ({})", std::strerror(errno)), "check the path");
    }
    std::string text;
    char buffer[1 << 16];
    while (file.read(buffer, sizeof buffer) || file.gcount() > 0) {
        zrk::stopIfAsked();
        text.append(buffer, static_cast<std::size_t>(file.gcount()));
        if (text.size() > zrk::kMaxDocumentBytes) {
            return refuse(fmt::format("more than {} MiB", zrk::kMaxDocumentBytes >> 20),
                          "check that the path names a graph document");
        }
    }
    if (file.bad()) {
        return refuse("something that can't be read", "check that the path doesn't name a folder");
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

/// The component's stored form, and after it the keys of the document that it doesn't know.
ZRKJson currentValues(const ZRKGraphObject& object, const ZRKJson& entry)
{
    ZRKSerialization stored;
    object.serialize(stored);
    ZRKJson values = stored.root();
    if (const auto former = entry.find("values"); former != entry.end() && former->is_object()) {
        for (const auto& [key, member] : former->items()) {
            if (!values.contains(key)) {
                values[key] = member;
            }
        }
    }
    return values;
}

ZRKJson linkJson(Pin_handle from, Pin_handle to)
{
    return {{"from", {from.node(), from.index()}}, {"to", {to.node(), to.index()}}};
}

} // namespace

zrk::Result<GraphDocument> GraphDocument::load(const std::string& path, DocumentWarnings& warnings,
                                               zrk::ProgressMonitor* monitor)
{
    return zrk::attempt(path, [&] { return readFile(path); })
        .map_error(asDocumentFault)
        .and_then([&](const std::string& text) { return parse(text, path, warnings, monitor); });
}

zrk::Result<GraphDocument> GraphDocument::parse(const std::string& text, const std::string& name,
                                                DocumentWarnings& warnings, zrk::ProgressMonitor* monitor)
{
    return zrk::attempt(name,
                        [&] {
                            GraphDocument document;
                            document._name = name;
                            DocumentReader(document, name, warnings, monitor).read(text);
                            return document;
                        })
        .map_error(asDocumentFault);
}

std::string GraphDocument::toText() const
{
    ZRKJson root = _root;
    ZRKJson nodes = ZRKJson::array();
    std::set<std::string> current;
    ZRKJson links = ZRKJson::array();
    ZRKJson newLinks = ZRKJson::array();
    for (const auto& node : _graph->nodes()) {
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
    std::string text;
    print(root, 0, text);
    return text + "\n";
}

zrk::Result<void> GraphDocument::save(const std::string& path) const
{
    return zrk::attempt(path, [&] {
        const std::string text = toText();
        return zrk::AtomicFile::create(path).and_then([&text](zrk::AtomicFile file) {
            file.write(text.data(), text.size());
            return file.commit();
        });
    });
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
    return unit ? *unit : "";
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
    for (const auto& node : _graph->nodes()) {
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
    return zrk::attempt(place, [&]() -> zrk::Result<OutputField> {
        const Pin_ref<0> pin = _graph->pin_ref(Pin_handle::output(address.node, address.output));
        if (!pin.isValid()) {
            return zrk::refused({place, "no such pin", "an output of a node of the document",
                                 fmt::format("`zrk check {}` lists the outputs", _name)});
        }
        const Tag tag = effectiveTag(pin);
        const auto object = std::dynamic_pointer_cast<ZRKFieldObject>(pin.node.object());
        OutputField output{object ? object->realizeField(pin.node, address.output) : zrk::IField(), tag,
                           pin.pin()->name, address};
        if (!output.field) {
            return zrk::refused({place, fmt::format("a pin without a data type ({})", tag.name()),
                                 "one that carries values",
                                 "link inputs of one type to the node, so that the pin takes it on",
                                 zrk::FaultKind::FailedWork});
        }
        output.isDensity = output.name == ChannelNames::pin_density();
        output.surfaceLevel = output.isDensity ? 0.5 : 0.0;
        return output;
    });
}

} // namespace zrkmodel
