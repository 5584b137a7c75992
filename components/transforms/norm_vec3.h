#pragma once

#include "core/values/export.h"
#include "model/component.h"

namespace zrkmodel {

/// The length of a vector.
///
/// | input  | unit | meaning    |
/// |--------|------|------------|
/// | coords |      | the vector |
///
/// | output | unit    | meaning                                 |
/// |--------|---------|-----------------------------------------|
/// | norm   | input's | its length, with the weight of `coords` |
///
/// Formula: sqrt(x^2 + y^2 + z^2).
///
/// Example: The distance from the origin.
///
///     {"zrkGraph": 1,
///      "nodes": [{"id": 1, "type": "PositionVec3"}, {"id": 2, "type": "NormVec3"}],
///      "links": [{"from": [1, 0], "to": [2, 0]}], "output": [2, 0]}
class ZRK_API ZRKNormVec3 final : public ZRKComponent<ZRKNormVec3> {
public:
    ZRKNormVec3() = default;
    ZRKNormVec3(const ZRKNormVec3& other) : ZRKComponent(other) {}
    ZRKNormVec3& operator=(const ZRKNormVec3&) = default;

    static ComponentIdentity identity();
    void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) override;
    zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext& context) const override;
};

} // namespace zrkmodel
