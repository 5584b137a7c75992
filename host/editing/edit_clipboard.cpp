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

std::optional<std::string> EditSession::filesOfPaste(const std::string& text) const
{
    auto fragment = readFragment(text);
    if (!fragment) {
        return std::nullopt; // pasting tells
    }
    rebasePaths(*fragment, wholeFolder(folder()));
    ZRKJson files{{"zrkGraph", 1}, {"resources", ZRKJson::array()}, {"nodes", ZRKJson::array()}};
    if (const std::string unit = _document.unit(); !unit.empty()) {
        files["context"] = {{"unit", unit}};
    }
    for (const ZRKJson& entry : fragment->value("resources", ZRKJson::array())) {
        const bool isFile = entry.is_object() && entry.contains("path") && entry.contains("uuid") &&
                            entry["uuid"].is_string();
        if (isFile && !hasResource(entry)) {
            files["resources"].push_back(entry);
        }
    }
    for (ZRKJson entry : (*fragment)["nodes"]) {
        if (entry.contains("import")) {
            entry.erase("values");
            files["nodes"].push_back(std::move(entry));
        }
    }
    const bool isAny = !files["resources"].empty() || !files["nodes"].empty();
    return isAny ? std::optional(documentText(files)) : std::nullopt;
}

/// Adds the resources of a fragment, or finds that they are there, and names them in it as they are then.
zrk::Result<void> EditSession::pasteResources(ZRKJson& fragment, DocumentWarnings& warnings,
                                              const PasteSettings& settings)
{
    const auto readOf = [&](const std::string& uuid) -> std::shared_ptr<ZRKSerializableObject> {
        const auto index = settings.read ? settings.read->resources()->indexOf(ZRKuuid(uuid)) : std::nullopt;
        return index ? settings.read->resources()->objects()[*index] : nullptr;
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
            } else if (const auto known = addResource(added, &warnings, settings.monitor); !known) {
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
    return perform("Paste", "", [&] {
        return readFragment(text).and_then([&](ZRKJson fragment) {
            HeldByNode imported;
            if (settings.read) {
                for (const auto& node : settings.read->graph()->nodes()) {
                    if (const auto* holder = dynamic_cast<const ZRKDataHolder*>(node->object.get())) {
                        imported.emplace(node->id, holder->held());
                    }
                }
            }
            return pasteFragment(std::move(fragment), settings, imported);
        });
    });
}

/// @param imported  of nodes of the fragment, which isn't read again then.
zrk::Result<Pasted> EditSession::pasteFragment(ZRKJson fragment, const PasteSettings& settings,
                                               const HeldByNode& imported)
{
    rebasePaths(fragment, wholeFolder(folder()));
    Pasted pasted;
    if (const auto added = pasteResources(fragment, pasted.warnings, settings); !added) {
        return zrk::refused(added.error());
    }
    const zrk::Result<int> first = nextId();
    if (!first) {
        return zrk::refused(first.error());
    }
    std::map<int, int> newIds;
    HeldByNode held;
    int id = *first;
    for (ZRKJson& entry : fragment["nodes"]) {
        const int former = entry["id"].get<int>();
        while (id <= static_cast<int>(kMaxNodeId) && _watched.contains(static_cast<std::uint16_t>(id))) {
            ++id;
        }
        newIds[former] = id;
        if (const auto known = imported.find(static_cast<std::uint16_t>(former)); known != imported.end()) {
            held.emplace(static_cast<std::uint16_t>(id), known->second);
        }
        entry["id"] = id++;
        entry.erase("bypass"); // it names nodes by their former ids
        shiftPosition(entry, settings.dx, settings.dy);
    }
    auto nodes = insertNodes(fragment["nodes"], pasted.warnings, settings.monitor, held);
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
            HeldByNode imported;
            for (const std::uint16_t node : nodes) {
                if (auto held = entry(node)->contains("import") ? heldBy(node) : std::nullopt) {
                    imported.emplace(node, std::move(*held));
                }
            }
            return pasteFragment(std::move(copied), {true, dx, dy}, imported);
        });
    });
}

} // namespace zrkmodel
