#pragma once

#include "core/values/export.h"
#include "model/component.h"

namespace zrkmodel {

/// Scales a vector to unit length. What is left is its direction.
///
/// | input  | unit | meaning    |
/// |--------|------|------------|
/// | coords |      | the vector |
///
/// | output   | unit | meaning                                    |
/// |----------|------|--------------------------------------------|
/// | |coords| |      | its direction, with the weight of `coords` |
///
/// Formula: v / |v|; a zero vector stays zero.
///
/// Example: The direction from the origin to each position, as a colour.
///
///     {"zrkGraph": 1,
///      "nodes": [{"id": 1, "type": "PositionVec3"}, {"id": 2, "type": "NormalizeVec3"},
///                {"id": 3, "type": "ColorFromVec3"}],
///      "links": [{"from": [1, 0], "to": [2, 0]}, {"from": [2, 0], "to": [3, 0]}], "output": [3, 0]}
class ZRK_API ZRKNormalizeVec3 final : public ZRKComponent<ZRKNormalizeVec3> {
public:
    ZRKNormalizeVec3() = default;
    ZRKNormalizeVec3(const ZRKNormalizeVec3& other) : ZRKComponent(other) {}
    ZRKNormalizeVec3& operator=(const ZRKNormalizeVec3&) = default;

    static ComponentIdentity identity();
    void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) override;
    zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext& context) const override;
};

} // namespace zrkmodel
