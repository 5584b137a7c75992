#pragma once

#include "core/values/export.h"
#include "model/component.h"
#include "model/property.h"

namespace zrkmodel {

/// Multiplies a field with a scalar. The scalar is a number and, where `b` is connected, a field besides.
///
/// | property   | kind   | unit | default | range | meaning                   |
/// |------------|--------|------|---------|-------|---------------------------|
/// | multiplier | double |      | 1.0     |       | factor of every component |
///
/// | input | unit | meaning                                                |
/// |-------|------|--------------------------------------------------------|
/// | a     |      | the field, of any type; without one nothing is written |
/// | b     |      | a scalar field; unconnected it isn't consulted         |
///
/// | output | unit    | meaning                           |
/// |--------|---------|-----------------------------------|
/// | a*b    | input's | the product, with the weight of a |
///
/// Formula: a * (multiplier * b) in each component, the alpha of a colour included.
///
/// Example: What lies around a sphere: a distance turned inside out by -1.
///
///     {"zrkGraph": 1, "context": {"modelBounds": [[-1.5, -1.5, -1.5], [1.5, 1.5, 1.5]]},
///      "nodes": [{"id": 1, "type": "SphereSDF"},
///                {"id": 2, "type": "Multiply", "values": {"multiplier": -1}}],
///      "links": [{"from": [1, 0], "to": [2, 0]}],
///      "output": [2, 0]}
class ZRK_API ZRKMultiply final : public ZRKComponent<ZRKMultiply> {
public:
    ZRKProperty<double> multiplier{"multiplier", 1.0, this};

    ZRKMultiply() = default;
    ZRKMultiply(const ZRKMultiply& other) : ZRKComponent(other) {}
    ZRKMultiply& operator=(const ZRKMultiply&) = default;

    static ComponentIdentity identity();
    void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) override;
    /// The tag of the first input.
    Tag queryEffectiveOutputPinTag(const Pin_ref<1>& pin) override;
    zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext& context) const override;
};

} // namespace zrkmodel
