#pragma once

#include "core/values/export.h"
#include "core/values/tensor_variant.h"
#include "model/context.h"
#include "model/event.h"
#include "model/signal.h"
#include "model/tag.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <unordered_map>
#include <vector>

namespace zrkmodel {

class ZRKGraph;
class ZRKGraphObject;

/// How an input behaves while it is unconnected.
enum class ZRKPinOpt {
    None = 0,         ///< nothing arrives
    DefaultValue = 1, ///< reads the pin's stored default value
    Coordinates = 2   ///< passes the domain position through
};

/// What is declared about a pin.
class ZRKGraphPinData {
public:
    ZRKGraphPinData(Tag tag, const std::string& name, ZRKPinOpt opt, const std::optional<int>& slot,
                    const zrk::TensorVariant<double>& defaultValue)
        : tag(tag), name(name), opt(opt), slot(slot), defaultValue(defaultValue)
    {}
    /// Whether the pin, while unconnected, passes the domain position through.
    bool allowsPassthrough() const { return opt == ZRKPinOpt::Coordinates; }

    Tag tag;
    std::string name;
    ZRKPinOpt opt;
    std::optional<int> slot;                 ///< for hosts; nothing here reads it
    zrk::TensorVariant<double> defaultValue; ///< empty without one
};

/// A pin's address in its graph, packed into 32 bits: 0-15 the node's id, 16-23 the index
/// among the node's pins of that direction, 24 the direction (1 for an output). All ones
/// is invalid.
struct Pin_handle {
    std::uint32_t bits = 0xFFFFFFFFu;

    static constexpr Pin_handle input(std::uint16_t node, std::uint8_t index)
    {
        return {static_cast<std::uint32_t>(index) << 16 | node};
    }
    static constexpr Pin_handle output(std::uint16_t node, std::uint8_t index)
    {
        return {1u << 24 | static_cast<std::uint32_t>(index) << 16 | node};
    }

    constexpr bool isValid() const { return bits != 0xFFFFFFFFu; }
    constexpr std::uint16_t node() const { return static_cast<std::uint16_t>(bits & 0xFFFFu); }
    constexpr std::uint8_t index() const { return static_cast<std::uint8_t>(bits >> 16 & 0xFFu); }
    constexpr bool isOutput() const { return (bits >> 24 & 1u) != 0; }

    friend constexpr bool operator==(const Pin_handle&, const Pin_handle&) = default;
};

/// A pin of a node: what was declared, its handle and the pins it is linked with.
struct ZRKGraphPin : ZRKGraphPinData {
    ZRKGraphPin(ZRKGraphPinData data, Pin_handle handle) : ZRKGraphPinData(std::move(data)), handle(handle) {}

    Pin_handle handle;
    std::vector<Pin_handle> connections; ///< at most one for an input
};

/// A node of a graph. Pins are appended only.
struct ZRKGraphNode {
    static constexpr std::uint16_t kNoId = 0xFFFF;

    std::uint16_t id = kNoId; ///< kNoId once the node was removed
    std::shared_ptr<ZRKGraphObject> object;
    std::vector<ZRKGraphPin> inputs;
    std::vector<ZRKGraphPin> outputs;
};

/// A small view of a node; Const is 1 for read-only views. A view of a node that was
/// removed, or whose graph is gone, is no longer alive; its object stays usable.
template <int Const, class Object>
class ZRKNodeBase {
public:
    using Record = std::conditional_t<Const != 0, const ZRKGraphNode, ZRKGraphNode>;

    ZRKNodeBase() = default;
    ZRKNodeBase(std::weak_ptr<ZRKGraph> graph, std::shared_ptr<Object> object,
                std::shared_ptr<ZRKGraphNode> record)
        : _graph(std::move(graph)), _object(std::move(object)), _record(std::move(record))
    {
        if (_record) {
            _id = _record->id;
        }
    }
    /// A read-only view of the same node.
    operator ZRKNodeBase<1, Object>() const requires(Const == 0) { return {_graph, _object, _record}; }

    bool isAlive() const { return _record && _id != ZRKGraphNode::kNoId && _record->id == _id; }
    std::uint16_t id() const { return _id; }
    const std::shared_ptr<Object>& object() const { return _object; }
    /// Null in a view without a record.
    Record* record() const { return _record.get(); }
    /// Null once the graph is gone.
    std::shared_ptr<ZRKGraph> graph() const { return _graph.lock(); }

private:
    std::weak_ptr<ZRKGraph> _graph;
    std::shared_ptr<Object> _object;
    std::shared_ptr<ZRKGraphNode> _record;
    std::uint16_t _id = ZRKGraphNode::kNoId;
};

/// A view of a node and the handle of one of its pins.
template <int Const>
struct Pin_ref {
    ZRKNodeBase<Const, ZRKGraphObject> node;
    Pin_handle handle;

