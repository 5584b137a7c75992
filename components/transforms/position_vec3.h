#pragma once

#include "core/values/export.h"
#include "model/component.h"
#include "model/property.h"

namespace zrkmodel {

/// The position itself, as a vector. It is the one at which the field is evaluated, in a space of choice.
///
/// | property            | kind | unit | default | range | meaning                                          |
/// |---------------------|------|------|---------|-------|--------------------------------------------------|
/// | normalized          | bool |      | false   |       | true: 0 to 1 from the lower to the upper corner  |
/// |                     |      |      |         |       | of the model's box; false: model units           |
/// | object space coords | bool |      | false   |       | true: coordinates in the model's own space, and  |
/// |                     |      |      |         |       | its box there; false: coordinates of the domain  |
///
/// | output | unit | meaning                                                                   |
/// |--------|------|---------------------------------------------------------------------------|
/// | coords |      | the position, in model units unless "normalized" is true, with its weight |
///
/// Formula: p, or its place in the box of the document's "context".
///
/// Notes: If the model has no transform or no box, the property that needs it acts as if it were false. A
/// flat box gives infinities or NaN across it. There is no input.
///
/// Example: The height in the model, from 0 to 1.
///
///     {"zrkGraph": 1, "context": {"modelBounds": [[-1, -1, 0], [1, 1, 4]]},
///      "nodes": [{"id": 1, "type": "PositionVec3", "values": {"normalized": true}},
///                {"id": 2, "type": "Vector3SplitComponents"}],
///      "links": [{"from": [1, 0], "to": [2, 0]}], "output": [2, 2]}
class ZRK_API ZRKPositionVec3 final : public ZRKComponent<ZRKPositionVec3> {
public:
    ZRKProperty<bool> normalized{"normalized", false, this};
    ZRKProperty<bool> objectSpace{"object space coords", false, this};

    ZRKPositionVec3() = default;
    ZRKPositionVec3(const ZRKPositionVec3& other) : ZRKComponent(other) {}
    ZRKPositionVec3& operator=(const ZRKPositionVec3&) = default;

    static ComponentIdentity identity();
    void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) override;
    zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext& context) const override;
};

} // namespace zrkmodel
