#pragma once

#include "model/component.h"
#include "model/property.h"

namespace zrkmodel {

/// Turns a density into a field like a distance around an iso value of choice.
///
/// | property          | unit | default | effect                                             |
/// |-------------------|------|---------|----------------------------------------------------|
/// | levelset isovalue |      | 0.5     | density at which the result is 0                   |
/// | invert interior   |      | false   | false: larger densities are inside; true: smaller  |
///
/// iso value - density, or density - iso value, with the weight of the density. The size of
/// the result is that of the density, which need not have the slope of a distance.
///
/// The type name is "Invert", as ZRKInvert's; documents tell the two apart by UUID.
///
/// A gyroid with thicker walls:
///
///     {"zrkGraph": 1, "nodes": [{"id": 1, "type": "Gyroid"}, {"id": 2, "type": "ZRKLevelsetIsoValue",
///                 "values": {"levelset isovalue": 0.3}}],
///      "links": [{"from": [1, 0], "to": [2, 0]}],
///      "output": [2, 0]}
class ZRKLevelsetIsoValue final : public ZRKComponent<ZRKLevelsetIsoValue> {
public:
    ZRKProperty<double> isoValue{"levelset isovalue", 0.5, this};
    ZRKProperty<bool> invertInterior{"invert interior", false, this};

    ZRKLevelsetIsoValue() = default;
    ZRKLevelsetIsoValue(const ZRKLevelsetIsoValue& other) : ZRKComponent(other) {}
    ZRKLevelsetIsoValue& operator=(const ZRKLevelsetIsoValue&) = default;

    static ComponentIdentity identity();
    void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) override;
    zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext& context) const override;
};

} // namespace zrkmodel
