#include "host/document_values.h"
#include "host/editing/edit_session.h"
#include "model/graph_object.h"
#include "model/pins.h"
#include "model/type_info.h"

#include <fmt/core.h>

#include <algorithm>
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

void EditSession::insertNode(ZRKJson entry, std::shared_ptr<ZRKGraphObject> object)
{
    const auto id = entry["id"].get<std::uint16_t>();
    if (!entry.contains("values")) {
        object->deserialize(ZRKDeserialization(storedForm(*object), _document.resources()));
    }
    NodeChange change{true, id, _parts.root()["nodes"].size(), std::move(entry), std::move(object), {}};
    _parts.insertNode(change);
    watch(id);
    _watched[id].values = valuesOf(*change.object);
    record(std::move(change));
}

/// Makes nodes of entries with ids that are free, by the same reading as that of a document.
/// @param known  of nodes among them.
zrk::Result<std::vector<std::uint16_t>> EditSession::insertNodes(ZRKJson entries, DocumentWarnings& warnings,
                                                                 zrk::ProgressMonitor* monitor,
                                                                 const ReadNodes& known)
{
    ZRKJson document{{"zrkGraph", 1}, {"nodes", ZRKJson::array()}};
    for (const ZRKJson& entry : entries) {
        const auto id = entry["id"].get<std::uint16_t>();
        if (!known.objects.contains(id)) {
            document["nodes"].push_back(entry);
            if (known.imported.contains(id)) {
                document["nodes"].back().erase("import");
            }
        }
    }
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
        if (const auto whole = known.objects.find(id); whole != known.objects.end()) {
            insertNode(std::move(entry), whole->second);
            ids.push_back(id);
            continue;
        }
        std::shared_ptr<ZRKGraphObject> object = read->graph()->getNodePtr(id)->object;
        read->graph()->removeNode(id);
        if (const auto held = known.imported.find(id); held != known.imported.end()) {
            if (auto* holder = dynamic_cast<ZRKDataHolder*>(object.get())) {
                holder->hold(held->second);
            }
        }
        insertNode(std::move(entry), std::move(object));
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
        return insertNodes(ZRKJson::array({std::move(entry)}), warnings ? *warnings : unheard, nullptr, {})
            .map([](const std::vector<std::uint16_t>& ids) { return ids.front(); });
    });
}

zrk::Result<std::vector<std::uint16_t>> EditSession::addLoaded(GraphDocument loaded)
{
    return perform("Add", "", [&]() -> zrk::Result<std::vector<std::uint16_t>> {
        loaded.moveTo(_document.name());
        const DocumentParts parts(loaded);
        for (std::size_t i = 0; i < parts.resourceCount(); ++i) {
            const ZRKJson& resource = parts.root()["resources"][i];
            const auto uuid = resource["uuid"].get<std::string>();
            if (_parts.resources().indexOf(ZRKuuid(uuid))) {
                return zrk::refused(fault("resource " + zrk::quotation(uuid),
                                          "a uuid that another resource of the document has", "a new one",
                                          "leave the uuid out"));
            }
            insertResource(resource, _parts.resourceCount(), parts.resources().objects()[i]);
        }
        const ZRKJson links = parts.root().value("links", ZRKJson::array());
        loaded.graph()->setSilent(true);
        std::map<std::uint16_t, std::uint16_t> newIds;
        std::vector<std::uint16_t> ids;
        for (ZRKJson entry : parts.root().value("nodes", ZRKJson::array())) {
            const auto former = entry["id"].get<std::uint16_t>();
            const zrk::Result<int> id = nextId();
            if (!id) {
                return zrk::refused(id.error());
            }
            entry["id"] = *id;
            ids.push_back(newIds[former] = static_cast<std::uint16_t>(*id));
            std::shared_ptr<ZRKGraphObject> object = loaded.graph()->getNodePtr(former)->object;
            loaded.graph()->removeNode(former);
            insertNode(std::move(entry), std::move(object));
        }
        for (const ZRKJson& link : links) {
            const Pin_handle from = DocumentParts::from(link);
            const Pin_handle to = DocumentParts::to(link);
            connect(Pin_handle::output(newIds.at(from.node()), from.index()),
                    Pin_handle::input(newIds.at(to.node()), to.index()));
        }
        select(ids);
        return ids;
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
                if (_parts.graph().pin_ref(to).isValid() && _parts.graph().upstream(to).handle == source &&
                    !leadThrough(output, to)) {
                    leadThrough(source, to); // it can't come back, as another tag or a cycle is in the way
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

} // namespace zrkmodel
