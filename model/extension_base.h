#pragma once

#include "core/engine/evaluator_builder.h"
#include "core/engine/field_generator.h"
#include "core/engine/kernel.h"
#include "core/values/export.h"
#include "model/context.h"
#include "model/graph_object.h"
#include "model/pins.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <vector>

namespace zrkmodel {

/// A graph object whose outputs are fields. Fields are made, and chains built from them, on any thread
/// while nothing of the graph changes.
class ZRK_API ZRKFieldObject : public ZRKGraphObject {
public:
    /// The field of one output of the node, which has as many components as the output's effective tag. Empty
    /// when the node has no such output, or when the tag names no data type. The field keeps the object
    /// alive.
    virtual zrk::IField realizeField(const ZRKNodeBase<1, ZRKGraphObject>& node,
                                     unsigned char outputIndex) = 0;
};

/// What all components derive from. A component answers `getEvaluatorForPin`; building the
/// chain around it is done here, once.
class ZRK_API ZRKExtensionBase : public ZRKFieldObject {
public:
    /// One input pin's field; empty where nothing arrives.
    struct InputField {
        zrk::IField field;
    };

    /// The object must be held by a shared pointer.
    zrk::IField realizeField(const ZRKNodeBase<1, ZRKGraphObject>& node, unsigned char outputIndex) override;

    /// What inputField answers for each input pin in pin order; nothing for a node that is gone.
    virtual std::optional<std::vector<InputField>>
    collectInputFields(const ZRKNodeBase<1, ZRKGraphObject>& node);

    /// Sets the evaluator of the builder's current node, which stands for the output `pin`, and adds a node
    /// for each of its input pins. An unconnected pin with a default value reads as its default; one that
    /// nothing arrives at reads as zeros. Does nothing when the pin or its graph is gone.
    virtual void onBuildEvaluator(zrk::EvaluatorBuilder<double>& builder, const Pin_ref<1>& pin) const;

    /// The closure of one output. It holds copies of all it needs, so that a later edit reaches only
    /// evaluators that are built after it. A component that can't work answers with one that writes nothing.
    /// May be called from any thread; reads properties without a lock.
    virtual zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext& context) const = 0;

protected:
    ZRKExtensionBase() = default;
    ZRKExtensionBase(const ZRKExtensionBase&) = default;
    ZRKExtensionBase& operator=(const ZRKExtensionBase&) = default;

    /// The earlier input whose values are the positions at which input k, and all that is behind it, is
    /// asked. Without one, or when nothing arrives at that input, these are the node's own positions.
    virtual std::optional<std::size_t> coordinatesInput(std::size_t k) const;
};

/// The field that arrives at input pin k: that of the output upstream, which is looked for through the
/// inputs of enclosing graphs; without one the positions, for a coordinates pin; else empty. An
/// unconnected pin with a default value is empty too, though a chain reads its default.
/// Empty for a pin that isn't there.
ZRK_API zrk::IField inputField(const ZRKNodeBase<1, ZRKGraphObject>& node, int k);
/// The field that arrives at input 0 of the pin's node; empty unless it is a scalar one.
ZRK_API zrk::Field<1, 3> inputField(const Pin_ref<1>& pin);

} // namespace zrkmodel
