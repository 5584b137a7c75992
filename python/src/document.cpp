#include "python/src/document.h"

#include "formats/part.h"
#include "host/document_values.h"
#include "model/type_info.h"

#include <fmt/core.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <set>
#include <unordered_map>

namespace zrkpython {

using zrkmodel::Pin_handle;
using zrkmodel::ZRKJson;

namespace {

ZRKJson cornersJson(const zrk::BBox<double>& box)
{
    return {{box.min[0], box.min[1], box.min[2]}, {box.max[0], box.max[1], box.max[2]}};
}

/// What the context of a document tells.
std::shared_ptr<zrkmodel::DocumentContext> contextOf(const zrkmodel::ZRKContext& context)
{
    auto copy = std::make_shared<zrkmodel::DocumentContext>();
    copy->bounds = context.modelBounds();
    copy->localBounds = context.modelLocalBounds();
    copy->transform = context.modelTransform();
    return copy;
}

std::filesystem::path folderOf(const std::string& documentName)
{
    return std::filesystem::absolute(documentName).parent_path().lexically_normal();
}

/// Changes the paths of a value as documents have them: one, several, or one with options beside it.
ZRKJson changePaths(ZRKJson value, const std::function<std::filesystem::path(const std::string&)>& change)
{
    if (value.is_string()) {
        value = change(value.get<std::string>()).string();
    } else if (value.is_array()) {
        for (ZRKJson& each : value) {
            each = changePaths(std::move(each), change);
        }
    } else if (value.is_object() && value.contains("path")) {
        value["path"] = changePaths(std::move(value["path"]), change);
    }
    return value;
}

ZRKJson withWholePaths(const ZRKJson& value, const std::filesystem::path& folder)
{
    return changePaths(value, [&](const std::string& path) { return (folder / path).lexically_normal(); });
}

ZRKJson withRelativePaths(const ZRKJson& value, const std::filesystem::path& folder)
{
    return changePaths(value, [&](const std::string& path) {
        const std::filesystem::path relative = std::filesystem::path(path).lexically_relative(folder);
        return relative.empty() ? std::filesystem::path(path) : relative;
    });
}

/// The path that a node of the document in a file imports; null where there is none.
ZRKJson importAt(const std::string& documentFile, std::uint16_t id)
{
    std::ifstream file(documentFile, std::ios::binary);
    const ZRKJson document = ZRKJson::parse(file, nullptr, false);
    if (document.is_object() && document.contains("nodes")) {
        for (const ZRKJson& node : document["nodes"]) {
            if (node.is_object() && node.contains("id") && node["id"] == id && node.contains("import")) {
                const ZRKJson& import = node["import"];
                return import.is_object() && import.contains("path") ? import["path"] : import;
            }
        }
    }
    return {};
}

} // namespace

std::unique_ptr<Document> Document::taken(std::pair<zrkmodel::GraphDocument, zrkmodel::DocumentWarnings> read)
{
    std::unique_ptr<Document> document(new Document(std::move(read.first)));
    document->_warnings = std::move(read.second);
    document->takeNodes();
    return document;
}

std::unique_ptr<Document> Document::load(const std::string& path, const py::object& progress)
{
    return taken(runningApart(progress, [path](zrk::ProgressMonitor& monitor) {
        zrkmodel::DocumentWarnings warnings;
        auto document = zrk::valueOrThrow(zrkmodel::GraphDocument::load(path, warnings, &monitor));
        return std::pair(std::move(document), std::move(warnings));
    }));
}

std::unique_ptr<Document> Document::parse(const std::string& text, const std::string& name,
                                          const py::object& progress)
{
    return taken(runningApart(progress, [text, name](zrk::ProgressMonitor& monitor) {
        zrkmodel::DocumentWarnings warnings;
        auto document = zrk::valueOrThrow(zrkmodel::GraphDocument::parse(text, name, warnings, &monitor));
        return std::pair(std::move(document), std::move(warnings));
    }));
}

std::unique_ptr<Document> Document::create(const std::string& name)
{
    std::unique_ptr<Document> document(new Document(zrkmodel::GraphDocument::create(name)));
    document->takeNodes();
    return document;
}

/// Makes the nodes of the graph that was loaded.
void Document::takeNodes()
{
    _context = contextOf(_document.graph()->context());
    std::unordered_map<std::string, SharedResource> resources;
    const ZRKJson* entries = _document.member("resources");
    const auto objects = _document.resources()->objects();
    for (std::size_t i = 0; entries && i < objects.size(); ++i) {
        auto resource = std::make_shared<Resource>();
        resource->object = objects[i];
        resource->entry = (*entries)[i].is_object() && (*entries)[i].contains("path")
                              ? withWholePaths((*entries)[i], folderOf(_document.name()))
                              : (*entries)[i];
        resources[resource->uuid()] = std::move(resource);
    }
    for (auto& [uuid, resource] : resources) {
        if (const auto members = resource->entry.find("members"); members != resource->entry.end()) {
            for (const ZRKJson& member : *members) {
                const auto found = resources.find(member.get<std::string>());
                if (found != resources.end()) {
                    resource->members.push_back(found->second);
                }
            }
        }
    }
    std::unordered_map<std::uint16_t, SharedNode> byId;
    for (const auto& record : _document.graph()->nodes()) {
        auto node = std::make_shared<Node>(
            record->object,
            fmt::format("{}, node {} ({})", _document.name(), record->id, record->object->typeInfo().name),
            _context);
        std::vector<SharedResource> used;
        forEachString(node->stored(), [&](const std::string& text) {
            if (const auto found = resources.find(text); found != resources.end()) {
                used.push_back(found->second);
            }
        });
        node->setResources(std::move(used));
        if (const ZRKJson* entry = _document.nodeEntry(record->id); entry && entry->contains("import")) {
            node->setImported(withWholePaths((*entry)["import"], folderOf(_document.name())));
        }
        byId[record->id] = node;
        _nodes.emplace_back(record->id, std::move(node));
    }
    for (const auto& record : _document.graph()->nodes()) {
        for (const zrkmodel::ZRKGraphPin& input : record->inputs) {
            for (const Pin_handle from : input.connections) {
                byId[record->id]->connect(input.handle.index(), {byId[from.node()], from.index()});
            }
        }
    }
}

std::vector<std::string> Document::warnings() const
{
    std::vector<std::string> texts;
    for (const zrk::Fault& warning : _warnings) {
        texts.push_back(zrk::messageOf(warning));
    }
    return texts;
}

Document::Output Document::output() const
{
    const auto& output = _document.output();
    return output ? Output(std::pair(output->node, output->output)) : std::nullopt;
}

void Document::setUnit(const std::string& unit)
{
    zrk::valueOrThrow(zrk::lengthUnit("unit", unit));
    const ZRKJson* former = _document.member("context");
    ZRKJson context = former && former->is_object() ? *former : ZRKJson::object();
    context["unit"] = unit;
    _document.setMember("context", context);
}

zrk::BBox<double> Document::bounds() const
{
    return _context->bounds.value_or(zrk::BBox<double>({0, 0, 0}, {1, 1, 1}));
}

void Document::setBounds(const Corner& lower, const Corner& upper, const NodeList& nodes)
{
    auto changed = contextOf(*_context);
    changed->bounds.emplace(zrk::Tensor<3, double>{lower[0], lower[1], lower[2]},
                            zrk::Tensor<3, double>{upper[0], upper[1], upper[2]});
    const ZRKJson* former = _document.member("context");
    ZRKJson context = former && former->is_object() ? *former : ZRKJson::object();
    context["modelBounds"] = cornersJson(*changed->bounds);
    _document.setMember("context", context);
    _context = std::move(changed);
    for (const auto& [id, node] : nodes) {
        node->setContext(_context);
    }
}

/// What the document's file is called without its endings.
std::string Document::stem() const
{
    const std::string file = std::filesystem::path(_document.name()).filename().string();
    return file.substr(0, file.find(".zrk.json"));
}

/// What the mesh that a node was given as arrays is called beside the document: a name that is free, or that
/// of the file which the same node of the document in that place has, so that nobody else's file is written
/// over.
std::string Document::importName(std::uint16_t id) const
{
    const std::filesystem::path folder = folderOf(_document.name());
    std::optional<ZRKJson> former; // its own name in that document, null where it has none
    for (int count = 1;; ++count) {
        const std::string name =
            fmt::format("{}_node{}{}.obj", stem(), id, count > 1 ? fmt::format("_{}", count) : "");
        std::error_code error;
        if (!std::filesystem::exists(std::filesystem::symlink_status(folder / name, error))) {
            return name;
        }
        if (!former) {
            former = importAt(_document.name(), id);
        }
        if (*former == name) {
            return name;
        }
    }
}

/// Has the document name what a node imports. What it has already stays as it is written.
void Document::takeImport(std::uint16_t id, const Node& node)
{
    const std::filesystem::path folder = folderOf(_document.name());
    if (!node.importSource().is_none()) {
        ZRKJson entry = node.imported();
        if (entry.is_null()) {
            entry = importName(id);
        } else {
            entry["path"] = importName(id);
        }
        _document.setNodeMember(id, "import", entry);
        return;
    }
    const ZRKJson* entry = _document.nodeEntry(id);
    const bool isSame =
        entry && entry->contains("import") && withWholePaths((*entry)["import"], folder) == node.imported();
    if (!isSame) {
        _document.setNodeMember(id, "import", withRelativePaths(node.imported(), folder));
    }
}

/// Gives the graph these nodes and their links.
void Document::takeGraph(const NodeList& nodes)
{
    zrkmodel::ZRKGraph& graph = *_document.graph();
    graph.setSilent(true);
    std::unordered_map<const Node*, std::uint16_t> ids;
    std::unordered_map<std::uint16_t, const Node*> byId;
    for (const auto& [id, node] : nodes) {
        ids[node.get()] = id;
        byId[id] = node.get();
    }
    std::vector<std::uint16_t> gone;
    for (const auto& record : graph.nodes()) {
        const auto same = byId.find(record->id);
        if (same == byId.end() || same->second->object() != record->object) {
            gone.push_back(record->id);
        }
    }
    for (const std::uint16_t id : gone) {
        graph.removeNode(id);
    }
    for (const auto& [id, node] : nodes) {
        if (!graph.getNodePtr(id)) {
            graph.addNode(node->object(), id);
            _document.setNodeMember(id, "position", nullptr);
        }
        takeImport(id, *node);
    }
    // Links that go come first, as those that come may need their inputs and their order.
    for (const bool connects : {false, true}) {
        for (const auto& [id, node] : nodes) {
            for (std::size_t i = 0; i < node->sources().size(); ++i) {
                const Source& source = node->sources()[i];
                const Pin_handle input = Pin_handle::input(id, static_cast<std::uint8_t>(i));
                const Pin_handle wanted =
                    source.node ? Pin_handle::output(ids.at(source.node.get()), source.output) : Pin_handle();
                if (graph.upstream(input).handle == wanted) {
                    continue;
                }
                if (!connects) {
                    graph.disconnect(input);
                } else if (wanted.isValid()) {
                    graph.connect(wanted, input);
                }
            }
        }
    }
    graph.setSilent(false);
}

void Document::takeOutput(const NodeList& nodes, const Output& output)
{
    const bool isThere = output && std::any_of(nodes.begin(), nodes.end(), [&](const auto& entry) {
                             return entry.first == output->first;
                         });
    _document.setOutput(isThere ? std::optional(zrkmodel::PinAddress{output->first, output->second})
                                : std::nullopt);
}

/// Adds the resources that nodes use and the document hasn't. Returns those that lie in no file.
std::vector<SharedResource> Document::takeResources(const NodeList& nodes)
{
    const ZRKJson* former = _document.member("resources");
    ZRKJson entries = former ? *former : ZRKJson::array();
    std::map<std::string, std::size_t> places;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        places[entries[i]["uuid"].get<std::string>()] = i;
    }
    const std::filesystem::path folder = folderOf(_document.name());
    std::vector<SharedResource> withoutFile;
    std::set<const Resource*> met;
    const std::function<void(const SharedResource&)> take = [&](const SharedResource& resource) {
        if (!met.insert(resource.get()).second) {
            return;
        }
        for (const SharedResource& member : resource->members) {
            take(member);
        }
        ZRKJson entry = resource->entry;
        const std::string kind = entry["kind"].get<std::string>();
        const bool needsFile = kind != "geometry" || entry["shape"] == "mesh";
        if (entry.contains("path")) {
            entry = withRelativePaths(entry, folder);
        } else if (needsFile) {
            const char* ending = kind == "image2d" ? "png" : kind == "image3d" ? "npy" : "obj";
            entry["path"] = fmt::format("{}_{}.{}", stem(), resource->uuid().substr(0, 8), ending);
            withoutFile.push_back(resource);
        }
        const auto [place, isNew] = places.emplace(resource->uuid(), entries.size());
        if (isNew) {
            entries.push_back(std::move(entry));
        } else if (!resource->entry.contains("path") && needsFile) {
            entries[place->second] = std::move(entry);
        }
    };
    for (const auto& [id, node] : nodes) {
        for (const SharedResource& resource : node->resources()) {
            take(resource);
        }
    }
    if (!entries.empty()) {
        _document.setMember("resources", entries);
    }
    return withoutFile;
}

