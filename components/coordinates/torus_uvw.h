#pragma once

#include "core/values/export.h"
#include "core/values/tensor.h"
#include "model/component.h"
#include "model/property.h"

namespace zrkmodel {

/// Expresses a position in the coordinates of a torus. The torus lies about the z direction; the coordinates
/// are the angle around the ring, the angle around the tube, and the distance to its surface.
///
/// | property    | kind    | unit | default   | range | meaning                                   |
/// |-------------|---------|------|-----------|-------|-------------------------------------------|
/// | center      | vector3 | mu   | [0, 0, 0] |       | the middle of the ring                    |
/// | ring radius | double  | mu   | 0.4       |       | from the centre to the middle of the tube |
/// | tube radius | double  | mu   | 0.1       |       | where W is 0                              |
/// | inverse     | bool    |      | false     |       | is stored and changes nothing             |
///
/// | input  | unit | meaning             |
/// |--------|------|---------------------|
/// | coords | mu   | the position to map |
///
/// | output | unit | meaning                                |
/// |--------|------|----------------------------------------|
/// | coords |      | (U, V, W), with the weight of `coords` |
///
/// Formula: With d = p - center and q = sqrt(d.x^2 + d.y^2) - ring radius:
///
///     U = atan2(d.y, d.x) / pi               angle around the ring in units of pi, -1 to 1
///     V = atan2(d.z, q) / pi                 angle around the tube in units of pi, -1 to 1
///     W = sqrt(d.z^2 + q^2) - tube radius    model units, negative inside
///
/// V is 0 on the outer side and 0.5 on top.
///
/// Example: A gyroid wound around a torus.
///
///     {"zrkGraph": 1, "context": {"modelBounds": [[-1.2, -1.2, -0.6], [1.2, 1.2, 0.6]]},
///      "nodes": [{"id": 1, "type": "ZRKTorusUVW", "values": {"ring radius": 0.8}},
///                {"id": 2, "type": "Gyroid"}],
///      "links": [{"from": [1, 0], "to": [2, 0]}], "output": [2, 0]}
class ZRK_API ZRKTorusUVW final : public ZRKComponent<ZRKTorusUVW> {
public:
    ZRKProperty<zrk::Tensor<3, double>> center{"center", {0, 0, 0}, this};
    ZRKProperty<double> ringRadius{"ring radius", 0.4, this};
    ZRKProperty<double> tubeRadius{"tube radius", 0.1, this};
    ZRKProperty<bool> inverse{"inverse", false, this}; ///< kept for saved documents; changes nothing

    ZRKTorusUVW() = default;
    ZRKTorusUVW(const ZRKTorusUVW& other) : ZRKComponent(other) {}
    ZRKTorusUVW& operator=(const ZRKTorusUVW&) = default;

    static ComponentIdentity identity();
    void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) override;
    zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext& context) const override;
    void onSerialize(ZRKSerialization& s) const override;
    void onDeserialize(const ZRKDeserialization& d) override;
};

} // namespace zrkmodel
