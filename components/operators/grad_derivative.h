#pragma once

#include "core/values/export.h"
#include "model/component.h"
#include "model/property.h"

namespace zrkmodel {

/// The gradient of a scalar field by finite differences. It points in the direction of the steepest growth
/// and is as long as that is steep.
///
/// | property  | kind | unit | default | range | meaning                                                 |
/// |-----------|------|------|---------|-------|---------------------------------------------------------|
/// | normalize | bool |      | false   |       | true: scaled to unit length; a zero gradient stays zero |
///
/// | input     | unit | meaning                                          |
/// |-----------|------|--------------------------------------------------|
/// | (unnamed) |      | the scalar field; without one nothing is written |
///
/// | output | unit | meaning                                                              |
/// |--------|------|----------------------------------------------------------------------|
/// | grad   |      | the change of the field per model unit, with the weight of the input |
///
/// Formula: Differences at four corners of a cube around the position, of half edge h: 1e-5 of the diagonal
/// of the model's box, 0.001 model units without one.
///
/// Notes: Exact for linear fields up to rounding; a field that bends gives an error of the order of h. The
/// corners have the weight of the position. Each sample costs five of the field.
///
/// Example: The normals of a torus as colours.
///
///     {"zrkGraph": 1, "context": {"modelBounds": [[-0.6, -0.6, -0.2], [0.6, 0.6, 0.2]]},
///      "nodes": [{"id": 1, "type": "TorusSDF"},
///                {"id": 2, "type": "GradDerivative", "values": {"normalize": true}},
///                {"id": 3, "type": "ColorFromVec3"}],
///      "links": [{"from": [1, 0], "to": [2, 0]}, {"from": [2, 0], "to": [3, 0]}], "output": [3, 0]}
class ZRK_API ZRKGradDerivative final : public ZRKComponent<ZRKGradDerivative> {
public:
    ZRKProperty<bool> normalize{"normalize", false, this};

    ZRKGradDerivative() = default;
    ZRKGradDerivative(const ZRKGradDerivative& other) : ZRKComponent(other) {}
    ZRKGradDerivative& operator=(const ZRKGradDerivative&) = default;

    static ComponentIdentity identity();
    void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) override;
    zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext& context) const override;
};

} // namespace zrkmodel
