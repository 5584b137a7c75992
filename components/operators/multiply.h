#pragma once

#include "model/component.h"
#include "model/property.h"

namespace zrkmodel {

/// Multiplies a field by a number and, where "b" is connected, by a scalar field.
///
/// | property   | unit | default | effect                          |
/// |------------|------|---------|---------------------------------|
/// | multiplier |      | 1.0     | factor of every component       |
///
/// a * (multiplier * b) in each component, the alpha of a colour included, with the weight of a.
/// An unconnected b isn't consulted. a may be a scalar, a vector or a colour; without one
/// nothing is written.
///
/// A sphere's distance in tenths:
///
///     {"zrkGraph": 1, "nodes": [{"id": 1, "type": "SphereSDF"},
///                {"id": 2, "type": "Multiply", "values": {"multiplier": 10}}],
///      "links": [{"from": [1, 0], "to": [2, 0]}],
///      "output": [2, 0]}
class ZRKMultiply final : public ZRKComponent<ZRKMultiply> {
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
