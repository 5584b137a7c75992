#pragma once

#include "core/values/export.h"
#include "core/values/tensor.h"
#include "model/component.h"
#include "model/property.h"

namespace zrkmodel {

/// Turns positions about an axis, the more the farther along it. What is seen through it looks twisted.
///
/// | property | kind    | unit    | default   | range | meaning                                             |
/// |----------|---------|---------|-----------|-------|-----------------------------------------------------|
/// | center   | vector3 | mu      | [0, 0, 0] |       | a point on the axis, where the twist is zero        |
/// | axis     | vector3 | mu      | [0, 0, 1] |       | its length is the height over which angle is        |
/// |          |         |         |           |       | reached; a zero axis maps every position to center  |
/// | angle    | double  | degrees | 5.0       |       | right-handed about the axis; negative turns the     |
/// |          |         |         |           |       | other way                                           |
///
/// | input  | unit | meaning             |
/// |--------|------|---------------------|
/// | coords | mu   | the position to map |
///
/// | output | unit | meaning                                          |
/// |--------|------|--------------------------------------------------|
/// | coords | mu   | the turned position, with the weight of `coords` |
///
/// Formula: With h the height of p over center along the axis, the offset from center is turned about the
/// axis by h * angle / |axis|.
///
/// Example: A twisted bar.
///
///     {"zrkGraph": 1, "context": {"modelBounds": [[-1, -1, -4.5], [1, 1, 4.5]]},
///      "nodes": [{"id": 1, "type": "TwistTransform", "values": {"angle": 45}},
///                {"id": 2, "type": "BoxSDF", "values": {"center": [0, 0, 0], "dimensions": [1, 1, 8]}}],
///      "links": [{"from": [1, 0], "to": [2, 0]}], "output": [2, 0]}
class ZRK_API ZRKTwistTransform final : public ZRKComponent<ZRKTwistTransform> {
public:
    ZRKProperty<zrk::Tensor<3, double>> center{"center", {0, 0, 0}, this};
    ZRKProperty<zrk::Tensor<3, double>> axis{"axis", {0, 0, 1}, this};
    ZRKProperty<double> angle{"angle", 5.0, this};

    ZRKTwistTransform() = default;
    ZRKTwistTransform(const ZRKTwistTransform& other) : ZRKComponent(other) {}
    ZRKTwistTransform& operator=(const ZRKTwistTransform&) = default;

    static ComponentIdentity identity();
    void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) override;
    void onSerialize(ZRKSerialization& s) const override;
    void onDeserialize(const ZRKDeserialization& d) override;
    zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext& context) const override;
};

} // namespace zrkmodel
