#include "host/document_values.h"
#include "host/editing/edit_session.h"
#include "host/nearest_names.h"
#include "model/file_import.h"
#include "model/graph_object.h"
#include "model/property.h"

#include <fmt/core.h>

#include <algorithm>
#include <system_error>
#include <utility>

namespace zrkmodel {

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
        _touched.insert(node);
        _parts.graph().notifyDownstream(node, {"import", object.get()});
        return setMember(MemberChange::Place::Node, node, "import", stored.size() == 1 ? stored[0] : stored);
    });
}

// The document

zrk::Result<void> EditSession::setContext(const std::string& key, std::optional<ZRKJson> value)
{
    return perform(key == "modelBounds" ? "Set the bounds" : "Set " + key, "context " + key,
                   [&]() -> zrk::Result<void> {
                       const auto former = _parts.root().find("context");
                       ZRKJson context = former == _parts.root().end() ? ZRKJson::object() : *former;
                       if (value) {
                           context[key] = *value;
                       } else {
                           context.erase(key);
                       }
                       const bool isNone = context.empty() && former == _parts.root().end();
                       return setMember(MemberChange::Place::Document, 0, "context",
                                        isNone ? std::nullopt : std::optional(context))
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
        return setMember(MemberChange::Place::Document, 0, "output",
                         output ? std::optional(ZRKJson{output->node, output->output}) : std::nullopt);
    });
}

zrk::Result<void> EditSession::setView(const std::string& key, std::optional<ZRKJson> value)
{
    return perform("Set " + key, "view " + key,
                   [&] { return setMember(MemberChange::Place::View, 0, key, std::move(value)); });
}

} // namespace zrkmodel
