#include "core/engine/evaluator_builder.h"

#include "core/values/fault.h"
#include "core/values/stop.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>
#include <string>
#include <unordered_map>

namespace zrk {

namespace {

/// Some gigabytes. A field that is applied to itself doubles its nodes, again and again in a row of such.
constexpr std::size_t kMostNodes = 500'000;

} // namespace

template <class T>
void EvaluatorBuilder<T>::setEvaluator(Evaluation evaluation)
{
    currentNode()->evaluator = evaluation ? std::move(evaluation) : doNothing();
}

template <class T>
std::shared_ptr<EvaluationNode> EvaluatorBuilder<T>::addInput(const IField& field,
                                                              EvaluationNode* coordinates)
{
    const std::shared_ptr<IFieldGenerator>& generator = field.generator();
    if (!generator) {
        return addEmptyInput(1);
    }
    if (!coordinates) {
        coordinates = currentCoordinates();
    }
    std::shared_ptr<EvaluationNode>& node = _shared[{generator->identity(), coordinates}];
    if (!node) {
        if (_shared.size() > kMostNodes) {
            throw FaultError({"field", "a chain of more than " + std::to_string(kMostNodes) + " nodes",
                              "fewer",
                              "fields that are applied to each other, or nested gradients, multiply their "
                              "nodes; put fewer of them in a row",
                              FaultKind::FailedWork});
        }
        node = std::make_shared<EvaluationNode>();
        node->reset(generator->descriptor().outputShape, coordinates);
        node->generator = generator;
        _waiting.push_back(node.get());
    }
    currentNode()->inputs.push_back(node);
    return node;
}

template <class T>
std::shared_ptr<EvaluationNode> EvaluatorBuilder<T>::addEmptyInput(std::uint32_t shape)
{
    auto node = std::make_shared<EvaluationNode>();
    node->reset(shape, currentCoordinates());
    currentNode()->inputs.push_back(node);
    return node;
}

template <class T>
void EvaluatorBuilder<T>::visit(EvaluationNode* node)
{
    if (_marks.count(node)) {
        return;
    }
    if (!node->coordinates) {
        node->coordinates = currentCoordinates();
    }
    if (node->coordinates && !node->coordinates->generator) {
        appendSlots(node->coordinates);
    }
    std::erase(_waiting, node); // in case it was added before it is visited
    buildNode(node);
    // Also those that other nodes have added: this node may share them.
    while (!_waiting.empty()) {
        EvaluationNode* next = _waiting.back();
        _waiting.pop_back();
        buildNode(next);
    }
    appendSlots(node);
}

template <class T>
void EvaluatorBuilder<T>::buildNode(EvaluationNode* node)
{
    if (!node->generator) {
        return;
    }
    stopIfAsked();
    if (std::find(_nodes.begin(), _nodes.end(), node) != _nodes.end()) {
        refuseCycle();
    }
    _nodes.push_back(node);
    _coordinates.push_back(node->coordinates);
    node->generator->build(*this);
    _coordinates.pop_back();
    _nodes.pop_back();
}

/// Slots for the target and all that it needs: a node's coordinates, then its inputs, then itself.
template <class T>
void EvaluatorBuilder<T>::appendSlots(EvaluationNode* target)
{
    if (_marks.count(target)) {
        return;
    }
    std::vector<EvaluationNode*> stack{target};
    bool foundCycle = false;
    // Goes on after a cycle was found, so that all nodes are known.
    while (!stack.empty()) {
        EvaluationNode* node = stack.back();
        const auto [mark, isNew] = _marks.try_emplace(node, Mark::Open);
        if (!isNew) {
            stack.pop_back();
            if (mark->second == Mark::Open) {
                mark->second = Mark::Done;
                node->slotIndex = static_cast<std::int32_t>(_slots.size());
                _slots.emplace_back(*node);
            }
            continue;
        }
        // A node that is still being built can't come before one that it reads.
        foundCycle = foundCycle || std::find(_nodes.begin(), _nodes.end(), node) != _nodes.end();
        const auto push = [&](EvaluationNode* upstream) {
            const auto found = _marks.find(upstream);
            if (found == _marks.end()) {
                stack.push_back(upstream);
            } else if (found->second == Mark::Open) {
                foundCycle = true;
            }
        };
        for (std::size_t k = node->inputs.size(); k-- > 0;) {
            push(node->inputs[k].get());
        }
        if (node->coordinates) {
            push(node->coordinates);
        }
    }
    if (foundCycle) {
        refuseCycle();
    }
}

/// Nodes that own each other would never be released.
template <class T>
void EvaluatorBuilder<T>::refuseCycle()
{
    std::vector<std::shared_ptr<EvaluationNode>> owned;
    const auto separate = [&](EvaluationNode& node) {
        std::move(node.inputs.begin(), node.inputs.end(), std::back_inserter(owned));
        node.inputs.clear();
    };
    for (auto& [node, mark] : _marks) {
        separate(*node);
    }
    for (EvaluationNode* node : _nodes) {
        separate(*node);
    }
    for (auto& [key, node] : _shared) {
        separate(*node);
    }
    throw std::logic_error("the nodes of a chain form a cycle");
}

template class EvaluatorBuilder<double>;

std::vector<EvaluationSlot> buildChain(std::shared_ptr<IFieldGenerator> field, EvaluationNode& coordinates,
                                       EvaluationNode& target, std::any bounds)
{
    if (!field) {
        field = std::make_shared<SolidField<1, 3>>();
    }
    coordinates.dirty = false;
    target.reset(field->descriptor().outputShape, &coordinates);
    target.generator = std::move(field);
    EvaluatorBuilder<double> builder(std::move(bounds));
    builder.visit(&target);
    return std::move(builder.slots());
}

} // namespace zrk
