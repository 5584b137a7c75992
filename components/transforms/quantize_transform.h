#pragma once

#include "core/values/export.h"
#include "core/values/tensor.h"
#include "model/component.h"
#include "model/property.h"

namespace zrkmodel {

/// Moves positions to the steps of a grid. What is seen through it turns into blocks.
///
/// | property | kind    | unit  | default   | range | meaning                                               |
/// |----------|---------|-------|-----------|-------|-------------------------------------------------------|
/// | strength | double  |       | 1.0       |       | 0 leaves the position, 1 snaps it; others aren't cut  |
/// |          |         |       |           |       | off and extrapolate                                   |
/// | step     | vector3 | mu    | [1, 1, 1] |       | cell size of each axis; 0 leaves that axis alone at   |
/// |          |         |       |           |       | any strength                                          |
/// | shift    | vector3 | cells | [0, 0, 0] |       | moves the lattice backwards; only its fractional part |
/// |          |         |       |           |       | counts                                                |
///
/// | input  | unit | meaning             |
/// |--------|------|---------------------|
/// | coords | mu   | the position to map |
///
/// | output | unit | meaning                                         |
/// |--------|------|-------------------------------------------------|
/// | coords | mu   | the moved position, with the weight of `coords` |
///
/// Formula: On each axis, with f the fractional part of shift, q = (round(p / step + f) - f) * step, where
/// round takes halves away from zero. The output is q * strength + p * (1 - strength).
///
/// Example: A sphere of cubes of side 0.25.
///
///     {"zrkGraph": 1, "context": {"modelBounds": [[-1.3, -1.3, -1.3], [1.3, 1.3, 1.3]]},
///      "nodes": [{"id": 1, "type": "QuantizeTransform", "values": {"step": [0.25, 0.25, 0.25]}},
///                {"id": 2, "type": "SphereSDF"}],
///      "links": [{"from": [1, 0], "to": [2, 0]}], "output": [2, 0]}
class ZRK_API ZRKQuantizeTransform final : public ZRKComponent<ZRKQuantizeTransform> {
public:
    ZRKProperty<double> strength{"strength", 1.0, this};
    ZRKProperty<zrk::Tensor<3, double>> step{"step", {1, 1, 1}, this};
    ZRKProperty<zrk::Tensor<3, double>> shift{"shift", {0, 0, 0}, this};

    ZRKQuantizeTransform() = default;
    ZRKQuantizeTransform(const ZRKQuantizeTransform& other) : ZRKComponent(other) {}
    ZRKQuantizeTransform& operator=(const ZRKQuantizeTransform&) = default;

    static ComponentIdentity identity();
    void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) override;
    void onSerialize(ZRKSerialization& s) const override;
    void onDeserialize(const ZRKDeserialization& d) override;
    zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext& context) const override;
};

} // namespace zrkmodel
