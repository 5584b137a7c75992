#pragma once

#include "core/values/export.h"
#include "core/values/tensor.h"
#include "model/component.h"
#include "model/property.h"

namespace zrkmodel {

/// Signed distance to a sphere. It is the simplest solid.
///
/// | property | kind    | unit | default   | range | meaning                                                |
/// |----------|---------|------|-----------|-------|--------------------------------------------------------|
/// | radius   | double  | mu   | 1.0       |       | radius of the sphere; a negative one moves every value |
/// |          |         |      |           |       | up, so that nothing is inside                          |
/// | center   | vector3 | mu   | [0, 0, 0] |       | the middle of the sphere                               |
///
/// | input  | unit | meaning                        |
/// |--------|------|--------------------------------|
/// | coords | mu   | where the distance is measured |
///
/// | output | unit | meaning                                                    |
/// |--------|------|------------------------------------------------------------|
/// | sdf    | mu   | the distance, negative inside, with the weight of `coords` |
///
/// Formula: d = |p - center| - radius.
///
/// Example: A sphere of radius 2 around (1, 0, 0).
///
///     {"zrkGraph": 1, "context": {"modelBounds": [[-2, -3, -3], [4, 3, 3]]},
///      "nodes": [{"id": 1, "type": "SphereSDF", "values": {"radius": 2, "center": [1, 0, 0]}}],
///      "output": [1, 0]}
class ZRK_API ZRKSphereSDF final : public ZRKComponent<ZRKSphereSDF> {
public:
    ZRKProperty<double> radius{"radius", 1.0, this};
    ZRKProperty<zrk::Tensor<3, double>> center{"center", {0, 0, 0}, this};

    ZRKSphereSDF() = default;
    ZRKSphereSDF(const ZRKSphereSDF& other) : ZRKComponent(other) {}
    ZRKSphereSDF& operator=(const ZRKSphereSDF&) = default;

    static ComponentIdentity identity();
    void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) override;
    zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext& context) const override;
};

} // namespace zrkmodel
