#pragma once

#include "components/coordinates/geometry_property.h"
#include "core/values/export.h"
#include "model/component.h"
#include "model/property.h"

namespace zrkmodel {

/// How far along a curve its point closest to a position lies. It serves for gradients that follow a path.
///
/// | property   | kind     | unit | default | range | meaning                                             |
/// |------------|----------|------|---------|-------|-----------------------------------------------------|
/// | curve      | geometry |      | ""      | curve | the curve; without one nothing is written           |
/// | normalize  | bool     |      | true    |       | true: from 0 at the curve's start to 1 at its end   |
/// | use length | bool     |      | false   |       | true: measures length; false: the curve's parameter |
///
/// | output  | unit | meaning                                                                               |
/// |---------|------|---------------------------------------------------------------------------------------|
/// | density |      | the place along the curve, in model units where "use length" is true and "normalize"  |
/// |         |      | false, with the weight of the position                                                |
///
/// Formula: With t the parameter of the closest point, the density is
///
///     normalize   use length
///     false       false        t
///     false       true         length(t), in model units
///     true        false        (t - tMin) / (tMax - tMin), or tMin where tMax equals tMin
///     true        true         length(t) / length
///
/// Notes: There is no input: the component measures the positions of the domain.
///
/// Example: The length along a corner.
///
///     {"zrkGraph": 1,
///      "resources": [{"uuid": "2d20", "kind": "geometry", "shape": "polyline",
///                     "points": [[0, 0, 0], [1, 0, 0], [1, 1, 0]]}],
///      "nodes": [{"id": 1, "type": "Curve Length", "values": {"curve": "2d20", "use length": true}}],
///      "output": [1, 0]}
class ZRK_API ZRKCurveLength final : public ZRKComponent<ZRKCurveLength> {
public:
    ZRKGeometryProperty curve{"curve", nullptr, this};
    ZRKProperty<bool> normalize{"normalize", true, this};
    ZRKProperty<bool> useLength{"use length", false, this};

    ZRKCurveLength() = default;
    ZRKCurveLength(const ZRKCurveLength& other) : ZRKComponent(other) {}
    ZRKCurveLength& operator=(const ZRKCurveLength&) = default;

    static ComponentIdentity identity();
    void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) override;
    zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext& context) const override;

    /// Takes over the selection of a curve picker: its first geometry, or none if it is empty.
    void pick(const PickedGeometries& selection) { takePick(curve, selection); }
};

} // namespace zrkmodel
