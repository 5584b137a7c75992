#pragma once

#include "components/coordinates/geometry_property.h"
#include "model/component.h"
#include "model/property.h"

namespace zrkmodel {

/// How far along a curve its point closest to the position lies: gradients that follow a path.
///
/// | property   | unit | default | effect                                                     |
/// |------------|------|---------|------------------------------------------------------------|
/// | curve      |      | none    | without a curve nothing is written                          |
/// | normalize  |      | true    | from 0 at the curve's start to 1 at its end                 |
/// | use length |      | false   | the length in model units, else the curve's parameter       |
///
/// With t the closest parameter: t, (t - tMin) / (tMax - tMin), length(t) or length(t) / length. Where the
/// curve's parameters are one value, the normalized one is that value. Measures the positions themselves,
/// with their weight.
///
///     {"zrkGraph": 1,
///      "resources": [{"uuid": "2d20", "kind": "geometry", "shape": "polyline",
///                     "points": [[0, 0, 0], [1, 0, 0], [1, 1, 0]]}],
///      "nodes": [{"id": 1, "type": "Curve Length", "values": {"curve": "2d20", "use length": true}}],
///      "output": [1, 0]}
class ZRKCurveLength final : public ZRKComponent<ZRKCurveLength> {
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

    /// The selection of a curve picker, empty for none.
    void pick(const PickedGeometries& selection) { takePick(curve, selection); }
};

} // namespace zrkmodel
