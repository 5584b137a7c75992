#pragma once

#include "core/values/export.h"
#include "core/values/tensor.h"
#include "model/component.h"
#include "model/property.h"

namespace zrkmodel {

/// Bends space around an axis. Positions turn about it by an angle that grows along a second direction; what
/// is seen through it looks bent.
///
/// | property       | kind    | unit    | default   | range | meaning                                       |
/// |----------------|---------|---------|-----------|-------|-----------------------------------------------|
/// | angle          | double  | degrees | 5.0       |       | right-handed about the axis                   |
/// | axis           | vector3 |         | [1, 0, 0] |       | only its direction counts; a zero axis maps   |
/// |                |         |         |           |       | every position to center                      |
/// | bend direction | vector3 | mu      | [0, 0, 1] |       | its length is the distance over which angle   |
/// |                |         |         |           |       | is reached; a zero vector bends nothing;      |
/// |                |         |         |           |       | parallel to the axis it makes a twist         |
/// | center         | vector3 | mu      | [0, 0, 0] |       | a point on the axis, where the rotation is    |
/// |                |         |         |           |       | zero                                          |
///
/// | input  | unit | meaning             |
/// |--------|------|---------------------|
/// | coords | mu   | the position to map |
///
/// | output | unit | meaning                                          |
/// |--------|------|--------------------------------------------------|
/// | coords | mu   | the turned position, with the weight of `coords` |
///
/// Formula: With b the distance of p from center along the bend direction, the offset from center is turned
/// about the axis by b * angle / |bend direction|.
///
/// Notes: Lengths aren't preserved.
///
/// Example: A bent bar.
///
///     {"zrkGraph": 1, "context": {"modelBounds": [[-2, -4, -5], [2, 4, 5]]},
///      "nodes": [{"id": 1, "type": "BendTransform", "values": {"angle": 10}},
///                {"id": 2, "type": "BoxSDF", "values": {"center": [0, 0, 0], "dimensions": [1, 1, 8]}}],
///      "links": [{"from": [1, 0], "to": [2, 0]}], "output": [2, 0]}
class ZRK_API ZRKBendTransform final : public ZRKComponent<ZRKBendTransform> {
public:
    ZRKProperty<double> angle{"angle", 5.0, this};
    ZRKProperty<zrk::Tensor<3, double>> axis{"axis", {1, 0, 0}, this};
    ZRKProperty<zrk::Tensor<3, double>> bendDirection{"bend direction", {0, 0, 1}, this};
    ZRKProperty<zrk::Tensor<3, double>> center{"center", {0, 0, 0}, this};

    ZRKBendTransform() = default;
    ZRKBendTransform(const ZRKBendTransform& other) : ZRKComponent(other) {}
    ZRKBendTransform& operator=(const ZRKBendTransform&) = default;

    static ComponentIdentity identity();
    void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) override;
    zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext& context) const override;
};

} // namespace zrkmodel
