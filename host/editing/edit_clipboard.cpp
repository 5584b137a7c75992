#include "host/document_json.h"
#include "host/document_values.h"
#include "host/editing/edit_session.h"
#include "host/editing/fragment.h"
#include "model/graph_object.h"
#include "model/held_data.h"

#include <fmt/core.h>

#include <algorithm>
#include <set>
#include <utility>

namespace zrkmodel {

zrk::Result<std::string> EditSession::copy(const std::vector<std::uint16_t>& nodes) const
{
    return fragment(nodes).map(documentText);
}

zrk::Result<ZRKJson> EditSession::fragment(const std::vector<std::uint16_t>& nodes) const
{
    for (const std::uint16_t node : nodes) {
        if (const auto known = checkNode(node); !known) {
            return zrk::refused(known.error());
        }
    }
    return fragmentOf(_document.toJson(), {nodes.begin(), nodes.end()}, wholeFolder(folder()).string());
}

/// Whether the same resource is there under the same uuid.
bool EditSession::hasResource(const ZRKJson& entry) const
{
    const auto index = _parts.resources().indexOf(ZRKuuid(entry["uuid"].get<std::string>()));
    return index && isSameResource(_parts.root()["resources"][*index], entry);
}

namespace {

bool isFile(const ZRKJson& resource)
{
    return resource.is_object() && resource.contains("path") && resource.contains("uuid") &&
           resource["uuid"].is_string();
}

/// The uuids of resources, an array as in a document.
std::set<std::string> uuidsOf(const ZRKJson& resources)
{
    std::set<std::string> uuids;
    for (const ZRKJson& resource : resources) {
        if (resource.is_object() && resource.contains("uuid") && resource["uuid"].is_string()) {
            uuids.insert(resource["uuid"].get<std::string>());
        }
    }
    return uuids;
}

bool mentionsAny(const ZRKJson& value, const std::set<std::string>& uuids)
{
    return std::any_of(uuids.begin(), uuids.end(),
                       [&](const std::string& uuid) { return mentions(value, uuid); });
}

/// The part of a fragment that can be read apart from the document: its resources from files that the
/// document doesn't have, and nodes. Of nodes that use resources that is what they import.
ZRKJson readablePart(PasteText& text, const std::string& unit, const ZRKJson& resources)
{
    ZRKJson part{{"zrkGraph", 1}, {"resources", ZRKJson::array()}, {"nodes", ZRKJson::array()}};
    if (!unit.empty()) {
        part["context"] = {{"unit", unit}};
    }
    for (const ZRKJson& entry : text.fragment.value("resources", ZRKJson::array())) {
        const bool isKnown = std::any_of(resources.begin(), resources.end(), [&](const ZRKJson& known) {
            return isFile(known) && isFile(entry) && isSameResource(known, entry) &&
                   equalIgnoringCase(known["uuid"].get<std::string>(), entry["uuid"].get<std::string>());
        });
        if (isFile(entry) && !isKnown) {
            part["resources"].push_back(entry);
        }
    }
    for (const ZRKJson& entry : text.fragment["nodes"]) {
        const bool isFree = !entry.contains("values") || !mentionsAny(entry["values"], text.uuids);
        if (isFree || entry.contains("import")) {
            part["nodes"].push_back(entry);
            if (isFree) {
                text.whole.insert(entry["id"].get<std::uint16_t>());
            } else {
                part["nodes"].back().erase("values");
            }
        }
    }
    return part;
}

} // namespace

bool EditSession::readsFiles(const std::string& text) const
{
    auto fragment = readFragment(text);
    if (!fragment) {
        return false; // pasting tells
    }
    rebasePaths(*fragment, wholeFolder(folder()));
    const ZRKJson resources = fragment->value("resources", ZRKJson::array());
    const ZRKJson& nodes = (*fragment)["nodes"];
    return std::any_of(resources.begin(), resources.end(),
                       [&](const ZRKJson& entry) { return isFile(entry) && !hasResource(entry); }) ||
           std::any_of(nodes.begin(), nodes.end(),
                       [](const ZRKJson& entry) { return entry.contains("import"); });
}

EditSession::PasteReading EditSession::startPaste(std::string text) const
{
    LoadSettings load = _settings.load;
    load.resources = nullptr;
    return [text = std::move(text), load, name = _document.name(), unit = _document.unit(),
            folder = wholeFolder(folder()), resources = _parts.root().value("resources", ZRKJson::array())](
               zrk::ProgressMonitor* monitor) -> zrk::Result<PasteText> {
        auto fragment = readFragment(text);
        if (!fragment) {
            return zrk::refused(std::move(fragment.error()));
        }
        PasteText pasted{std::move(*fragment), folder};
        rebasePaths(pasted.fragment, folder);
        pasted.uuids = uuidsOf(resources);
        pasted.uuids.merge(uuidsOf(pasted.fragment.value("resources", ZRKJson::array())));
        LoadSettings settings = load;
        settings.monitor = monitor ? monitor : load.monitor;
        const ZRKJson part = readablePart(pasted, unit, resources);
        auto read = GraphDocument::parse(part.dump(-1, ' ', false, ZRKJson::error_handler_t::replace), name,
                                         pasted.warnings, settings);
        if (!read) {
            return zrk::refused(std::move(read.error()));
        }
        pasted.read = std::make_shared<GraphDocument>(std::move(*read));
        return pasted;
    };
}

/// Adds the resources of a fragment, or finds that they are there, and names them in it as they are then.
zrk::Result<void> EditSession::pasteResources(PasteText& text, DocumentWarnings& warnings,
                                              zrk::ProgressMonitor* monitor)
{
    ZRKJson& fragment = text.fragment;
    const auto readOf = [&](const std::string& uuid) -> std::shared_ptr<ZRKSerializableObject> {
        const auto index = text.read ? text.read->resources()->indexOf(ZRKuuid(uuid)) : std::nullopt;
        return index ? text.read->resources()->objects()[*index] : nullptr;
    };
    ZRKJson pending = fragment.value("resources", ZRKJson::array());
    while (!pending.empty()) {
        ZRKJson later = ZRKJson::array();
        for (std::size_t i = 0; i < pending.size(); ++i) {
            const ZRKJson entry = pending[i];
            const ZRKJson* uuid = entry.is_object() && entry.contains("uuid") ? &entry["uuid"] : nullptr;
            if (!uuid || !uuid->is_string()) {
                return zrk::refused({"clipboard, \"resources\"", shown(entry), "an object with a uuid",
                                     "copy the nodes again"});
            }
            const auto name = uuid->get<std::string>();
            // A group waits for the members that come with it.
            const bool waits = std::any_of(pending.begin(), pending.end(), [&](const ZRKJson& other) {
                const ZRKJson members = entry.value("members", ZRKJson::array());
                return other != entry && other.is_object() && other.contains("uuid") &&
                       other["uuid"].is_string() && mentions(members, other["uuid"].get<std::string>());
            });
            if (waits) {
                later.push_back(entry);
                continue;
            }
            ZRKJson added = entry;
            if (hasResource(entry)) {
                continue;
            }
            if (_parts.resources().indexOf(ZRKuuid(name))) {
                const std::string newName = newResourceUuid();
                for (ZRKJson* part : {&fragment["nodes"], &pending, &later}) {
                    replaceText(*part, name, newName);
                }
                added["uuid"] = newName;
            }
            if (const auto object = readOf(name)) {
                object->setUuid(ZRKuuid(added["uuid"].get<std::string>()));
                addResource(added, object);
            } else if (const auto known = addResource(added, &warnings, monitor); !known) {
                return zrk::refused(known.error());
            }
            pending[i] = nullptr; // nobody waits for it any more
        }
        if (later.size() == pending.size()) {
            return zrk::refused({"clipboard, \"resources\"", "groups that contain each other",
                                 "groups that lead one way", "remove the member that closes the cycle"});
        }
        pending = std::move(later);
    }
    return {};
}

/// Makes the links again that came from nodes outside; returns how many couldn't be made.
std::size_t EditSession::linkFromOutside(const ZRKJson& links, const std::map<int, int>& newIds)
{
    std::size_t dropped = 0;
    for (const ZRKJson& link : links.is_array() ? links : ZRKJson::array()) {
        const bool isLink = link.is_object() && isPinPair(link, "from") && isPinPair(link, "to");
        const auto to = isLink ? newIds.find(link["to"][0].get<int>()) : newIds.end();
        if (to == newIds.end()) {
            ++dropped;
            continue;
        }
        const Pin_handle input =
            Pin_handle::input(static_cast<std::uint16_t>(to->second), link["to"][1].get<std::uint8_t>());
        dropped += connect(DocumentParts::from(link), input) == ZRKLinkResult::Done ? 0 : 1;
    }
    return dropped;
}

zrk::Result<Pasted> EditSession::paste(const std::string& text, const PasteSettings& settings)
{
    return readFragment(text).and_then([&](ZRKJson fragment) {
        rebasePaths(fragment, wholeFolder(folder()));
        return paste(PasteText{std::move(fragment), wholeFolder(folder())}, settings);
    });
}

zrk::Result<Pasted> EditSession::paste(PasteText text, const PasteSettings& settings)
{
    return perform("Paste", "", [&] {
        const ReadNodes read = takeRead(text);
        return pasteFragment(std::move(text), settings, read);
    });
}

/// The nodes that were read, by their ids in the fragment. Those that may use a resource which the document
/// got meanwhile are to be read again, but for what they import.
EditSession::ReadNodes EditSession::takeRead(const PasteText& text) const
{
    ReadNodes taken;
    if (!text.read) {
        return taken;
    }
    std::set<std::string> newUuids = uuidsOf(_parts.root().value("resources", ZRKJson::array()));
    std::erase_if(newUuids, [&](const std::string& uuid) { return text.uuids.contains(uuid); });
    text.read->graph()->setSilent(true);
    for (const ZRKJson& entry : text.fragment["nodes"]) {
        const auto id = entry["id"].get<std::uint16_t>();
        const auto node = text.read->graph()->getNodePtr(id);
        if (!node) {
            continue;
        }
        const std::shared_ptr<ZRKGraphObject> object = node->object;
        text.read->graph()->removeNode(id);
        if (const auto* holder = dynamic_cast<const ZRKDataHolder*>(object.get())) {
            taken.imported.emplace(id, holder->held());
        }
        if (text.whole.contains(id) && !mentionsAny(entry, newUuids)) {
            taken.objects.emplace(id, object);
        }
    }
    return taken;
}

/// @param read  of nodes by their ids in the fragment.
zrk::Result<Pasted> EditSession::pasteFragment(PasteText text, const PasteSettings& settings,
                                               const ReadNodes& read)
{
    ZRKJson& fragment = text.fragment;
    if (const std::filesystem::path now = wholeFolder(folder()); now != text.folder) {
        rebaseDocument(fragment, text.folder, now);
    }
    Pasted pasted;
    pasted.warnings = std::move(text.warnings);
    if (const auto added = pasteResources(text, pasted.warnings, settings.monitor); !added) {
        return zrk::refused(added.error());
    }
    const zrk::Result<int> first = nextId();
    if (!first) {
        return zrk::refused(first.error());
    }
    std::map<int, int> newIds;
    ReadNodes known;
    int id = *first;
    for (ZRKJson& entry : fragment["nodes"]) {
        const int former = entry["id"].get<int>();
        while (id <= static_cast<int>(kMaxNodeId) && _watched.contains(static_cast<std::uint16_t>(id))) {
            ++id;
        }
        newIds[former] = id;
        const auto formerId = static_cast<std::uint16_t>(former);
        const auto newId = static_cast<std::uint16_t>(id);
        if (const auto imported = read.imported.find(formerId); imported != read.imported.end()) {
            known.imported.emplace(newId, imported->second);
        }
        if (const auto object = read.objects.find(formerId); object != read.objects.end()) {
            known.objects.emplace(newId, object->second);
        }
        entry["id"] = id++;
        entry.erase("bypass"); // it names nodes by their former ids
        shiftPosition(entry, settings.dx, settings.dy);
    }
    auto nodes = insertNodes(std::move(fragment["nodes"]), pasted.warnings, settings.monitor, known);
    if (!nodes) {
        return zrk::refused(std::move(nodes.error()));
    }
    pasted.nodes = std::move(*nodes);
    for (const ZRKJson& link : fragment.value("links", ZRKJson::array())) {
        const auto end = [&](const char* key) {
            return static_cast<std::uint16_t>(newIds.at(link[key][0].get<int>()));
        };
        const auto linked = this->link(Pin_handle::output(end("from"), link["from"][1].get<std::uint8_t>()),
                                       Pin_handle::input(end("to"), link["to"][1].get<std::uint8_t>()));
        if (!linked) {
            return zrk::refused(linked.error());
        }
    }
    if (settings.keepsOuterLinks) {
        pasted.droppedLinks = linkFromOutside(fragment.value("outerLinks", ZRKJson::array()), newIds);
    }
    select(pasted.nodes);
    return pasted;
}

zrk::Result<Pasted> EditSession::duplicate(const std::vector<std::uint16_t>& nodes, double dx, double dy)
{
    return perform("Duplicate", "", [&] {
        return fragment(nodes).and_then([&](ZRKJson copied) {
            ReadNodes known;
            for (const std::uint16_t node : nodes) {
                if (auto held = entry(node)->contains("import") ? heldBy(node) : std::nullopt) {
                    known.imported.emplace(node, std::move(*held));
                }
            }
            return pasteFragment({std::move(copied), wholeFolder(folder())}, {true, dx, dy}, known);
        });
    });
}

} // namespace zrkmodel
