#pragma once

#include "core/values/export.h"
#include "model/component.h"

namespace zrkmodel {

/// Evaluates one field at the positions that another one gives. This reaches every component behind the
/// second input, at any depth, though none of them is linked to the coordinates.
///
/// | input     | unit | meaning                                                                  |
/// |-----------|------|--------------------------------------------------------------------------|
/// | coords    | mu   | where the field is evaluated; unconnected: at the positions as they come |
/// | (unnamed) |      | the field, of any type; without one nothing is written                   |
///
/// | output    | unit    | meaning                                                |
/// |-----------|---------|--------------------------------------------------------|
/// | (unnamed) | input's | the field at these positions, with its type and weight |
///
/// Formula: field(coords(p)).
///
/// Example: A union of two solids, twisted as one.
///
///     {"zrkGraph": 1, "context": {"modelBounds": [[-1, -1, -1], [1.5, 1.5, 1.5]]},
///      "nodes": [{"id": 1, "type": "BoxSDF"}, {"id": 2, "type": "TorusSDF"},
///                {"id": 3, "type": "BinaryOperator", "values": {"op_name": "minimum"}},
///                {"id": 4, "type": "TwistTransform"}, {"id": 5, "type": "ApplyTransform"}],
///      "links": [{"from": [1, 0], "to": [3, 0]}, {"from": [2, 0], "to": [3, 1]},
///                {"from": [4, 0], "to": [5, 0]}, {"from": [3, 0], "to": [5, 1]}], "output": [5, 0]}
class ZRK_API ZRKApplyTransform final : public ZRKComponent<ZRKApplyTransform> {
public:
    ZRKApplyTransform() = default;
    ZRKApplyTransform(const ZRKApplyTransform& other) : ZRKComponent(other) {}
    ZRKApplyTransform& operator=(const ZRKApplyTransform&) = default;

    static ComponentIdentity identity();
    void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) override;
    Tag queryEffectiveOutputPinTag(const Pin_ref<1>& pin) override;
    zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext& context) const override;

protected:
    std::optional<std::size_t> coordinatesInput(std::size_t k) const override;
};

} // namespace zrkmodel
