#include "host/document_values.h"
#include "host/editing/edit_session.h"
#include "host/geometry_reader.h"
#include "model/graph_object.h"
#include "model/type_info.h"

#include <fmt/core.h>

#include <iterator>
#include <utility>

namespace zrkmodel {

zrk::Result<std::shared_ptr<ZRKSerializableObject>>
EditSession::readResource(const ZRKJson& entry, DocumentWarnings* warnings,
                          zrk::ProgressMonitor* monitor) const
{
    DocumentWarnings unheard;
    return _parts.resources().read(entry, _document.name() + ", new resource", paths(), monitor,
                                   _document.unit(), warnings ? *warnings : unheard);
}

void EditSession::insertResource(const ZRKJson& entry, std::size_t index,
                                 std::shared_ptr<ZRKSerializableObject> object)
{
    if (!_parts.root().contains("resources")) {
        MemberChange list =
            _parts.memberChange(MemberChange::Place::Document, 0, "resources", ZRKJson::array());
        // Before the nodes, which refer to them.
        list.index =
            static_cast<std::size_t>(std::distance(_parts.root().begin(), _parts.root().find("nodes")));
        (void)_parts.setMember(list, true);
        record(std::move(list));
    }
    ResourceChange change{true, index, entry, std::move(object)};
    _parts.insertResource(change);
    record(std::move(change));
}

void EditSession::eraseResource(std::size_t index)
{
    ResourceChange change{false, index, _parts.root()["resources"][index],
                          _parts.resources().objects()[index]};
    _parts.eraseResource(index);
    record(std::move(change));
}

zrk::Result<std::string> EditSession::addResource(ZRKJson entry, DocumentWarnings* warnings,
                                                  zrk::ProgressMonitor* monitor)
{
    return perform("Add resource", "", [&]() -> zrk::Result<std::string> {
        if (entry.is_object() && !entry.contains("uuid")) {
            ZRKJson named{{"uuid", newResourceUuid()}};
            named.update(entry);
            entry = std::move(named);
        }
        auto object = readResource(entry, warnings, monitor);
        if (!object) {
            return zrk::refused(std::move(object.error()));
        }
        const auto uuid = entry["uuid"].get<std::string>();
        if (_parts.resources().indexOf(ZRKuuid(uuid))) {
            return zrk::refused(fault("new resource, \"uuid\"", shown(entry["uuid"]) + " a second time",
                                      "a uuid that no other resource has",
                                      "leave the uuid out, or replace the resource that has it"));
        }
        addResource(entry, std::move(*object));
        return uuid;
    });
}

void EditSession::addResource(const ZRKJson& entry, std::shared_ptr<ZRKSerializableObject> object)
{
    insertResource(entry, _parts.resourceCount(), std::move(object));
    std::vector<Restored> restored;
    rebind(entry["uuid"].get<std::string>(), true, restored); // of those that waited for it
    announce(restored);
}

/// Who uses a resource, for messages; empty where nobody does.
std::string EditSession::userOf(const std::string& uuid) const
{
    for (const auto& [node, watched] : _watched) {
        if (mentions(watched.values, uuid)) {
            return nodeText(node);
        }
    }
    for (std::size_t i = 0; i < _parts.resourceCount(); ++i) {
        const ZRKJson& entry = _parts.root()["resources"][i];
        if (isGroup(entry) && mentions(entry["members"], uuid)) {
            return "the group " + shown(entry["uuid"]);
        }
    }
    return "";
}

zrk::Result<void> EditSession::removeResource(const std::string& uuid)
{
    return perform("Remove resource", "", [&]() -> zrk::Result<void> {
        const auto index = _parts.resources().indexOf(ZRKuuid(uuid));
        const std::string place = "resource " + zrk::quotation(uuid);
        if (!index) {
            return zrk::refused(fault(place, "no such resource", "the uuid of a resource of the document",
                                      "take one of the resources that are there"));
        }
        if (const std::string user = userOf(uuid); !user.empty()) {
            return zrk::refused(fault(place, "a resource that " + user + " uses", "one that nobody uses",
                                      "let that use another one first"));
        }
        eraseResource(*index);
        return {};
    });
}

zrk::Result<std::size_t> EditSession::removeUnusedResources()
{
    return perform("Remove unused resources", "", [&]() -> zrk::Result<std::size_t> {
        std::size_t removed = 0;
        // From the end, again and again: groups go before their members.
        for (std::size_t i = _parts.resourceCount(); i-- > 0;) {
            if (userOf(_parts.root()["resources"][i]["uuid"].get<std::string>()).empty()) {
                eraseResource(i);
                ++removed;
                i = _parts.resourceCount();
            }
        }
        return removed;
    });
}

} // namespace zrkmodel
