#pragma once

#include "model/component.h"
#include "model/property.h"

namespace zrkmodel {

/// Sets the weight of a field by a mask; the components stay as they are. Weighted operators
/// downstream then take the field less or more into account.
///
/// | property   | unit | default | effect                                                      |
/// |------------|------|---------|-------------------------------------------------------------|
/// | multiplier |      | 1.0     | factor of the mask's value, not of its weight               |
/// | replace    |      | false   | true: the mask sets the weight; false: it only lowers it    |
///
/// With k = multiplier * m, the mask's value m and weight mw, and the field's weight wf:
///
///     replace   w = (1 - mw) wf + mw k
///     else      w = (1 - mw) wf + mw (wf > k ? k : wf)
///
/// cut to 0 and 1. An unconnected mask weighs 0 and so changes nothing but for the cut. The field may
/// be a scalar, a vector or a colour; without one nothing is written.
///
/// A sphere that counts only near a gyroid's walls:
///
///     {"zrkGraph": 1, "nodes": [{"id": 1, "type": "SphereSDF"}, {"id": 2, "type": "Gyroid"},
///                {"id": 3, "type": "mask", "values": {"replace": true}}],
///      "links": [{"from": [1, 0], "to": [3, 0]}, {"from": [2, 0], "to": [3, 1]}],
///      "output": [3, 0]}
class ZRKMask final : public ZRKComponent<ZRKMask> {
public:
    ZRKProperty<double> multiplier{"multiplier", 1.0, this};
    ZRKProperty<bool> replace{"replace", false, this};

    ZRKMask() = default;
    ZRKMask(const ZRKMask& other) : ZRKComponent(other) {}
    ZRKMask& operator=(const ZRKMask&) = default;

    static ComponentIdentity identity();
    void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) override;
    /// The tag of the first input.
    Tag queryEffectiveOutputPinTag(const Pin_ref<1>& pin) override;
    zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext& context) const override;
};

} // namespace zrkmodel
