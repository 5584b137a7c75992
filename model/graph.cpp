#include "model/graph.h"

#include "model/graph_object.h"

#include <algorithm>
#include <unordered_set>
#include <utility>

namespace zrkmodel {

namespace {

/// Node ids reached over links in one direction, one at a time, the start first.
class Walk {
public:
    Walk(const ZRKGraph& graph, std::uint16_t start, bool downstream)
        : _graph(graph), _downstream(downstream), _reached{start}, _seen{start}
    {}
    bool isDone() const { return _next == _reached.size(); }
    /// Visits one more node and queues its neighbours.
    std::uint16_t advance()
    {
        const std::uint16_t id = _reached[_next++];
        const auto node = _graph.getNodePtr(id);
        for (const ZRKGraphPin& pin : _downstream ? node->outputs : node->inputs) {
            for (const Pin_handle& other : pin.connections) {
                if (_seen.insert(other.node()).second) {
                    _reached.push_back(other.node());
                }
            }
        }
        return id;
    }

private:
    const ZRKGraph& _graph;
    bool _downstream;
    std::vector<std::uint16_t> _reached;
    std::unordered_set<std::uint16_t> _seen;
    std::size_t _next = 0;
};

} // namespace

const char* describe(ZRKLinkResult result)
{
    switch (result) {
    case ZRKLinkResult::Done:
        return "done";
    case ZRKLinkResult::MissingNode:
        return "there is no such node";
    case ZRKLinkResult::MissingPin:
        return "the node has no such pin";
    case ZRKLinkResult::InputTaken:
        return "the input has a link already";
    case ZRKLinkResult::TagsDiffer:
        return "the tags of the two pins differ";
    case ZRKLinkResult::Cycle:
        return "the link would close a cycle";
    }
    return "unknown";
}

std::shared_ptr<ZRKGraph> ZRKGraph::create() { return std::shared_ptr<ZRKGraph>(new ZRKGraph); }

ZRKGraph::~ZRKGraph()
{
    for (const auto& node : _nodes) {
        node->id = ZRKGraphNode::kNoId; // views of it may live on
    }
}

std::optional<std::uint16_t> ZRKGraph::chooseId(std::optional<unsigned> wanted) const
{
    if (wanted) {
        const bool usable = *wanted <= kMaxId && !_byId.contains(static_cast<std::uint16_t>(*wanted));
        return usable ? std::optional(static_cast<std::uint16_t>(*wanted)) : std::nullopt;
    }
    if (_highestId < kMaxId) {
        return static_cast<std::uint16_t>(_highestId + 1);
    }
    for (unsigned id = 0; id <= kMaxId; ++id) {
        if (!_byId.contains(static_cast<std::uint16_t>(id))) {
            return static_cast<std::uint16_t>(id);
        }
    }
    return std::nullopt;
}

ZRKGraph::Node ZRKGraph::addNode(const std::shared_ptr<ZRKGraphObject>& object,
                                 std::optional<unsigned> wanted)
{
    const std::optional<std::uint16_t> id = object ? chooseId(wanted) : std::nullopt;
    if (!id) {
        return {};
    }
    auto record = std::make_shared<ZRKGraphNode>();
    record->id = *id;
    record->object = object;
    _nodes.push_back(record);
    _byId[*id] = record;
    _highestId = std::max(_highestId, static_cast<int>(*id));
    _changes[*id] = object->addListener([graph = weak_from_this(), id = *id](const ZRKEvent& event) {
        if (const auto alive = graph.lock()) {
            alive->notifyDownstream(id, event);
        }
    });
    const Node view = node(*id);
    object->onAddedToGraph(view);
    return view;
}

bool ZRKGraph::removeNode(std::uint16_t id)
{
    const auto record = getNodePtr(id);
    if (!record) {
        return false;
    }
    for (const ZRKGraphPin& input : record->inputs) {
        disconnect(input.handle);
    }
    for (const ZRKGraphPin& output : record->outputs) {
        while (!output.connections.empty()) {
            disconnect(output.connections.back());
        }
    }
    _changes.erase(id);
    _byId.erase(id);
    std::erase(_nodes, record);
    record->id = ZRKGraphNode::kNoId;
    return true;
}

std::shared_ptr<ZRKGraphNode> ZRKGraph::getNodePtr(unsigned short id) const
{
    const auto found = _byId.find(id);
    return found == _byId.end() ? nullptr : found->second;
}

ZRKGraph::Node ZRKGraph::node(unsigned short id) const
{
    const auto record = getNodePtr(id);
    if (!record) {
        return {};
    }
    return {std::const_pointer_cast<ZRKGraph>(shared_from_this()), record->object, record};
}

Pin_ref<0> ZRKGraph::pin_ref(Pin_handle handle) const
{
    const Pin_ref<0> pin{node(handle.node()), handle};
    return pin.isValid() ? pin : Pin_ref<0>{};
}

Pin_ref<0> ZRKGraph::upstream(Pin_handle input) const
{
    const Pin_ref<0> reference = pin_ref(input);
    const ZRKGraphPin* pin = input.isOutput() ? nullptr : reference.pin();
    return pin && !pin->connections.empty() ? pin_ref(pin->connections.front()) : Pin_ref<0>{};
}

bool ZRKGraph::wouldCloseCycle(std::uint16_t from, std::uint16_t to) const
{
    // In step, so that the cost is that of the smaller side.
    Walk up(*this, from, false);
    Walk down(*this, to, true);
    while (!up.isDone() && !down.isDone()) {
        if (up.advance() == to || down.advance() == from) {
            return true;
        }
    }
    return false;
}

ZRKLinkResult ZRKGraph::connect(Pin_handle output, Pin_handle input)
{
    if (!_byId.contains(output.node()) || !_byId.contains(input.node())) {
        return ZRKLinkResult::MissingNode;
    }
    const Pin_ref<0> from = pin_ref(output);
    const Pin_ref<0> to = pin_ref(input);
    if (!from.isValid() || !to.isValid() || !output.isOutput() || input.isOutput()) {
        return ZRKLinkResult::MissingPin;
    }
    if (!to.pin()->connections.empty()) {
        return ZRKLinkResult::InputTaken;
    }
    const Tag a = from.pin()->tag;
    const Tag b = to.pin()->tag;
    if (a != Tag::Any && b != Tag::Any && a != b) {
        return ZRKLinkResult::TagsDiffer;
    }
    if (wouldCloseCycle(output.node(), input.node())) {
        return ZRKLinkResult::Cycle;
    }
    from.pin()->connections.push_back(input);
    to.pin()->connections.push_back(output);
    notify(input.node(), {"links", nullptr}, true);
    return ZRKLinkResult::Done;
}

bool ZRKGraph::disconnect(Pin_handle input)
{
    const Pin_ref<0> to = input.isOutput() ? Pin_ref<0>{} : pin_ref(input);
    if (!to.isValid() || to.pin()->connections.empty()) {
        return false;
    }
    const Pin_handle output = to.pin()->connections.front();
    unlink(output, input);
    notify(input.node(), {"links", nullptr}, true);
    return true;
}

void ZRKGraph::unlink(Pin_handle output, Pin_handle input)
{
    std::erase(pin_ref(output).pin()->connections, input);
    std::erase(pin_ref(input).pin()->connections, output);
}

bool ZRKGraph::setSilent(bool silent) { return std::exchange(_silent, silent); }

void ZRKGraph::notifyDownstream(std::uint16_t id, const ZRKEvent& event) const { notify(id, event, false); }

void ZRKGraph::notify(std::uint16_t id, const ZRKEvent& event, bool alsoItself) const
{
    if (_silent || !_byId.contains(id)) {
        return;
    }
    Walk walk(*this, id, true);
    if (!alsoItself) {
        walk.advance();
    }
    std::vector<std::uint16_t> downstream;
    while (!walk.isDone()) {
        downstream.push_back(walk.advance());
    }
    for (const std::uint16_t each : downstream) {
        const Node view = node(each); // a callback may have removed it
        if (view.isAlive()) {
            view.object()->onUpstreamChange(view, event);
        }
    }
}

} // namespace zrkmodel
