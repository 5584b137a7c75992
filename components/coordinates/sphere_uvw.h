#pragma once

#include "core/values/tensor.h"
#include "model/component.h"
#include "model/property.h"

namespace zrkmodel {

/// Positions in the coordinates of a sphere: longitude, latitude, and distance to its surface.
/// Feeds patterns and images that are to run around the sphere.
///
/// | property | unit | default   | effect                                                     |
/// |----------|------|-----------|------------------------------------------------------------|
/// | radius   | mu   | 1.0       | where W is 0                                               |
/// | poles    |      | 0.0       | stored only                                                |
/// | center   | mu   | (0, 0, 0) |                                                            |
/// | inverse  |      | false     | true: from (U, V, W) to a position                         |
///
/// With d = p - center and r = |d|:
///
///     U = atan2(d.y, d.x) / pi    longitude, -1 to 1
///     V = asin(d.z / r) / pi      latitude, -0.5 to 0.5; NaN at the centre
///     W = r - radius              negative inside
///
/// Inverse, with q = W - radius: center + q (cos pi U cos pi V, sin pi U cos pi V, sin pi V). The minus
/// is deliberate: W = 0 gives the antipode of the surface point, and only radius 0 undoes the other way.
/// The weight of `coords` is handed on.
///
/// A gyroid that runs around a sphere:
///
///     {"zrkGraph": 1,
///      "nodes": [{"id": 1, "type": "ZRKSphereUVW", "values": {"radius": 0.8}},
///                {"id": 2, "type": "Gyroid"}],
///      "links": [{"from": [1, 0], "to": [2, 0]}], "output": [2, 0]}
class ZRKSphereUVW final : public ZRKComponent<ZRKSphereUVW> {
public:
    ZRKProperty<double> radius{"radius", 1.0, this};
    ZRKProperty<double> poles{"poles", 0.0, this}; ///< kept for saved documents; changes nothing
    ZRKProperty<zrk::Tensor<3, double>> center{"center", {0, 0, 0}, this};
    ZRKProperty<bool> inverse{"inverse", false, this};

    ZRKSphereUVW() = default;
    ZRKSphereUVW(const ZRKSphereUVW& other) : ZRKComponent(other) {}
    ZRKSphereUVW& operator=(const ZRKSphereUVW&) = default;

    static ComponentIdentity identity();
    void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) override;
    zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext& context) const override;
};

} // namespace zrkmodel
