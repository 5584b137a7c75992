#pragma once

#include "core/engine/evaluation_node.h"
#include "core/engine/field_generator.h"
#include "core/values/export.h"

#include <any>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <unordered_map>
#include <utility>
#include <vector>

namespace zrk {

/// What is known of the space before an evaluation: fixed bounds, and those of the domain.
template <int N, class T>
struct EvaluationBounds {
    std::optional<std::pair<Tensor<3, T>, Tensor<3, T>>> fixed;
    std::optional<std::pair<Tensor<3, T>, Tensor<3, T>>> domain;
};

/// Flattens the nodes upstream of a node into slots, upstream first.
///
/// A generator's `build` sets the closure of the current node and gives it its inputs, in one of two ways:
/// - `addInput` takes a field. Its node is built after `build` has returned, without recursion, so a chain
///   may be of any length, and fields of the same identity under the same coordinates share one node.
/// - `visit` takes a node that the generator made itself, and builds it before it returns.
template <class T>
class EvaluatorBuilder {
public:
    explicit EvaluatorBuilder(std::any evaluationBounds = {}) : _bounds(std::move(evaluationBounds)) {}

    /// An EvaluationBounds<3, T>, when the builder was given one.
    const std::any& bounds() const { return _bounds; }

    /// The node being built, or null.
    EvaluationNode* currentNode() const { return _nodes.empty() ? nullptr : _nodes.back(); }
    /// The coordinates of the node being built, or null.
    EvaluationNode* currentCoordinates() const
    {
        return _coordinates.empty() ? nullptr : _coordinates.back();
    }

    /// Closure of the current node; an empty one does nothing.
    void setEvaluator(Evaluation evaluation);

    /// Adds a field as the next input of the current node, asked at `coordinates`, or at the
    /// current node's own positions. An empty field reads as zeros with weight 0.
    std::shared_ptr<EvaluationNode> addInput(const IField& field, EvaluationNode* coordinates = nullptr);
    /// Adds a node that reads as zeros with weight 0 as the next input: an unconnected pin.
    std::shared_ptr<EvaluationNode> addEmptyInput(std::uint32_t shape);

    /// Builds a node, whose generator is set, with everything upstream of it, and appends their slots: a
    /// node's coordinates, then its inputs, then itself. A node has one slot, however often it is visited.
    ///
    /// From outside, the node's coordinates are set before. From within a `build`, a node without coordinates
    /// is asked at those of the current node; the current node is left as it was and must come to own the
    /// node.
    ///
    /// Throws std::logic_error if the nodes form a cycle, and FaultError if the chain has more nodes than
    /// memory should hold.
    void visit(EvaluationNode* node);

    std::vector<EvaluationSlot>& slots() { return _slots; }

    /// Whatever a host's generators want to keep while this chain is built.
    std::any& hostData() { return _hostData; }

private:
    enum class Mark { Open, Done };

    std::any _bounds;
    std::any _hostData;
    std::deque<EvaluationNode*> _coordinates;
    std::deque<EvaluationNode*> _nodes;
    std::vector<EvaluationNode*> _waiting;            ///< nodes to build
    std::unordered_map<EvaluationNode*, Mark> _marks; ///< of all nodes met while slots are appended
    std::map<std::pair<FieldIdentity, EvaluationNode*>, std::shared_ptr<EvaluationNode>> _shared;
    std::vector<EvaluationSlot> _slots;

    void buildNode(EvaluationNode* node);
    void appendSlots(EvaluationNode* target);
    [[noreturn]] void refuseCycle();
};

extern template class EvaluatorBuilder<double>;

/// Builds the chain of a field, or of a solid 0 if it is null, and returns its slots.
///
/// @param coordinates  a fresh coordinates node, which has its positions or their buffer already.
/// @param target       becomes the field's node. Both nodes must outlive the slots.
/// @param bounds       what is known of the space: an EvaluationBounds<3, double>, or nothing.
ZRK_API std::vector<EvaluationSlot> buildChain(std::shared_ptr<IFieldGenerator> field,
                                               EvaluationNode& coordinates, EvaluationNode& target,
                                               std::any bounds = {});

} // namespace zrk