    /// The pin's record; null when the handle is invalid, the node gone or the index out of range.
    std::conditional_t<Const != 0, const ZRKGraphPin, ZRKGraphPin>* pin() const
    {
        if (!handle.isValid() || !node.isAlive()) {
            return nullptr;
        }
        auto& pins = handle.isOutput() ? node.record()->outputs : node.record()->inputs;
        return handle.index() < pins.size() ? &pins[handle.index()] : nullptr;
    }
    bool isValid() const { return pin() != nullptr; }

    operator Pin_ref<1>() const requires(Const == 0) { return {node, handle}; }
};

/// Why a link was refused, or Done.
enum class ZRKLinkResult {
    Done,
    MissingNode, ///< one of the nodes isn't in the graph
    MissingPin,  ///< the node has no such pin, or it has the wrong direction
    InputTaken,  ///< the input has a link already
    TagsDiffer,  ///< both tags are declared and differ
    Cycle        ///< the link would close a cycle
};

/// A sentence part such as "the input has a link already".
ZRK_API const char* describe(ZRKLinkResult result);

/// Nodes and the links between their pins. Held by shared pointer. Not safe for use from
/// several threads while one of them changes it.
///
/// When an object in the graph emits a change, or a link comes or goes, the objects
/// downstream are told through onUpstreamChange, each once.
class ZRK_API ZRKGraph : public std::enable_shared_from_this<ZRKGraph> {
public:
    using Node = ZRKNodeBase<0, ZRKGraphObject>;
    static constexpr std::uint16_t kMaxId = 65534;

    static std::shared_ptr<ZRKGraph> create();
    ZRKGraph(const ZRKGraph&) = delete;
    ZRKGraph& operator=(const ZRKGraph&) = delete;
    ~ZRKGraph();

    /// Adds an object under the given id, or under one above the highest so far (the lowest
    /// free one when that is used up), and lets it declare its pins (onAddedToGraph).
    /// The view isn't alive when the id is taken or above kMaxId, or no id is left, or
    /// the object is null; then nothing changes.
    Node addNode(const std::shared_ptr<ZRKGraphObject>& object, std::optional<unsigned> id = std::nullopt);
    /// Removes a node with its links, and tells those who were linked to it. False when there is none of
    /// this id.
    bool removeNode(std::uint16_t id);

    /// Links an output to an input, or answers why it can't be and changes nothing. Costs little for links
    /// added in any order: the search for a cycle walks from both ends in step.
    ZRKLinkResult connect(Pin_handle output, Pin_handle input);
    /// Removes an input's link. False when it has none.
    bool disconnect(Pin_handle input);

    /// Nodes in the order they were added.
    const std::vector<std::shared_ptr<ZRKGraphNode>>& nodes() const { return _nodes; }
    /// Null when there is none of this id.
    std::shared_ptr<ZRKGraphNode> getNodePtr(unsigned short id) const;
    /// A view that isn't alive when there is none of this id.
    Node node(unsigned short id) const;
    /// Invalid when there is no such pin.
    Pin_ref<0> pin_ref(Pin_handle handle) const;
    /// The pin linked to an input; invalid when the input is unconnected or missing.
    Pin_ref<0> upstream(Pin_handle input) const;

    /// While silent, nothing is passed downstream. Returns the former state. For loading: to
    /// tell all nodes downstream of each new link costs the square of a graph's length.
    bool setSilent(bool silent);
    /// What the components may know about the model. Without one every answer is "no value".
    const ZRKContext& context() const { return *_context; }
    /// Takes effect in evaluators built from now on. Must not be null.
    void setContext(std::shared_ptr<const ZRKContext> context) { _context = std::move(context); }

    /// Tells every object downstream of the node, each once, nearer ones first.
    void notifyDownstream(std::uint16_t id, const ZRKEvent& event) const;

private:
    ZRKGraph() = default;
    std::optional<std::uint16_t> chooseId(std::optional<unsigned> wanted) const;
    bool wouldCloseCycle(std::uint16_t from, std::uint16_t to) const;
    void notify(std::uint16_t id, const ZRKEvent& event, bool alsoItself) const;
    void unlink(Pin_handle output, Pin_handle input);

    std::vector<std::shared_ptr<ZRKGraphNode>> _nodes;
    std::unordered_map<std::uint16_t, std::shared_ptr<ZRKGraphNode>> _byId;
    std::unordered_map<std::uint16_t, nod::scoped_connection> _changes;
    std::shared_ptr<const ZRKContext> _context = std::make_shared<ZRKContext>();
    int _highestId = -1;
    bool _silent = false;
};

} // namespace zrkmodel
