#include "python/src/node.h"

#include "components/mesh/beam_sdf.h"
#include "components/raster/raster_fx.h"
#include "components/transport/image_sweep.h"
#include "host/document_values.h"
#include "host/import_entry.h"
#include "host/nearest_names.h"
#include "model/file_import.h"
#include "model/held_data.h"
#include "model/property.h"
#include "model/registry.h"
#include "python/src/function_node.h"

#include <fmt/core.h>

#include <algorithm>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>

namespace zrkpython {

using zrkmodel::ZRKJson;

namespace {

/// Counts the changes of all nodes; guarded by the GIL.
std::uint64_t lastChange = 1;

const ZRKJson* findMember(const ZRKJson& object, const std::string& key)
{
    const auto found = object.find(key);
    return found == object.end() ? nullptr : &*found;
}

/// The stored form that a component has with other values. Refuses a name that it doesn't know.
ZRKJson mergedValues(const zrkmodel::ZRKGraphObject& object, const ZRKJson& former, const ZRKJson& values,
                     const std::string& place)
{
    ZRKJson merged = former;
    for (const auto& [key, value] : values.items()) {
        if (!former.contains(key) && !object.findProperty(key)) {
            throw zrk::FaultError(
                {fmt::format("{}, \"{}\"", place, key), "a name that the component doesn't have",
                 "one of its properties",
                 former.empty()
                     ? "leave it out, as there is none"
                     : "did you mean " + zrkmodel::nearestNames(key, zrkmodel::keysOf(former)) + "?"});
        }
        if (former.contains(key)) {
            merged = zrkmodel::withValue(std::move(merged), key, value);
        }
    }
    for (const auto& [key, value] : values.items()) { // also those that another one has dropped
        if (former.contains(key)) {
            merged[key] = value;
        }
    }
    return merged;
}

/// Drops the resources that no stored value names.
void keepNamed(std::vector<SharedResource>& resources, const ZRKJson& stored)
{
    std::erase_if(resources, [&](const SharedResource& resource) {
        bool isNamed = false;
        forEachString(stored,
                      [&](const std::string& text) { isNamed = isNamed || text == resource->uuid(); });
        return !isNamed;
    });
}

} // namespace

Node::Node(Object object, std::string place, Context context)
    : _object(std::move(object)), _place(std::move(place)), _context(std::move(context))
{
    const auto graph = zrkmodel::ZRKGraph::create();
    const auto record = graph->getNodePtr(graph->addNode(_object).id());
    _inputPins.assign(record->inputs.begin(), record->inputs.end());
    _outputPins.assign(record->outputs.begin(), record->outputs.end());
    _sources.resize(_inputPins.size());
    _ready.resize(_outputPins.size());
    noteChange();
    _links = _version;
}

/// Long chains are released without recursion.
Node::~Node()
{
    std::vector<Source> released = std::move(_sources);
    while (!released.empty()) {
        const SharedNode node = std::move(released.back().node);
        released.pop_back();
        if (node && node.use_count() == 1) {
            std::move(node->_sources.begin(), node->_sources.end(), std::back_inserter(released));
            node->_sources.clear();
        }
    }
}

void Node::noteChange() { _version = ++lastChange; }

void Node::setContext(Context context)
{
    _context = std::move(context);
    noteChange();
    _links = _version; // the graph has the context
}

std::vector<SharedNode> Node::upstream()
{
    std::vector<SharedNode> ordered;
    std::unordered_set<Node*> met{this};
    std::vector<std::pair<Node*, std::size_t>> open{{this, 0}};
    while (!open.empty()) {
        auto& [node, next] = open.back();
        if (next == node->_sources.size()) {
            ordered.push_back(node->shared_from_this());
            open.pop_back();
            continue;
        }
        Node* const source = node->_sources[next++].node.get();
        if (source && met.insert(source).second) {
            open.emplace_back(source, 0);
        }
    }
    return ordered;
}

void Node::connect(std::size_t input, const Source& source)
{
    const zrkmodel::ZRKGraphPinData& pin = _inputPins.at(input);
    const std::string where = fmt::format("{}, input {} (\"{}\")", _place, input, pin.name);
    if (source.node) {
        const zrkmodel::Tag from = source.node->_outputPins.at(source.output).tag;
        if (from != zrkmodel::Tag::Any && pin.tag != zrkmodel::Tag::Any && from != pin.tag) {
            throw zrk::FaultError(
                {where,
                 fmt::format("an output of {} with values of the type {}", source.node->_place, from.name()),
                 fmt::format("values of the type {}", pin.tag.name()),
                 "give another output, or convert it with a component such as "
                 "Vector3SplitComponents or Vector3CombineComponents"});
        }
        // What nobody has read yet is upstream of nothing but itself.
        const std::vector<SharedNode> nodes =
            _isRead ? source.node->upstream() : std::vector<SharedNode>{source.node};
        if (std::find(nodes.begin(), nodes.end(), shared_from_this()) != nodes.end()) {
            throw zrk::FaultError({where, "an output that depends on this very input",
                                   "links that lead one way", "give a field that doesn't use this one"});
        }
    }
    std::unique_lock<std::shared_mutex> lock(_editing, std::defer_lock);
    take(lock);
    const Source former = std::exchange(_sources[input], source);
    if (source.node) {
        source.node->_isRead = true;
    }
    noteChange();
    _links = _version;
}

template <class Lock>
void Node::take(Lock& lock)
{
    if (lock.try_lock()) {
        return;
    }
    if (InsideWork::isHere()) {
        throw zrk::FaultError(
            {_place, "a function, called while the node is evaluated or edited, that uses it",
             "functions that leave the node alone", "use or edit the node before or after"});
    }
    const py::gil_scoped_release noGil;
    lock.lock();
}

ZRKJson Node::stored()
{
    std::shared_lock<std::shared_mutex> lock(_editing, std::defer_lock);
    take(lock);
    return zrkmodel::storedForm(*_object);
}

ZRKJson Node::value(const std::string& key)
{
    std::shared_lock<std::shared_mutex> lock(_editing, std::defer_lock);
    take(lock);
    if (const auto* property = _object->findProperty(key)) {
        return property->valueJson();
    }
    const ZRKJson all = zrkmodel::storedForm(*_object);
    const ZRKJson* value = findMember(all, key);
    return value ? *value : ZRKJson();
}

/// Assigns a property as an edit by hand does.
void Node::assign(const std::string& key, const ZRKJson& value, const std::shared_ptr<ResourceList>& library)
{
    zrkmodel::ZRKPropertyBase* const property = _object->findProperty(key);
    const zrkmodel::ZRKTypeInfo& type = _object->typeInfo();
    const auto* registration = zrkmodel::ZRKGraphObject::registry().find(type.uuid, type.name);
    const auto fresh = registration->factory();
    zrkmodel::ZRKPropertyBase* const twin = fresh->findProperty(key);
    std::string expected;
    ZRKJson single = ZRKJson::object();
    single[key] = value;
    try {
        if (zrkmodel::isResource(*property) && (value.is_null() || value == "")) {
            // No resource, which a fresh property has.
        } else if (!twin->deserialize(zrkmodel::ZRKDeserialization(
                       single, library, [&](const auto& issue) { expected = issue.expected; }))) {
            expected = expected.empty() ? "a value of another kind" : expected;
        }
    } catch (const ZRKJson::exception&) {
        expected = "a text";
    }
    if (!expected.empty()) {
        throw zrk::FaultError({fmt::format("{}, \"{}\"", _place, key), zrkmodel::shown(value), expected,
                               "give a value of that kind"});
    }
    property->assignFrom(twin, true);
}

/// Reads values as a document's are read.
/// @param former  the values before; what was wrong in them is let pass.
void Node::readAll(const ZRKJson& values, const ZRKJson& former, const std::shared_ptr<ResourceList>& library,
                   zrk::ProgressMonitor* monitor)
{
    std::optional<zrkmodel::ZRKReadIssue> refused;
    zrkmodel::ZRKDeserialization stored(values, library, [&](const zrkmodel::ZRKReadIssue& issue) {
        if (!zrkmodel::isIssueOf(*_object, former, library, issue)) {
            refused = issue;
        }
    });
    stored.setMonitor(monitor);
    std::string kind;
    try {
        _object->deserialize(stored);
    } catch (const ZRKJson::exception&) {
        refused = zrkmodel::ZRKReadIssue{"values", "a value", "a value of another kind", ""};
    }
    if (refused) {
        throw zrk::FaultError({fmt::format("{}, \"{}\"", _place, refused->place), refused->found,
                               refused->expected, "give a value of that kind"});
    }
}

void Node::setValues(const ZRKJson& values, const std::vector<SharedResource>& used,
                     const py::object& progress)
{
    const auto library = std::make_shared<ResourceList>();
    std::vector<SharedResource> resources = _resources;
    resources.insert(resources.end(), used.begin(), used.end());
    for (const SharedResource& resource : resources) {
        library->add(resource);
    }
    std::unique_lock<std::shared_mutex> lock(_editing, std::defer_lock);
    take(lock);

    const ZRKJson former = zrkmodel::storedForm(*_object);
    const ZRKJson merged = mergedValues(*_object, former, values, _place);
    const std::vector<std::string> keys = zrkmodel::keysOf(values);
    const bool readsAll = std::any_of(keys.begin(), keys.end(), [&](const std::string& key) {
        return zrkmodel::isTakenByReading(*_object, key);
    });
    auto* const sweep = dynamic_cast<zrkmodel::ZRKImageSweep*>(_object.get());
    const bool isGrid =
        dynamic_cast<zrkmodel::ZRKBeamSDF*>(_object.get()) && _imported.is_null() && _importSource.is_none();
    std::vector<std::string> assigned;
    const auto undo = [&] {
        for (const std::string& key : assigned) {
            if (former.contains(key)) {
                assign(key, former[key], library);
            }
        }
        if (readsAll && !sweep) { // a sweep that was stopped or refused keeps what it had
            readAll(former, former, library, nullptr);
        }
    };
    try {
        for (const auto& [key, value] : values.items()) {
            if (_object->findProperty(key)) {
                assign(key, value, library);
                assigned.push_back(key);
            }
        }
        if (readsAll) {
            run(progress, Where::Aside, [&](zrk::ProgressMonitor& monitor) {
                readAll(merged, former, library, &monitor);
                if (monitor.isInterruptAcknowledged()) {
                    throw zrk::FaultError(zrk::interruptedAt(_place));
                }
            });
        }
    } catch (...) {
        const py::error_scope kept;
        undo();
        throw;
    }
    if (sweep && (values.contains("smoothing") || values.contains("transport"))) {
        sweep->invalidateOutputRaster();
    }
    if (isGrid) {
        _object->onInspection(nullptr, {}); // drops the lattice of the former bounds
    }
    keepNamed(resources, zrkmodel::storedForm(*_object));
    _resources = std::move(resources);
    noteChange();
    std::vector<zrk::Fault> warnings;
    for (const std::string& key : keys) {
        if (auto warning = zrkmodel::unlistedChoice(*_object, key, fmt::format("{}, \"{}\"", _place, key))) {
            warnings.push_back(std::move(*warning));
        }
    }
    warnOf(warnings);
}

std::vector<zrk::Fault> Node::importFiles(const ZRKJson& entry, const py::object& progress)
{
    auto* const import = dynamic_cast<zrkmodel::ZRKFileImport*>(_object.get());
    if (!import) {
        throw zrk::FaultError({_place, "files to import", "none, as the component takes nothing from files",
                               "import into MeshSDF, BeamSDF or Image3D"});
    }
    std::vector<zrk::Fault> warnings;
    const zrkmodel::ImportEntry files = zrkmodel::readImportEntry(entry, _place + ", import", warnings);
    if (!warnings.empty()) {
        throw zrk::FaultError(warnings.front()); // an option that isn't one
    }
    std::unique_lock<std::shared_mutex> lock(_editing, std::defer_lock);
    take(lock);
    const auto outcome = running(progress, Where::Aside, [&](zrk::ProgressMonitor& monitor) {
        return zrk::attempt(_place, [&] {
            return import->importFiles({files.paths.begin(), files.paths.end()}, &monitor, files.options);
        });
    });
    noteChange();
    if (!outcome && outcome.error().kind != zrk::FaultKind::BadInput) {
        throw zrk::FaultError(outcome.error());
    }
    return outcome ? *outcome : std::vector{outcome.error()};
}

std::shared_ptr<zrkmodel::ZRKGraph> Node::graphOf(const std::vector<SharedNode>& nodes) const
{
    if (nodes.size() > zrkmodel::ZRKGraph::kMaxId + 1u) {
        throw zrk::FaultError({_place, fmt::format("{} components in one field", nodes.size()),
                               fmt::format("at most {}", zrkmodel::ZRKGraph::kMaxId + 1),
                               "sample a part of the field into a volume and go on from there"});
    }
    const auto graph = zrkmodel::ZRKGraph::create();
    graph->setSilent(true);
    graph->setContext(_context);
    std::unordered_map<const Node*, std::uint16_t> ids;
    for (const SharedNode& node : nodes) {
        const auto id = static_cast<std::uint16_t>(ids.size());
        ids[node.get()] = id;
        graph->addNode(node->_object, id);
        for (std::size_t i = 0; i < node->_sources.size(); ++i) {
            if (const Source& source = node->_sources[i]; source.node) {
                graph->connect(zrkmodel::Pin_handle::output(ids.at(source.node.get()), source.output),
                               zrkmodel::Pin_handle::input(id, static_cast<std::uint8_t>(i)));
            }
        }
    }
    graph->setSilent(false);
    return graph;
}

/// Components that freeze a field, each with the last change upstream of it.
std::vector<std::pair<Node*, std::uint64_t>> Node::rasters(const std::vector<SharedNode>& nodes)
{
    std::vector<std::pair<Node*, std::uint64_t>> found;
    for (const SharedNode& node : nodes) {
        if (dynamic_cast<zrkmodel::ZRKRasterFX*>(node->_object.get())) {
            std::uint64_t last = 0;
            for (const SharedNode& each : node->upstream()) {
                last = std::max(last, each->_version);
            }
            found.emplace_back(node.get(), last);
        }
    }
    return found;
}

/// Has a raster that was made before the last change made anew. The GIL isn't held.
void Node::refreshRaster(std::uint64_t lastChangeUpstream)
{
    const std::unique_lock lock(_editing);
    if (std::exchange(_frozen, lastChangeUpstream) != lastChangeUpstream) {
        const ZRKJson stored = zrkmodel::storedForm(*_object);
        readAll(stored, stored, std::make_shared<ResourceList>(), nullptr);
    }
}

void Node::checkReadable(const std::vector<SharedNode>& nodes)
{
    if (InsideWork::isHere()) {
        for (const SharedNode& node : nodes) {
            std::shared_lock<std::shared_mutex> lock(node->_editing, std::defer_lock);
            node->take(lock);
        }
    }
}

Node::ReadLocks Node::lockForReading(const std::vector<SharedNode>& nodes)
{
    ReadLocks locks;
    locks.reserve(nodes.size());
    for (const SharedNode& node : nodes) {
        locks.emplace_back(node->_editing);
    }
    return locks;
}

SharedReady Node::ready(std::size_t output, const py::object& progress)
{
    SharedReady& known = _ready.at(output);
    if (known && known->checkedAt == lastChange) {
        return known;
    }
    const std::vector<SharedNode> nodes = upstream(); // kept, as another thread may link anew meanwhile
    Ready ready;
    ready.checkedAt = lastChange;
    bool isLong = false; // what holds data may make them now, such as a frozen raster
    for (const SharedNode& node : nodes) {
        ready.stamp = std::max(ready.stamp, node->_version);
        ready.links = std::max(ready.links, node->_links);
        ready.callsPython = ready.callsPython || dynamic_cast<PythonFunction*>(node->_object.get());
        isLong = isLong || dynamic_cast<zrkmodel::ZRKDataHolder*>(node->_object.get());
    }
    if (known && known->stamp == ready.stamp) {
        known->checkedAt = lastChange;
        return known;
    }
    ready.graph = known && known->links == ready.links ? known->graph : graphOf(nodes);
    const auto frozen = rasters(nodes);
    checkReadable(nodes);
    const std::string place = _outputPins.size() > 1 ? fmt::format("{}, output {}", _place, output) : _place;
    run(progress, isLong ? ready.where() : Where::Here, [&](zrk::ProgressMonitor&) {
        for (const auto& [node, last] : frozen) {
            node->refreshRaster(last);
        }
        const ReadLocks locks = lockForReading(nodes);
        const zrkmodel::PinAddress address{static_cast<std::uint16_t>(nodes.size() - 1),
                                           static_cast<std::uint8_t>(output)};
        ready.output = zrk::valueOrThrow(zrkmodel::outputFieldOf(ready.graph, address, place));
        ready.field = zrk::PreparedField(ready.output.field);
    });
    const auto made = std::make_shared<const Ready>(std::move(ready));
    if (!known || known->stamp <= made->stamp) {
        known = made;
    }
    return made;
}

zrkmodel::Tag Node::tag(std::size_t output)
{
    const std::vector<SharedNode> nodes = upstream(); // kept, as another thread may link anew meanwhile
    const auto graph = graphOf(nodes);
    return zrkmodel::effectiveTag(graph->pin_ref(zrkmodel::Pin_handle::output(
        static_cast<std::uint16_t>(nodes.size() - 1), static_cast<std::uint8_t>(output))));
}

} // namespace zrkpython