std::string Document::text(const NodeList& nodes, const Output& output)
{
    takeGraph(nodes);
    takeResources(nodes);
    takeOutput(nodes, output);
    return _document.toText();
}

void Document::save(const std::string& path, const NodeList& nodes, const Output& output,
                    const py::function& write, const py::object& progress)
{
    _document.moveTo(path);
    takeGraph(nodes);
    const std::vector<SharedResource> withoutFile = takeResources(nodes);
    takeOutput(nodes, output);
    const std::filesystem::path folder = std::filesystem::path(path).parent_path();
    const ZRKJson* entries = _document.member("resources");
    for (const SharedResource& resource : withoutFile) {
        for (const ZRKJson& entry : *entries) {
            if (entry["uuid"] == resource->uuid()) {
                write(resource, (folder / entry["path"].get<std::string>()).string());
            }
        }
    }
    std::vector<SharedNode> locked;
    for (const auto& [id, node] : nodes) {
        if (!node->importSource().is_none()) {
            write(node->importSource(), (folder / importName(id)).string());
        }
        locked.push_back(node);
    }
    run(progress, Where::Aside, [&](zrk::ProgressMonitor&) {
        const Node::ReadLocks locks = Node::lockForReading(locked);
        zrk::valueOrThrow(_document.save(path));
    });
}

} // namespace zrkpython
