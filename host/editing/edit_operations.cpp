#include "host/document_values.h"
#include "host/editing/edit_session.h"
#include "host/nearest_names.h"
#include "model/file_import.h"
#include "model/graph_object.h"
#include "model/pins.h"
#include "model/property.h"
#include "model/type_info.h"

#include <fmt/core.h>

#include <algorithm>
#include <system_error>
#include <utility>

namespace zrkmodel {

namespace {

using Place = MemberChange::Place;

std::string idsText(const std::vector<NodePosition>& positions)
{
    std::string text;
    for (const NodePosition& position : positions) {
        text += fmt::format(" {}", position.node);
    }
    return text;
}

} // namespace

std::string EditSession::nodeText(std::uint16_t node) const
{
    const auto watched = _watched.find(node);
    return watched == _watched.end()
               ? fmt::format("node {}", node)
               : fmt::format("node {} ({})", node, watched->second.object->typeInfo().name);
}

zrk::Result<void> EditSession::checkNode(std::uint16_t node) const
{
    if (_watched.contains(node)) {
        return {};
    }
    return zrk::refused(fault(nodeText(node), "no such node", "the id of a node of the document",
                              "take one of the nodes that are there"));
}

/// The id after the highest one; a lower one that is free where that is used up.
zrk::Result<int> EditSession::nextId() const
{
    const unsigned next = _watched.empty() ? 0u : _watched.rbegin()->first + 1u;
    if (next <= kMaxNodeId) {
        return static_cast<int>(std::max(next, 1u));
    }
    for (unsigned id = 0; id <= kMaxNodeId; ++id) {
        if (!_watched.contains(static_cast<std::uint16_t>(id))) {
            return static_cast<int>(id);
        }
    }
    return zrk::refused(
        fault("\"nodes\"", fmt::format("{} nodes", kMaxNodeId + 1), "fewer", "remove nodes first"));
}

// The parts of operations

void EditSession::eraseLink(Pin_handle input)
{
    const std::size_t index = _parts.linkPlace(input);
    const ZRKJson link = _parts.root()["links"][index];
    _parts.eraseLink(index);
    record(LinkChange{false, index, link});
}

ZRKLinkResult EditSession::connect(Pin_handle output, Pin_handle input)
{
    const std::size_t index = _parts.root()["links"].size();
    const ZRKJson link = DocumentParts::linkBetween(output, input);
    const ZRKLinkResult result = _parts.insertLink(index, link);
    if (result == ZRKLinkResult::Done) {
        record(LinkChange{true, index, link});
    }
    return result;
}

zrk::Result<void> EditSession::setMember(Place place, std::uint16_t node, const std::string& key,
                                         std::optional<ZRKJson> value)
{
    if (place == Place::View && !_parts.root().contains("view")) {
        const zrk::Result<void> made = setMember(Place::Document, 0, "view", ZRKJson::object());
        if (!made) {
            return made;
        }
    }
    const MemberChange change = _parts.memberChange(place, node, key, std::move(value));
    const bool isSame = change.before.has_value() == change.after.has_value() &&
                        (!change.before || isSameValue(*change.before, *change.after));
    if (isSame) {
        return {};
    }
    return _parts.setMember(change, true).map([&] { record(change); });
}

/// Makes nodes of entries with ids that are free, by the same reading as that of a document.
zrk::Result<std::vector<std::uint16_t>> EditSession::insertNodes(ZRKJson entries, DocumentWarnings& warnings,
                                                                 zrk::ProgressMonitor* monitor)
{
    const ZRKJson document{{"zrkGraph", 1}, {"nodes", entries}};
    LoadSettings load = _settings.load;
    load.monitor = monitor ? monitor : load.monitor;
    load.resources = _document.resources();
    auto read = GraphDocument::parse(document.dump(-1, ' ', false, ZRKJson::error_handler_t::replace),
                                     _document.name(), warnings, load);
    if (!read) {
        return zrk::refused(std::move(read.error()));
    }
    read->graph()->setSilent(true);
    std::vector<std::uint16_t> ids;
    for (ZRKJson& entry : entries) {
        const auto id = entry["id"].get<std::uint16_t>();
        const std::shared_ptr<ZRKGraphObject> object = read->graph()->getNodePtr(id)->object;
        read->graph()->removeNode(id);
        if (!entry.contains("values")) {
            object->deserialize(ZRKDeserialization(storedForm(*object), _document.resources()));
        }
        NodeChange change{true, id, _parts.root()["nodes"].size(), std::move(entry), object, {}};
        _parts.insertNode(change);
        watch(id);
        _watched[id].values = valuesOf(*object);
        record(std::move(change));
        ids.push_back(id);
    }
    return ids;
}

// Nodes

zrk::Result<std::uint16_t> EditSession::addNode(const NewNode& node, DocumentWarnings* warnings)
{
    return perform("Add " + node.type, "", [&]() -> zrk::Result<std::uint16_t> {
        const zrk::Result<int> id = nextId();
        if (!id) {
            return zrk::refused(id.error());
        }
        ZRKJson entry{{"id", *id}, {"type", node.type}};
        if (!node.uuid.empty()) {
            entry["uuid"] = node.uuid;
        }
        if (node.values) {
            entry["values"] = *node.values;
        }
        if (node.import) {
            entry["import"] = *node.import;
        }
        if (node.position) {
            entry["position"] = *node.position;
        }
        DocumentWarnings unheard;
        return insertNodes(ZRKJson::array({std::move(entry)}), warnings ? *warnings : unheard, nullptr)
            .map([](const std::vector<std::uint16_t>& ids) { return ids.front(); });
    });
}

zrk::Result<void> EditSession::removeNodes(const std::vector<std::uint16_t>& nodes, bool reconnects)
{
    return perform(
        nodes.size() == 1 ? "Remove " + nodeText(nodes[0]) : "Remove nodes", "", [&]() -> zrk::Result<void> {
            for (const std::uint16_t id : nodes) {
                if (const auto known = checkNode(id); !known) {
                    return known;
                }
                const auto node = _parts.graph().getNodePtr(id);
                Pin_handle source;
                std::vector<Pin_handle> ends;
                for (const ZRKGraphPin& input : node->inputs) {
                    for (const Pin_handle from : std::vector<Pin_handle>(input.connections)) {
                        source = source.isValid() ? source : from;
                        eraseLink(input.handle);
                    }
                }
                for (const ZRKGraphPin& output : node->outputs) {
                    for (const Pin_handle to : std::vector<Pin_handle>(output.connections)) {
                        ends.push_back(to);
                        eraseLink(to);
                    }
                }
                for (const Pin_handle end :
                     reconnects&& source.isValid() ? ends : std::vector<Pin_handle>()) {
                    connect(source, end); // where the tags don't fit, the input stays free
                }
                if (_parts.output() && _parts.output()->node == id) {
                    const bool goesOn = reconnects && source.isValid();
                    const auto set = setMember(Place::Document, 0, "output",
                                               goesOn ? std::optional(ZRKJson{source.node(), source.index()})
                                                      : std::nullopt);
                    if (!set) {
                        return set;
                    }
                }
                std::vector<std::uint16_t> selected = *_selection;
                std::erase(selected, id);
                _selection = std::make_shared<const std::vector<std::uint16_t>>(std::move(selected));
                flush();
                NodeChange change{false,
                                  id,
                                  _parts.place(id),
                                  *_parts.entry(id),
                                  node->object,
                                  std::move(_watched.at(id).values)};
                _watched.erase(id);
                _parts.eraseNode(id);
                record(std::move(change));
            }
            return {};
        });
}

zrk::Result<void> EditSession::move(const std::vector<NodePosition>& positions)
{
    return perform("Move", "move" + idsText(positions), [&]() -> zrk::Result<void> {
        for (const NodePosition& position : positions) {
            const auto moved = checkNode(position.node).and_then([&] {
                return setMember(Place::Node, position.node, "position", ZRKJson{position.x, position.y});
            });
            if (!moved) {
                return moved;
            }
        }
        return {};
    });
}

zrk::Result<void> EditSession::setLabel(std::uint16_t node, const std::string& label)
{
    return perform("Name " + nodeText(node), fmt::format("label {}", node), [&] {
        return checkNode(node).and_then([&] {
            return setMember(Place::Node, node, "label",
                             label.empty() ? std::nullopt : std::optional<ZRKJson>(label));
        });
    });
}

bool EditSession::isBypassed(std::uint16_t node) const
{
    const ZRKJson* known = entry(node);
    return known && known->contains("bypass");
}

zrk::Result<void> EditSession::setBypassed(std::uint16_t node, bool isBypassed)
{
    return perform((isBypassed ? "Bypass " : "Use ") + nodeText(node), "", [&]() -> zrk::Result<void> {
        if (const auto known = checkNode(node); !known || isBypassed == this->isBypassed(node)) {
            return known;
        }
        const Pin_handle input = Pin_handle::input(node, 0);
        const Pin_handle output = Pin_handle::output(node, 0);
        const Pin_ref<1> in = _parts.graph().pin_ref(input);
        const Pin_ref<1> out = _parts.graph().pin_ref(output);
        const Pin_handle source = _parts.graph().upstream(input).handle;
        const auto leadThrough = [&](Pin_handle from, Pin_handle end) {
            if (_parts.graph().upstream(end).isValid()) {
                eraseLink(end);
            }
            return !from.isValid() || connect(from, end) == ZRKLinkResult::Done;
        };
        const auto setOutput = [&](Pin_handle pin) {
            return setMember(Place::Document, 0, "output", ZRKJson{pin.node(), pin.index()});
        };
        if (!isBypassed) {
            const ZRKJson former = (*entry(node))["bypass"];
            for (const ZRKJson& end : former.value("links", ZRKJson::array())) {
                const Pin_handle to =
                    Pin_handle::input(end[0].get<std::uint16_t>(), end[1].get<std::uint8_t>());
                if (_parts.graph().pin_ref(to).isValid() && _parts.graph().upstream(to).handle == source) {
                    leadThrough(output, to);
                }
            }
            if (former.value("output", false) && _parts.output() &&
                Pin_handle::output(_parts.output()->node, _parts.output()->output) == source) {
                if (const auto set = setOutput(output); !set) {
                    return set;
                }
            }
            return setMember(Place::Node, node, "bypass", std::nullopt);
        }
        if (!in.isValid() || !out.isValid() || effectiveTag(in) != effectiveTag(out)) {
            return zrk::refused(fault(nodeText(node), "a first input and output of different tags, or none",
                                      "pins of one tag", "bypass a node that gives what it takes"));
        }
        ZRKJson former{{"links", ZRKJson::array()}};
        for (const Pin_handle end : std::vector<Pin_handle>(out.pin()->connections)) {
            former["links"].push_back({end.node(), end.index()});
            if (!leadThrough(source, end)) {
                return zrk::refused(fault(nodeText(node), "a link that can't go past it",
                                          "an input that takes what arrives here", "remove that link first"));
            }
        }
        if (_parts.output() && _parts.output()->node == node && _parts.output()->output == 0 &&
            source.isValid()) {
            former["output"] = true;
            if (const auto set = setOutput(source); !set) {
                return set;
            }
        }
        return setMember(Place::Node, node, "bypass", former);
    });
}

// Links

zrk::Result<void> EditSession::link(Pin_handle output, Pin_handle input, bool replaces)
{
    return perform("Link", "", [&]() -> zrk::Result<void> {
        if (replaces && _parts.graph().upstream(input).isValid()) {
            if (_parts.graph().upstream(input).handle == output) {
                return {};
            }
            eraseLink(input);
        }
        const ZRKLinkResult result = connect(output, input);
        if (result == ZRKLinkResult::Done) {
            return {};
        }
        const char* remedy = "take a pin of a node that is there";
        if (result == ZRKLinkResult::InputTaken) {
            remedy = "remove that link first, or replace it";
        } else if (result == ZRKLinkResult::TagsDiffer) {
            remedy = "link pins of one tag, or put a component between them that converts";
        } else if (result == ZRKLinkResult::Cycle) {
            remedy = "remove a link of the cycle first";
        }
        return zrk::refused(fault(fmt::format("link from output {} of {} to input {} of {}", output.index(),
                                              nodeText(output.node()), input.index(), nodeText(input.node())),
                                  describe(result), "a link that can be made", remedy));
    });
}

zrk::Result<void> EditSession::unlink(Pin_handle input)
{
    return perform("Unlink", "", [&]() -> zrk::Result<void> {
        if (!_parts.graph().upstream(input).isValid()) {
            return zrk::refused(fault(fmt::format("input {} of {}", input.index(), nodeText(input.node())),
                                      "no link", "an input with a link", "choose an input that is linked"));
        }
        eraseLink(input);
        return {};
    });
}

zrk::Result<void> EditSession::insertIntoLink(std::uint16_t node, Pin_handle input)
{
    return perform("Insert " + nodeText(node), "", [&]() -> zrk::Result<void> {
        const Pin_handle source = _parts.graph().upstream(input).handle;
        const auto known = checkNode(node).and_then([&] { return unlink(input); });
        if (!known) {
            return known;
        }
        const auto record = _parts.graph().getNodePtr(node);
        const bool isFed =
            std::any_of(record->inputs.begin(), record->inputs.end(), [&](const ZRKGraphPin& pin) {
                return pin.connections.empty() && connect(source, pin.handle) == ZRKLinkResult::Done;
            });
        const bool isRead =
            isFed && std::any_of(record->outputs.begin(), record->outputs.end(), [&](const ZRKGraphPin& pin) {
                return connect(pin.handle, input) == ZRKLinkResult::Done;
            });
        if (!isRead) {
            return zrk::refused(fault(nodeText(node), "no free input and output that fit into the link",
                                      "pins of the tags at its ends", "take a node that fits"));
        }
        return {};
    });
}

// Values

zrk::Result<void> EditSession::setValue(std::uint16_t node, const std::string& key, const ZRKJson& value,
                                        zrk::ProgressMonitor* monitor)
{
    return perform("Set " + key, fmt::format("value {} {}", node, key), [&]() -> zrk::Result<void> {
        if (const auto known = checkNode(node); !known) {
            return known;
        }
        const std::shared_ptr<ZRKGraphObject> object = _watched.at(node).object;
        ZRKPropertyBase* property = object->findProperty(key);
        if (!property || storedForm(*object).contains(key)) {
            return _document.setValue(node, key, value, monitor);
        }
        const std::shared_ptr<ZRKGraphObject> twin = freshTwin(*object);
        const ZRKJson values{{key, value}};
        std::string expected;
        const ZRKReadDiagnostics refused = [&](const ZRKReadIssue& issue) { expected = issue.expected; };
        if (!twin->findProperty(key)->read(ZRKDeserialization(values, _document.resources(), refused), key)) {
            return zrk::refused(fault(fmt::format("{}, \"{}\"", nodeText(node), key), shown(value),
                                      expected.empty() ? "another kind of value" : expected,
                                      "give a value of that kind"));
        }
        property->assignFrom(twin->findProperty(key), true);
        return {};
    });
}

zrk::Result<void> EditSession::editList(std::uint16_t node, const std::string& key, std::size_t index,
                                        const std::function<void(ZRKJson& list)>& edit, bool isInsertion)
{
    if (const auto known = checkNode(node); !known) {
        return known;
    }
    const ZRKJson& values = _watched.at(node).values;
    const auto list = values.find(key);
    const std::string place = fmt::format("{}, \"{}\"", nodeText(node), key);
    if (list == values.end() || !list->is_array()) {
        return zrk::refused(fault(place, "no list", "the key of a list", "set the value as a whole"));
    }
    if (index >= list->size() + (isInsertion ? 1 : 0)) {
        return zrk::refused(fault(place, fmt::format("index {}", index),
                                  fmt::format("less than {}", list->size() + (isInsertion ? 1 : 0)),
                                  "take one of the items that are there"));
    }
    ZRKJson edited = *list;
    edit(edited);
    return setValue(node, key, edited);
}

zrk::Result<void> EditSession::insertItem(std::uint16_t node, const std::string& key, std::size_t index,
                                          const ZRKJson& item)
{
    return perform("Add to " + key, "", [&] {
        return editList(
            node, key, index,
            [&](ZRKJson& list) { list.insert(list.begin() + static_cast<std::ptrdiff_t>(index), item); },
            true);
    });
}

zrk::Result<void> EditSession::setItem(std::uint16_t node, const std::string& key, std::size_t index,
                                       const ZRKJson& item)
{
    return perform("Change " + key, fmt::format("item {} {} {}", node, key, index), [&] {
        return editList(
            node, key, index, [&](ZRKJson& list) { list[index] = item; }, false);
    });
}

zrk::Result<void> EditSession::removeItem(std::uint16_t node, const std::string& key, std::size_t index)
{
    return perform("Remove from " + key, "", [&] {
        return editList(
            node, key, index, [&](ZRKJson& list) { list.erase(index); }, false);
    });
}

zrk::Result<void> EditSession::importFiles(std::uint16_t node,
                                           const std::vector<std::filesystem::path>& files,
                                           DocumentWarnings& warnings, zrk::ProgressMonitor* monitor)
{
    return perform("Import", "", [&]() -> zrk::Result<void> {
        if (const auto known = checkNode(node); !known) {
            return known;
        }
        const std::shared_ptr<ZRKGraphObject> object = _watched.at(node).object;
        auto* import = dynamic_cast<ZRKFileImport*>(object.get());
        if (!import || files.empty()) {
            return zrk::refused(fault(nodeText(node),
                                      import ? "no file" : "a type that takes nothing from files",
                                      "a file for a node that imports", "import into another node"));
        }
        ZRKJson stored = ZRKJson::array();
        for (const std::filesystem::path& file : files) {
            std::error_code error;
            if (!std::filesystem::is_regular_file(file, error)) {
                return zrk::refused({file.string(), "no such file", "a file to import",
                                     "check the path; what was imported before stays"});
            }
            stored.push_back(storedPath(file));
        }
        _isImporting = true;
        const zrk::Result<ZRKImportWarnings> imported = zrk::attempt(files.front().string(), [&] {
            return import->importFiles(files, monitor, {.unit = _parts.unit()});
        });
        _isImporting = false;
        if (!imported) {
            const bool isPartial = imported.error().kind == zrk::FaultKind::BadInput &&
                                   std::any_of(_heldLog.begin(), _heldLog.end(),
                                               [&](const auto& log) { return log.first == node; });
            if (!isPartial) {
                return zrk::refused(imported.error());
            }
            warnings.push_back(imported.error());
        } else {
            warnings.insert(warnings.end(), imported->begin(), imported->end());
        }
        _parts.graph().notifyDownstream(node, {"import", object.get()});
        return setMember(Place::Node, node, "import", stored.size() == 1 ? stored[0] : stored);
    });
}

// The document

zrk::Result<void> EditSession::setContext(const std::string& key, std::optional<ZRKJson> value)
{
    return perform("Set " + key, "context " + key, [&]() -> zrk::Result<void> {
        const auto former = _parts.root().find("context");
        ZRKJson context = former == _parts.root().end() ? ZRKJson::object() : *former;
        if (value) {
            context[key] = *value;
        } else {
            context.erase(key);
        }
        const bool isNone = context.empty() && former == _parts.root().end();
        return setMember(Place::Document, 0, "context", isNone ? std::nullopt : std::optional(context))
            .map([&] {
                for (const auto& node : std::vector(_parts.graph().nodes())) {
                    const auto view = _parts.graph().node(node->id);
                    view.object()->onUpstreamChange(view, {"context", nullptr});
                }
            });
    });
}

zrk::Result<void> EditSession::setOutput(std::optional<PinAddress> output)
{
    return perform("Set output", "", [&]() -> zrk::Result<void> {
        if (output && !_parts.graph().pin_ref(Pin_handle::output(output->node, output->output)).isValid()) {
            return zrk::refused(fault("\"output\"",
                                      fmt::format("output {} of {}", output->output, nodeText(output->node)),
                                      "an output of a node of the document", "take a pin that is there"));
        }
        return setMember(Place::Document, 0, "output",
                         output ? std::optional(ZRKJson{output->node, output->output}) : std::nullopt);
    });
}

zrk::Result<void> EditSession::setView(const std::string& key, std::optional<ZRKJson> value)
{
    return perform("Set " + key, "view " + key,
                   [&] { return setMember(Place::View, 0, key, std::move(value)); });
}

} // namespace zrkmodel
