#pragma once

#include "core/values/tensor.h"
#include "model/component.h"
#include "model/property.h"

namespace zrkmodel {

/// Positions in the coordinates of a sphere: longitude, latitude, and distance to its surface.
/// Patterns and pictures that read these coordinates run around the sphere.
///
/// | property | unit | default   | effect                                  |
/// |----------|------|-----------|-----------------------------------------|
/// | radius   | mu   | 1.0       | where W is 0                            |
/// | poles    |      | 0.0       | is stored and changes nothing           |
/// | center   | mu   | (0, 0, 0) | the middle of the sphere                |
/// | inverse  |      | false     | true: maps from (U, V, W) to a position |
///
/// With d = p - center and r = |d|:
///
///     U = atan2(d.y, d.x) / pi    longitude in units of pi, -1 to 1; 0 on the axis
///     V = asin(d.z / r) / pi      latitude in units of pi, -0.5 to 0.5; NaN at the centre
///     W = r - radius              model units, negative inside
///
/// The inverse maps to center + q (cos pi U cos pi V, sin pi U cos pi V, sin pi V) with q = W - radius. The
/// minus is deliberate: W = 0 gives the point opposite the one with these angles, and the inverse undoes the
/// forward map only for radius 0. The weight is that of `coords`.
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
