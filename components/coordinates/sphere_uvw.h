#pragma once

#include "core/values/export.h"
#include "core/values/tensor.h"
#include "model/component.h"
#include "model/property.h"

namespace zrkmodel {

/// Expresses a position in the coordinates of a sphere. They are longitude, latitude, and distance to its
/// surface; patterns and pictures that read them run around the sphere.
///
/// | property | kind    | unit | default   | range  | meaning                                 |
/// |----------|---------|------|-----------|--------|-----------------------------------------|
/// | radius   | double  | mu   | 1.0       |        | where W is 0                            |
/// | poles    | double  |      | 0.0       | 0 to 1 | is stored and changes nothing           |
/// | center   | vector3 | mu   | [0, 0, 0] |        | the middle of the sphere                |
/// | inverse  | bool    |      | false     |        | true: maps from (U, V, W) to a position |
///
/// | input  | unit | meaning                                |
/// |--------|------|----------------------------------------|
/// | coords | mu   | the position; with "inverse" (U, V, W) |
///
/// | output | unit | meaning                                                                             |
/// |--------|------|-------------------------------------------------------------------------------------|
/// | coords |      | (U, V, W), or a position in model units with "inverse"; with the weight of `coords` |
///
/// Formula: With d = p - center and r = |d|:
///
///     U = atan2(d.y, d.x) / pi    longitude in units of pi, -1 to 1; 0 on the axis
///     V = asin(d.z / r) / pi      latitude in units of pi, -0.5 to 0.5; NaN at the centre
///     W = r - radius              model units, negative inside
///
/// The inverse maps to center + q (cos pi U cos pi V, sin pi U cos pi V, sin pi V) with q = W - radius.
///
/// Notes: The minus in q is deliberate: W = 0 gives the point opposite the one with these angles, and the
/// inverse undoes the forward map only for radius 0.
///
/// Example: A gyroid that runs around a sphere.
///
///     {"zrkGraph": 1, "context": {"modelBounds": [[-1.5, -1.5, -1.5], [1.5, 1.5, 1.5]]},
///      "nodes": [{"id": 1, "type": "ZRKSphereUVW", "values": {"radius": 0.8}},
///                {"id": 2, "type": "Gyroid"}],
///      "links": [{"from": [1, 0], "to": [2, 0]}], "output": [2, 0]}
class ZRK_API ZRKSphereUVW final : public ZRKComponent<ZRKSphereUVW> {
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
