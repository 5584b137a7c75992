#pragma once

#include "core/values/export.h"
#include "core/values/tensor.h"
#include "model/component.h"
#include "model/property.h"

namespace zrkmodel {

/// Signed distance to a torus. It is a ring around the z direction through its centre.
///
/// | property    | kind    | unit | default   | range | meaning                                             |
/// |-------------|---------|------|-----------|-------|-----------------------------------------------------|
/// | center      | vector3 | mu   | [0, 0, 0] |       | the middle of the ring                              |
/// | ring radius | double  | mu   | 0.4       |       | radius of the circle in the middle of the tube; 0   |
/// |             |         |      |           |       | makes a sphere                                      |
/// | tube radius | double  | mu   | 0.1       |       | one larger than the ring radius closes the hole; a  |
/// |             |         |      |           |       | negative one moves every value up                   |
///
/// | input  | unit | meaning                        |
/// |--------|------|--------------------------------|
/// | coords | mu   | where the distance is measured |
///
/// | output | unit | meaning                                                             |
/// |--------|------|---------------------------------------------------------------------|
/// | sdf    | mu   | the distance, negative inside the tube, with the weight of `coords` |
///
/// Formula: With q = p - center and a = sqrt(q.x^2 + q.y^2) - ring radius, d = sqrt(q.z^2 + a^2) - tube
/// radius.
///
/// Example: A thick ring.
///
///     {"zrkGraph": 1, "context": {"modelBounds": [[-1.5, -1.5, -0.5], [1.5, 1.5, 0.5]]},
///      "nodes": [{"id": 1, "type": "TorusSDF", "values": {"ring radius": 1, "tube radius": 0.3}}],
///      "output": [1, 0]}
class ZRK_API ZRKTorusSDF final : public ZRKComponent<ZRKTorusSDF> {
public:
    ZRKProperty<zrk::Tensor<3, double>> center{"center", {0, 0, 0}, this};
    ZRKProperty<double> ringRadius{"ring radius", 0.4, this};
    ZRKProperty<double> tubeRadius{"tube radius", 0.1, this};

    ZRKTorusSDF() = default;
    ZRKTorusSDF(const ZRKTorusSDF& other) : ZRKComponent(other) {}
    ZRKTorusSDF& operator=(const ZRKTorusSDF&) = default;

    static ComponentIdentity identity();
    void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) override;
    void onSerialize(ZRKSerialization& s) const override;
    void onDeserialize(const ZRKDeserialization& d) override;
    zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext& context) const override;
};

} // namespace zrkmodel
