#pragma once

#include "core/engine/evaluator_builder.h"
#include "core/engine/field_generator.h"
#include "core/engine/kernel.h"
#include "model/context.h"
#include "model/graph_object.h"
#include "model/pins.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <vector>

namespace zrkmodel {

/// A graph object whose outputs are fields.
class ZRKFieldObject : public ZRKGraphObject {
public:
    /// The field of one output of the node; empty when the node has no such output or its tag is None.
    virtual zrk::IField realizeField(const ZRKNodeBase<1, ZRKGraphObject>& node,
                                     unsigned char outputIndex) = 0;
};

/// What all components derive from. A component answers `getEvaluatorForPin`; building the
/// chain around it is done here, once.
class ZRKExtensionBase : public ZRKFieldObject {
public:
    /// One input pin's field; empty where nothing arrives.
    struct InputField {
        zrk::IField field;
    };

    zrk::IField realizeField(const ZRKNodeBase<1, ZRKGraphObject>& node, unsigned char outputIndex) override;

    /// The fields of all input pins in pin order, connected or not; nothing for a node that is gone.
    virtual std::optional<std::vector<InputField>>
    collectInputFields(const ZRKNodeBase<1, ZRKGraphObject>& node);

    /// Sets the evaluator of the builder's current node, which stands for the output `pin`,
    /// and adds the nodes of all its input pins.
    virtual void onBuildEvaluator(zrk::EvaluatorBuilder<double>& builder, const Pin_ref<1>& pin) const;

    /// The closure of one output. It holds copies of all it needs: a later edit reaches only
    /// evaluators built after it. May be called from any thread; reads properties without a lock.
    virtual zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext& context) const = 0;

protected:
    ZRKExtensionBase() = default;
    ZRKExtensionBase(const ZRKExtensionBase&) = default;
    ZRKExtensionBase& operator=(const ZRKExtensionBase&) = default;

    /// The earlier input whose values are the positions that input k, with all that is behind it, is
    /// asked at. Nothing, or an input that nothing arrives at: the node's own positions.
    virtual std::optional<std::size_t> coordinatesInput(std::size_t k) const;
};

/// The field that arrives at input pin k: the upstream output's; the positions for an
/// unconnected coordinates pin; the default for an unconnected pin that has one; else empty.
zrk::IField inputField(const ZRKNodeBase<1, ZRKGraphObject>& node, int k);
/// Field of input 0 of the pin's node when it is a scalar one, else empty.
std::shared_ptr<zrk::FieldGenerator<1, 3>> scalarInputField(const Pin_ref<1>& pin);

} // namespace zrkmodel
