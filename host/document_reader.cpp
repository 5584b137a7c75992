#include "host/document_reader.h"

#include "core/engine/progress.h"
#include "core/values/stop.h"
#include "formats/part.h"
#include "host/document_context.h"
#include "host/document_json.h"
#include "host/document_values.h"
#include "host/geometry_reader.h"
#include "host/import_entry.h"
#include "host/nearest_names.h"
#include "host/type_lookup.h"
#include "model/document.h"
#include "model/file_import.h"
#include "model/graph_object.h"
#include "model/manual.h"
#include "model/pins.h"
#include "model/property.h"
#include "model/registry.h"
#include "model/serialization.h"
#include "model/type_info.h"

#include <fmt/core.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <utility>
#include <vector>

namespace zrkmodel {

namespace {

constexpr int kFormatVersion = 1;

/// The key of the greatest number among values; empty where none is a number.
std::string keyOfGreatest(const ZRKJson& values)
{
    std::string greatest;
    double size = 0;
    for (const auto& [key, value] : values.items()) {
        if (value.is_number() && std::abs(value.get<double>()) > size) {
            greatest = key;
            size = std::abs(value.get<double>());
        }
    }
    return greatest;
}

/// Null for a type that isn't registered.
const ZRKGraphObjectRegistration* registrationOf(const ZRKGraphObject& object)
{
    const ZRKTypeInfo& type = object.typeInfo();
    return ZRKGraphObject::registry().find(type.uuid, type.name);
}

/// The key whose value a component of this kind refuses to read; empty when it is none of them alone.
std::string unreadableKey(const ZRKGraphObject& object, const ZRKJson& values)
{
    const auto* registration = registrationOf(object);
    if (!registration) {
        return "";
    }
    for (const auto& [key, value] : values.items()) {
        ZRKJson single = ZRKJson::object();
        single[key] = value;
        try {
            registration->factory()->deserialize(ZRKDeserialization(single));
        } catch (const ZRKJson::exception&) {
            return key;
        }
    }
    return "";
}

/// Whether the way to a place, "poles/0/strength", leads through an item of a list.
bool isWithinList(const ZRKJson& values, const std::string& place)
{
    if (place.find('/') == std::string::npos || values.contains(place)) {
        return false; // contains() looks at all keys, so it is asked for those with a slash alone
    }
    const ZRKJson* value = &values;
    std::size_t start = 0;
    for (std::size_t end; (end = place.find('/', start)) != std::string::npos; start = end + 1) {
        const auto member = value->find(place.substr(start, end - start));
        if (!value->is_object() || member == value->end() || member->is_array()) {
            return true;
        }
        value = &*member;
    }
    return false;
}

/// Empty where nothing is known.
std::string didYouMean(const std::string& key, const std::vector<std::string>& known)
{
    return known.empty() ? "" : fmt::format("did you mean {}? ", nearestNames(key, known, 1));
}

std::string keyPlace(const std::string& place, const std::string& key)
{
    return key.empty()     ? place
           : place.empty() ? fmt::format("\"{}\"", key)
                           : fmt::format("{}, \"{}\"", place, key);
}

} // namespace

void DocumentReader::refuse(const std::string& place, const std::string& found, const std::string& expected,
                            const std::string& remedy) const
{
    throw zrk::FaultError({where(place), found, expected, remedy});
}

void DocumentReader::warn(const std::string& place, const std::string& found, const std::string& expected,
                          const std::string& remedy)
{
    _warnings.push_back({where(place), found, expected, remedy});
}

void DocumentReader::read(const std::string& text)
{
    _document._root = zrk::valueOrThrow(parseDocumentJson(text, _name));
    _document._graph = ZRKGraph::create();
    // Nobody listens yet; telling every node of every link would take a time that grows with the square.
    _document._graph->setSilent(true);
    readVersion();
    warnOfUnknown(_document._root, "",
                  {"$schema", "zrkGraph", "context", "resources", "nodes", "links", "output", "view"});
    readContext();
    readResources();
    readNodes();
    readLinks();
    warnOfLinksThatDontFit();
    readOutput();
    readView();
    _document._graph->setSilent(false);
}

void DocumentReader::warnOfUnknown(const ZRKJson& object, const std::string& place,
                                   const std::vector<std::string>& known)
{
    for (const auto& [key, member] : object.items()) {
        const bool isKnown = key == "comment" || std::find(known.begin(), known.end(), key) != known.end();
        if (!isKnown) {
            warn(keyPlace(place, key), "a key that documents don't know", "one of those they know here",
                 didYouMean(key, known) + "as it stands, the key is kept and not used");
        }
    }
}

void DocumentReader::readVersion()
{
    const ZRKJson& root = _document._root;
    const auto version = root.find("zrkGraph");
    if (version == root.end()) {
        refuse("\"zrkGraph\"", "no such member", "the format version",
               fmt::format("add \"zrkGraph\": {} to the document", kFormatVersion));
    }
    if (!version->is_number_integer()) {
        refuse("\"zrkGraph\"", shown(*version), "a whole number",
               fmt::format("write \"zrkGraph\": {}", kFormatVersion));
    }
    if (*version > kFormatVersion) {
        refuse("\"zrkGraph\"", fmt::format("format version {}", shown(*version)),
               fmt::format("at most {}", kFormatVersion),
               fmt::format("open it with a newer zrk, or save it as version {}", kFormatVersion));
    }
    if (*version != kFormatVersion) {
        refuse("\"zrkGraph\"", fmt::format("format version {}", shown(*version)),
               fmt::format("{}", kFormatVersion), fmt::format("write \"zrkGraph\": {}", kFormatVersion));
    }
}

/// The array under a key of the document; null when the key is missing.
const ZRKJson* DocumentReader::arrayMember(const char* key) const
{
    const auto member = _document._root.find(key);
    if (member == _document._root.end()) {
        return nullptr;
    }
    if (!member->is_array()) {
        refuse(fmt::format("\"{}\"", key), shown(*member), "an array",
               fmt::format("write \"{}\": [ ... ], or leave it out", key));
    }
    return &*member;
}

void DocumentReader::readContext()
{
    const ZRKJson& root = _document._root;
    const auto context = root.find("context");
    if (context == root.end()) {
        return;
    }
    if (!context->is_object()) {
        refuse("\"context\"", shown(*context), "an object",
               "write \"context\": {\"modelBounds\": [[-1, -1, -1], [1, 1, 1]]}, or leave it out");
    }
    warnOfUnknown(*context, "\"context\"", {"unit", "modelBounds", "modelLocalBounds", "modelTransform"});
    if (const auto unit = context->find("unit"); unit != context->end()) {
        if (!unit->is_string() || !zrk::lengthUnit("", unit->get<std::string>())) {
            warn("\"context\", \"unit\"", shown(*unit), "\"m\", \"cm\", \"mm\", \"um\", \"inch\" or \"ft\"",
                 "write one of them, or leave it out; as it stands, no unit is known");
        }
    }
    auto answers = std::make_shared<DocumentContext>();
    const auto readBox = [&](const char* key, std::optional<zrk::BBox<double>>& box) {
        const auto member = context->find(key);
        if (member == context->end()) {
            return;
        }
        if (!member->is_array() || member->size() != 2 || !isNumbers((*member)[0], 3) ||
            !isNumbers((*member)[1], 3)) {
            refuse(fmt::format("\"context\", \"{}\"", key), shown(*member), "two corners of three numbers",
                   fmt::format("write \"{}\": [[x0, y0, z0], [x1, y1, z1]]", key));
        }
        zrk::Tensor<3, double> corners[2];
        for (std::size_t i = 0; i < 2; ++i) {
            for (std::size_t c = 0; c < 3; ++c) {
                corners[i][c] = (*member)[i][c].get<double>();
            }
        }
        box.emplace(corners[0], corners[1]);
    };
    readBox("modelBounds", answers->bounds);
    readBox("modelLocalBounds", answers->localBounds);
    if (const auto matrix = context->find("modelTransform"); matrix != context->end()) {
        if (!isNumbers(*matrix, 16)) {
            refuse("\"context\", \"modelTransform\"", shown(*matrix), "16 numbers",
                   "write the matrix column by column: 1,0,0,0, 0,1,0,0, 0,0,1,0, 0,0,0,1 is the identity");
        }
        answers->transform.emplace();
        for (std::size_t i = 0; i < 16; ++i) {
            (*answers->transform)[i] = (*matrix)[i].get<double>();
        }
    }
    _document._graph->setContext(std::move(answers));
}

void DocumentReader::readResources()
{
    const ZRKJson* resources = arrayMember("resources");
    if (_given) {
        _document._resources = _given;
        return;
    }
    _document._resources = zrk::valueOrThrow(DocumentResources::load(
        resources ? *resources : ZRKJson::array(), _name, _paths, _monitor, _document.unit(), &_warnings));
    if (resources) {
        warnOfUnknownMembers(*resources);
    }
}

void DocumentReader::warnOfUnknownMembers(const ZRKJson& resources)
{
    for (std::size_t i = 0; i < resources.size(); ++i) {
        zrk::stopIfAsked();
        std::vector<std::string> known = {"uuid", "kind", "name"};
        const bool isGeometry = resources[i]["kind"] == "geometry";
        for (const char* key : isGeometry ? shapeMembers(resources[i]) : std::vector<const char*>{"path"}) {
            known.emplace_back(key);
        }
        warnOfUnknown(resources[i], fmt::format("resources[{}]", i), known);
    }
}

void DocumentReader::readNodes()
{
    const ZRKJson* nodes = arrayMember("nodes");
    for (std::size_t i = 0; nodes && i < nodes->size(); ++i) {
        zrk::stopIfAsked();
        readNode((*nodes)[i], i);
    }
}

void DocumentReader::readNode(const ZRKJson& entry, std::size_t index)
{
    std::string place = fmt::format("nodes[{}]", index);
    if (!entry.is_object()) {
        refuse(place, shown(entry), "an object", "write {\"id\": 1, \"type\": \"SphereSDF\"}");
    }
    const auto id = entry.find("id");
    if (id == entry.end() || !id->is_number_integer() || *id < 0 || *id > kMaxNodeId) {
        refuse(place + ", \"id\"", shownMember(entry, "id"),
               fmt::format("a whole number from 0 to {}", kMaxNodeId), "give each node an id of its own");
    }
    const auto number = id->get<std::uint16_t>();
    place = fmt::format("node {} (nodes[{}])", number, index);
    if (const auto earlier = _document._nodeIndex.find(number); earlier != _document._nodeIndex.end()) {
        refuse(place + ", \"id\"", fmt::format("the id {} a second time", number),
               "one that no other node has",
               fmt::format("nodes[{}] has it already; give this one another, and its links too",
                           earlier->second));
    }
    const auto text = [&](const char* key, bool isRequired) -> std::string {
        const auto member = entry.find(key);
        if (member == entry.end() && !isRequired) {
            return "";
        }
        if (member == entry.end() || !member->is_string()) {
            refuse(fmt::format("{}, \"{}\"", place, key), shownMember(entry, key), "a string",
                   "`zrk types` lists the types with their UUIDs");
        }
        return member->get<std::string>();
    };
    const std::string type = text("type", true);
    const auto* registration =
        zrk::valueOrThrow(findType(where(place + ", \"type\""), type, text("uuid", false)));
    place = fmt::format("node {} ({})", number, registration->info.name);

    warnOfUnknown(entry, place, {"id", "type", "uuid", "values", "import", "position", "label", "bypass"});
    const auto object = registration->factory();
    _document._graph->addNode(object, number);
    _document._nodeIndex[number] = index;
    if (const auto values = entry.find("values"); values != entry.end()) {
        readValues(*values, *object, place + ", \"values\"");
    }
    if (const auto paths = entry.find("import"); paths != entry.end()) {
        readImport(*paths, *object, place + ", \"import\"");
    }
}

/// Runs the component's import. What becomes of data that it can't read is its own rule; here it is a
/// warning.
void DocumentReader::readImport(const ZRKJson& entry, ZRKGraphObject& object, const std::string& place)
{
    auto* import = dynamic_cast<ZRKFileImport*>(&object);
    if (!import) {
        warn(place, "paths", "none, as the type takes nothing from files",
             "leave the key out; as it stands, the paths are kept and not read");
        return;
    }
    if (entry.is_object()) {
        std::vector<std::string> known = import->importOptions();
        known.emplace_back("path");
        warnOfUnknown(entry, place, known);
    }
    ImportEntry imports = readImportEntry(entry, where(place), _warnings);
    imports.options.unit = _document.unit();
    std::vector<std::filesystem::path> files;
    for (const std::string& path : imports.paths) {
        files.push_back(_paths.find(path, where(place)));
    }
    zrk::Result<ZRKImportWarnings> imported = zrk::attempt(
        files.front().string(), [&] { return import->importFiles(files, _monitor, imports.options); });
    if (!imported) {
        if (imported.error().kind != zrk::FaultKind::BadInput) {
            throw zrk::FaultError(zrk::within(where(place), std::move(imported.error())));
        }
        imported = ZRKImportWarnings{std::move(imported.error())};
    }
    for (zrk::Fault& warning : *imported) {
        _warnings.push_back(zrk::within(where(place), std::move(warning)));
    }
}

/// What a node computes while it is read can be stopped; half a document isn't kept.
void DocumentReader::refuseIfStopped(const std::string& place) const
{
    if (_monitor && _monitor->isInterruptAcknowledged()) {
        throw zrk::FaultError(zrk::interruptedAt(where(place)));
    }
}

void DocumentReader::readValues(const ZRKJson& values, ZRKGraphObject& object, const std::string& place)
{
    if (!values.is_object()) {
        refuse(place, shown(values), "an object",
               "write \"values\": {\"name\": value, ...}, or leave it out");
    }
    const ZRKReadDiagnostics tell = [&](const ZRKReadIssue& issue) {
        warn(keyPlace(place, issue.place), issue.found, issue.expected,
             "write what is expected; as it stands, " + issue.outcome);
    };
    ZRKDeserialization stored(values, _document._resources, tell);
    stored.setMonitor(_monitor);
    try {
        object.deserialize(stored);
    } catch (const ZRKJson::exception& error) {
        const std::string key = unreadableKey(object, values);
        refuse(keyPlace(place, key), key.empty() ? "a value that can't be read" : shown(values[key]),
               "another kind of value: " + plainReason(error),
               "give the value the kind named, or leave it out");
    } catch (const zrk::FaultError& error) {
        throw zrk::FaultError(zrk::within(where(place), error.fault()));
    } catch (const std::exception& error) {
        // Memory is most likely asked for by a count or a resolution.
        throw zrk::FaultError(zrk::faultOf(error, where(keyPlace(place, keyOfGreatest(values)))));
    }
    refuseIfStopped(place);
    warnOfUnlistedChoices(values, object, place);
    warnOfOtherGeometries(object, place);
    const std::vector<std::string> unread = stored.unreadPlaces();
    const std::vector<std::string> known = unread.empty() ? unread : keysOf(storedForm(object));
    for (const std::string& key : unread) {
        // Items of a list may move or go, so that nothing tells which of them a key belongs to later.
        const char* const outcome =
            isWithinList(values, key) ? "is neither used nor kept" : "is kept and not used";
        warn(keyPlace(place, key), "a key that the type doesn't know", "the name of a property",
             fmt::format("{}`zrk types {}` lists them; as it stands, the key {}", didYouMean(key, known),
                         uniqueName(object.typeInfo()), outcome));
    }
}

/// Warns of geometry of another kind than the type's manual says.
void DocumentReader::warnOfOtherGeometries(const ZRKGraphObject& object, const std::string& place)
{
    const auto* registration = registrationOf(object);
    for (const ManualValue& value :
         registration ? manualOf(*registration).properties : std::span<const ManualValue>()) {
        if (value.kind != "geometry" || value.range.empty()) {
            continue;
        }
        const std::string key(value.key);
        using GeometryProperty = ZRKProperty<std::shared_ptr<ZRKGeometry>>;
        const auto* property = dynamic_cast<const GeometryProperty*>(object.findProperty(key));
        if (!property || !property->value()) {
            continue;
        }
        const unsigned kind = geometryKind(*property->value());
        const char* found = kind == kPointGeometry     ? "point"
                            : kind == kCurveGeometry   ? "curve"
                            : kind == kSurfaceGeometry ? "surface"
                                                       : "solid or a group";
        if (found != value.range) {
            warn(keyPlace(place, key), fmt::format("a geometry that is a {}", found),
                 fmt::format("one that is a {}", value.range),
                 "name another geometry of \"resources\"; as it stands, the node is without one");
        }
    }
}

void DocumentReader::warnOfUnlistedChoices(const ZRKJson& values, const ZRKGraphObject& object,
                                           const std::string& place)
{
    for (const auto& [key, value] : values.items()) {
        if (std::optional<zrk::Fault> fault = unlistedChoice(object, key, keyPlace(place, key))) {
            fault->found = shown(value);
            warn(fault->place, fault->found, fault->expected, fault->remedy);
        }
    }
}

std::string DocumentReader::nodeText(std::uint16_t id) const
{
    const auto node = _document._graph->getNodePtr(id);
    return fmt::format("node {} ({})", id, node->object->typeInfo().name);
}

/// A pair [node, index] as the handle of a pin that exists.
Pin_handle DocumentReader::readPin(const ZRKJson& pair, const std::string& place, bool isOutput) const
{
    const char* kind = isOutput ? "output" : "input";
    const auto isIndex = [](const ZRKJson& v) { return v.is_number_integer() && v >= 0; };
    if (!pair.is_array() || pair.size() != 2 || !isIndex(pair[0]) || !isIndex(pair[1])) {
        refuse(place, shown(pair), fmt::format("a pair of a node's id and the index of an {}", kind),
               fmt::format("write [ID, INDEX], e.g. [1, 0] for {} 0 of node 1", kind));
    }
    const bool isNode = pair[0] <= kMaxNodeId && _document._graph->getNodePtr(pair[0].get<std::uint16_t>());
    if (!isNode) {
        refuse(place, "node " + shown(pair[0]), "the id of a node of this document",
               _document._nodeIndex.empty()
                   ? "the document has no nodes"
                   : fmt::format("its ids go from {} to {}", _document._nodeIndex.begin()->first,
                                 _document._nodeIndex.rbegin()->first));
    }
    const auto id = pair[0].get<std::uint16_t>();
    const auto node = _document._graph->getNodePtr(id);
    const std::size_t count = isOutput ? node->outputs.size() : node->inputs.size();
    if (pair[1] >= count) {
        const std::string expected = count == 0   ? fmt::format("none, as it has no {}s", kind)
                                     : count == 1 ? fmt::format("{} 0, its only one", kind)
                                                  : fmt::format("{} 0 to {}", kind, count - 1);
        refuse(place, fmt::format("{} {} of {}", kind, shown(pair[1]), nodeText(id)), expected,
               fmt::format("`zrk types {}` lists its pins", uniqueName(node->object->typeInfo())));
    }
    const auto index = pair[1].get<std::uint8_t>();
    return isOutput ? Pin_handle::output(id, index) : Pin_handle::input(id, index);
}

void DocumentReader::readLinks()
{
    const ZRKJson* links = arrayMember("links");
    for (std::size_t i = 0; links && i < links->size(); ++i) {
        zrk::stopIfAsked();
        readLink((*links)[i], i);
    }
}

void DocumentReader::readLink(const ZRKJson& entry, std::size_t index)
{
    const std::string place = fmt::format("links[{}]", index);
    if (!entry.is_object()) {
        refuse(place, shown(entry), "an object", "write {\"from\": [1, 0], \"to\": [2, 0]}");
    }
    warnOfUnknown(entry, place, {"from", "to"});
    const auto end = [&](const char* key, bool isOutput) {
        const auto member = entry.find(key);
        const std::string endPlace = fmt::format("{}, \"{}\"", place, key);
        if (member == entry.end()) {
            refuse(endPlace, "none", "the pin at that end of the link",
                   "write {\"from\": [1, 0], \"to\": [2, 0]}");
        }
        return readPin(*member, endPlace, isOutput);
    };
    const Pin_handle from = end("from", true);
    const Pin_handle to = end("to", false);
    const ZRKLinkResult result = _document._graph->connect(from, to);
    if (result != ZRKLinkResult::Done) {
        refuseLink(result, from, to, place);
    }
}

void DocumentReader::refuseLink(ZRKLinkResult result, Pin_handle from, Pin_handle to,
                                const std::string& place) const
{
    const auto& graph = *_document._graph;
    switch (result) {
    case ZRKLinkResult::InputTaken: {
        const Pin_handle other = graph.upstream(to).handle;
        refuse(place + ", \"to\"",
               fmt::format("a second link into input {} of {}", to.index(), nodeText(to.node())), "one",
               fmt::format("output {} of {} is linked to it already: remove one of the links", other.index(),
                           nodeText(other.node())));
    }
    case ZRKLinkResult::TagsDiffer: {
        const Tag fromTag = graph.getNodePtr(from.node())->outputs[from.index()].tag;
        const Tag toTag = graph.getNodePtr(to.node())->inputs[to.index()].tag;
        refuse(place,
               fmt::format("a link from {} ({}) to {} ({})", nodeText(from.node()), fromTag.name(),
                           nodeText(to.node()), toTag.name()),
               "the same tag at both ends",
               "link pins of one tag, or put a component between them that converts");
    }
    case ZRKLinkResult::Cycle:
        refuse(place,
               fmt::format("a link from {} to {} that closes a cycle", nodeText(from.node()),
                           nodeText(to.node())),
               "links that lead one way", "remove one of the links of the cycle");
    default:
        refuse(place, std::string("a link that can't be made: ") + describe(result), "one that can",
               "remove the link");
    }
}

/// Links are made by the tags that the pins declare, so that through a wildcard a pin can get another number
/// of components than it reads. Only known when all links are there. An output without a tag passes
/// nothing on and is none of these.
void DocumentReader::warnOfLinksThatDontFit()
{
    const EffectiveTagScope tags;
    const ZRKGraph& graph = *_document._graph;
    for (const auto& node : graph.nodes()) {
        zrk::stopIfAsked();
        for (const ZRKGraphPin& input : node->inputs) {
            const Pin_ref<1> from = graph.upstream(input.handle);
            if (input.tag == Tag::Any || !from.isValid()) {
                continue;
            }
            const Tag arriving = effectiveTag(from);
            if (arriving != Tag::None && arriving != input.tag) {
                const bool isShort = arriving.components < input.tag.components;
                warn(fmt::format("{}, input {}", nodeText(node->id), input.handle.index()),
                     fmt::format("{} from output {} of {}", arriving.name(), from.handle.index(),
                                 nodeText(from.handle.node())),
                     input.tag.name(),
                     isShort
                         ? "link an output of that tag; as it stands, the missing components read as 0"
                         : "link an output of that tag; as it stands, the further components aren't read");
            }
        }
    }
}

void DocumentReader::readOutput()
{
    const ZRKJson& root = _document._root;
    const auto output = root.find("output");
    if (output == root.end() || output->is_null()) {
        return;
    }
    const Pin_handle handle = readPin(*output, "\"output\"", true);
    _document._output = PinAddress{handle.node(), handle.index()};
}

/// Advice on how slices are drawn: what can't be read of it is left out.
void DocumentReader::readView()
{
    const auto view = _document._root.find("view");
    if (view == _document._root.end()) {
        return;
    }
    const auto take = [&](const char* key, bool isGood, const ZRKJson& value, const char* expected) {
        if (!isGood) {
            warn(fmt::format("\"view\", \"{}\"", key), shown(value), expected,
                 "write that, or leave it out; as it stands, it isn't used");
        }
        return isGood;
    };
    if (!view->is_object()) {
        warn("\"view\"", shown(*view), "an object", "write \"view\": {\"axis\": \"y\", \"at\": 0.5}");
        return;
    }
    if (const auto axis = view->find("axis"); axis != view->end()) {
        const bool isAxis = *axis == "x" || *axis == "y" || *axis == "z";
        if (take("axis", isAxis, *axis, "\"x\", \"y\" or \"z\"")) {
            _document._view.axis = axis->get<std::string>()[0] - 'x';
        }
    }
    if (const auto at = view->find("at"); at != view->end()) {
        if (take("at", at->is_number() && *at >= 0 && *at <= 1, *at, "a number from 0 to 1")) {
            _document._view.at = at->get<double>();
        }
    }
    if (const auto range = view->find("range"); range != view->end()) {
        if (take("range", isNumbers(*range, 2) && (*range)[0] < (*range)[1], *range,
                 "two numbers, the smaller one first")) {
            _document._view.range = {(*range)[0].get<double>(), (*range)[1].get<double>()};
        }
    }
}

} // namespace zrkmodel
