#pragma once

#include "core/values/export.h"
#include "model/component.h"
#include "model/property.h"

namespace zrkmodel {

/// Sets or lowers the weight of a field by a mask. The components stay as they are; weighted operators
/// downstream then take the field less or more into account.
///
/// | property   | kind   | unit | default | range  | meaning                                                |
/// |------------|--------|------|---------|--------|--------------------------------------------------------|
/// | multiplier | double |      | 1.0     | 0 to 1 | factor of the mask's value, not of its weight          |
/// | replace    | bool   |      | false   |        | true: the mask sets the weight; false: it only lowers  |
/// |            |        |      |         |        | it                                                     |
///
/// | input | unit | meaning                                                                          |
/// |-------|------|----------------------------------------------------------------------------------|
/// | f     |      | the field, of any type; without one nothing is written                           |
/// | mask  |      | the mask; unconnected it weighs 0 and changes nothing but for the cut to 0 and 1 |
///
/// | output    | unit    | meaning                        |
/// |-----------|---------|--------------------------------|
/// | masked(f) | input's | the field, with another weight |
///
/// Formula: With k = multiplier * m, the mask's value m and weight mw, and the field's weight wf:
///
///     replace   w = (1 - mw) wf + mw k
///     else      w = (1 - mw) wf + mw (wf > k ? k : wf)
///
/// cut to 0 and 1.
///
/// Example: A sphere that counts only near a gyroid's walls.
///
///     {"zrkGraph": 1, "context": {"modelBounds": [[-1, -1, -1], [1, 1, 1]]},
///      "nodes": [{"id": 1, "type": "SphereSDF"}, {"id": 2, "type": "Gyroid"},
///                {"id": 3, "type": "mask", "values": {"replace": true}}],
///      "links": [{"from": [1, 0], "to": [3, 0]}, {"from": [2, 0], "to": [3, 1]}],
///      "output": [3, 0]}
class ZRK_API ZRKMask final : public ZRKComponent<ZRKMask> {
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
