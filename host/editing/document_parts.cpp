#include "host/editing/document_parts.h"

#include "host/stored_paths.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace zrkmodel {

namespace {

/// Puts a member of an object in a place among the others; removes it without a value.
void putMember(ZRKJson& object, const std::string& key, std::size_t index,
               const std::optional<ZRKJson>& value)
{
    const auto known = object.find(key);
    if (!value) {
        object.erase(key);
    } else if (known != object.end()) {
        *known = *value;
    } else {
        auto& members = object.get_ref<ZRKJson::object_t&>();
        ZRKJson::object_t changed;
        changed.reserve(members.size() + 1);
        for (auto& member : members) {
            if (changed.size() == index) {
                changed.emplace_back(key, *value);
            }
            changed.emplace_back(member.first, std::move(member.second));
        }
        if (changed.size() == members.size()) {
            changed.emplace_back(key, *value);
        }
        object = ZRKJson(std::move(changed));
    }
}

void insertElement(ZRKJson& array, std::size_t index, const ZRKJson& element)
{
    array.insert(array.begin() + static_cast<std::ptrdiff_t>(std::min(index, array.size())), element);
}

} // namespace

DocumentParts::DocumentParts(GraphDocument& document) : _document(&document)
{
    for (const char* key : {"nodes", "links"}) {
        if (!root().contains(key)) {
            _document->_root[key] = ZRKJson::array();
        }
    }
}

Pin_handle DocumentParts::pin(const ZRKJson& pair, bool isOutput)
{
    const auto node = pair[0].get<std::uint16_t>();
    const auto index = pair[1].get<std::uint8_t>();
    return isOutput ? Pin_handle::output(node, index) : Pin_handle::input(node, index);
}

ZRKJson DocumentParts::linkBetween(Pin_handle from, Pin_handle to)
{
    return {{"from", {from.node(), from.index()}}, {"to", {to.node(), to.index()}}};
}

const ZRKJson* DocumentParts::entry(std::uint16_t node) const
{
    const auto index = _document->_nodeIndex.find(node);
    return index == _document->_nodeIndex.end() ? nullptr : &root()["nodes"][index->second];
}

std::size_t DocumentParts::linkPlace(Pin_handle input) const
{
    const ZRKJson& links = root()["links"];
    const auto found =
        std::find_if(links.begin(), links.end(), [&](const ZRKJson& link) { return to(link) == input; });
    return static_cast<std::size_t>(found - links.begin());
}

std::size_t DocumentParts::resourceCount() const
{
    const auto resources = root().find("resources");
    return resources == root().end() ? 0 : resources->size();
}

void DocumentParts::countPlaces(std::size_t first)
{
    const ZRKJson& nodes = root()["nodes"];
    for (std::size_t i = first; i < nodes.size(); ++i) {
        _document->_nodeIndex[nodes[i]["id"].get<std::uint16_t>()] = i;
    }
}

void DocumentParts::insertNode(const NodeChange& node)
{
    insertElement(_document->_root["nodes"], node.index, node.entry);
    graph().addNode(node.object, node.node);
    countPlaces(node.index);
}

void DocumentParts::eraseNode(std::uint16_t node)
{
    const std::size_t index = place(node);
    graph().removeNode(node);
    _document->_root["nodes"].erase(index);
    _document->_nodeIndex.erase(node);
    countPlaces(index);
}

ZRKLinkResult DocumentParts::insertLink(std::size_t index, const ZRKJson& link)
{
    const ZRKLinkResult result = graph().connect(from(link), to(link));
    if (result == ZRKLinkResult::Done) {
        insertElement(_document->_root["links"], index, link);
    }
    return result;
}

void DocumentParts::eraseLink(std::size_t index)
{
    ZRKJson& links = _document->_root["links"];
    graph().disconnect(to(links[index]));
    links.erase(index);
}

void DocumentParts::insertResource(const ResourceChange& resource)
{
    resources().insert(resource.index, resource.entry, resource.object);
    insertElement(_document->_root["resources"], resource.index, resource.entry);
}

void DocumentParts::eraseResource(std::size_t index)
{
    resources().erase(index);
    _document->_root["resources"].erase(index);
}

void DocumentParts::rebase(const std::filesystem::path& from, const std::filesystem::path& to)
{
    rebaseDocument(_document->_root, from, to);
    resources().setFolder(to);
}

const ZRKJson* DocumentParts::object(MemberChange::Place place, std::uint16_t node) const
{
    if (place == MemberChange::Place::Node) {
        return entry(node);
    }
    const auto view = root().find("view");
    return place == MemberChange::Place::Document ? &root() : view == root().end() ? nullptr : &*view;
}

MemberChange DocumentParts::memberChange(MemberChange::Place place, std::uint16_t node,
                                         const std::string& key, std::optional<ZRKJson> value) const
{
    MemberChange change{place, node, key, 0, std::nullopt, std::move(value)};
    const ZRKJson* around = object(place, node);
    if (!around || !around->is_object()) {
        return change;
    }
    const auto member = around->find(key);
    change.index = static_cast<std::size_t>(std::distance(around->begin(), member)); // the end for a new one
    if (member != around->end()) {
        change.before = *member;
    }
    return change;
}

zrk::Result<void> DocumentParts::setMember(const MemberChange& change, bool forward)
{
    const std::optional<ZRKJson>& value = forward ? change.after : change.before;
    const bool isDocument = change.place == MemberChange::Place::Document;
    if (isDocument && change.key == "context") {
        if (const auto read = readContext(value); !read) {
            return read;
        }
    }
    if (isDocument && change.key == "output") {
        _document->_output.reset();
        if (value && value->is_array()) {
            const Pin_handle output = pin(*value, true);
            _document->_output = PinAddress{output.node(), output.index()};
        }
    }
    if (ZRKJson* around = const_cast<ZRKJson*>(object(change.place, change.node))) {
        putMember(*around, change.key, change.index, value);
    }
    return {};
}

/// By way of a document that has nothing else.
zrk::Result<void> DocumentParts::readContext(const std::optional<ZRKJson>& context)
{
    ZRKJson only{{"zrkGraph", 1}};
    if (context) {
        only["context"] = *context;
    }
    DocumentWarnings warnings;
    return GraphDocument::parse(only.dump(), _document->_name, warnings)
        .map([this](const GraphDocument& read) {
            graph().setContext(std::shared_ptr<const ZRKContext>(read.graph(), &read.graph()->context()));
        });
}

} // namespace zrkmodel
