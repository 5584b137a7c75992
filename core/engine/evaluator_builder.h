#pragma once

#include "core/engine/evaluation_node.h"
#include "core/engine/field_generator.h"

#include <any>
#include <deque>
#include <map>
#include <memory>
#include <optional>
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
/// A generator's `build` sets the closure of the current node and adds its inputs. Inputs
/// are built after it returns, one by one, so a chain may be of any length. Fields of the
/// same identity under the same coordinates share one node.
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

    /// From outside, builds the whole chain of a node whose generator and coordinates are set.
    /// From within a `build`, takes a node that the generator made itself; the current node
    /// must own it. Throws std::logic_error when the nodes form a cycle, and FaultError when the
    /// chain has more nodes than memory should hold.
    void visit(EvaluationNode* node);

    std::vector<EvaluationSlot>& slots() { return _slots; }

    /// Whatever a host's generators want to keep while this chain is built.
    std::any& hostData() { return _hostData; }

private:
    std::any _bounds;
    std::any _hostData;
    std::deque<EvaluationNode*> _coordinates;
    std::deque<EvaluationNode*> _nodes;
    std::vector<EvaluationNode*> _waiting; ///< nodes to build
    std::map<std::pair<FieldIdentity, EvaluationNode*>, std::shared_ptr<EvaluationNode>> _shared;
    std::vector<EvaluationSlot> _slots;

    void buildNode(EvaluationNode* node);
    void appendSlots(EvaluationNode* target);
};

extern template class EvaluatorBuilder<double>;

} // namespace zrk
