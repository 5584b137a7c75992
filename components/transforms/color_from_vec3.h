#pragma once

#include "core/values/export.h"
#include "model/component.h"

namespace zrkmodel {

/// Takes the components of a vector as red, green and blue. Values are neither scaled nor cut to 0..1.
///
/// | input | unit | meaning                               |
/// |-------|------|---------------------------------------|
/// | rgb   |      | the vector                            |
/// | alpha |      | the opacity; its weight doesn't count |
///
/// | output | unit | meaning                              |
/// |--------|------|--------------------------------------|
/// | color  |      | the colour, with the weight of `rgb` |
///
/// Formula: (x, y, z, alpha).
///
/// Example: The place in the model as a colour.
///
///     {"zrkGraph": 1, "context": {"modelBounds": [[-1, -1, -1], [1, 1, 1]]},
///      "nodes": [{"id": 1, "type": "PositionVec3", "values": {"normalized": true}},
///                {"id": 2, "type": "ColorFromVec3"}],
///      "links": [{"from": [1, 0], "to": [2, 0]}], "output": [2, 0]}
class ZRK_API ZRKColorFromVec3 final : public ZRKComponent<ZRKColorFromVec3> {
public:
    ZRKColorFromVec3() = default;
    ZRKColorFromVec3(const ZRKColorFromVec3& other) : ZRKComponent(other) {}
    ZRKColorFromVec3& operator=(const ZRKColorFromVec3&) = default;

    static ComponentIdentity identity();
    void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) override;
    zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext& context) const override;
};

} // namespace zrkmodel
