#pragma once

#include "core/values/export.h"
#include "model/component.h"

namespace zrkmodel {

/// Gives 1 - v, which turns a density inside out. It doesn't negate: for a distance, see "Multiply" with -1.
///
/// | input     | unit | meaning   |
/// |-----------|------|-----------|
/// | (unnamed) |      | a density |
///
/// | output    | unit | meaning                                                          |
/// |-----------|------|------------------------------------------------------------------|
/// | (unnamed) |      | the density of what it leaves free, with the weight of the input |
///
/// Formula: 1 - v.
///
/// Notes: ZRKLevelsetIsoValue has the same type name, "Invert": a document tells the two apart by the class
/// name or the UUID.
///
/// Example: The space around a lattice of bars.
///
///     {"zrkGraph": 1, "context": {"modelBounds": [[0, 0, 0], [2, 2, 2]]},
///      "nodes": [{"id": 1, "type": "Cross"}, {"id": 2, "type": "ZRKInvert"}],
///      "links": [{"from": [1, 0], "to": [2, 0]}],
///      "output": [2, 0]}
class ZRK_API ZRKInvert final : public ZRKComponent<ZRKInvert> {
public:
    static ComponentIdentity identity();
    void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) override;
    zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext& context) const override;
};

} // namespace zrkmodel
