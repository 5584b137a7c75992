#pragma once

#include "model/component.h"

namespace zrkmodel {

/// Mirrors a scalar in the unit interval: 1 - v, with the weight of the input. Turns a density inside
/// out. It doesn't negate: for a distance, see "Multiply" with -1.
///
/// It has no properties.
///
/// The space around a gyroid:
///
///     {"zrkGraph": 1, "nodes": [{"id": 1, "type": "Gyroid"},
///                {"id": 2, "type": "Invert", "uuid": "BD624C1E-A801-44C6-954A-14A44BE779BB"}],
///      "links": [{"from": [1, 0], "to": [2, 0]}],
///      "output": [2, 0]}
class ZRKInvert final : public ZRKComponent<ZRKInvert> {
public:
    static ComponentIdentity identity();
    void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) override;
    zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext& context) const override;
};

} // namespace zrkmodel
