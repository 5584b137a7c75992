#pragma once

#include "core/values/tensor.h"
#include "model/component.h"
#include "model/property.h"

namespace zrkmodel {

/// Signed distance to a sphere, the simplest solid.
///
/// | property | unit | default   | effect                                          |
/// |----------|------|-----------|-------------------------------------------------|
/// | radius   | mu   | 1.0       | a negative radius moves every value up, so that |
/// |          |      |           | nothing is inside                               |
/// | center   | mu   | (0, 0, 0) | the middle of the sphere                        |
///
/// d = |p - center| - radius. The distance is in model units (mu) and negative inside; the weight is that of
/// `coords`.
///
/// A sphere of radius 2 around (1, 0, 0):
///
///     {"zrkGraph": 1,
///      "nodes": [{"id": 1, "type": "SphereSDF", "values": {"radius": 2, "center": [1, 0, 0]}}],
///      "output": [1, 0]}
class ZRKSphereSDF final : public ZRKComponent<ZRKSphereSDF> {
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
