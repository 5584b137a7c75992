#pragma once

#include "model/component.h"
#include "model/property.h"

namespace zrkmodel {

/// Density of a gyroid, repeated with period 1 along each axis.
///
/// | property | unit | default | effect                                                            |
/// |----------|------|---------|-------------------------------------------------------------------|
/// | contour  |      | 0.0     | added to the density; at about 0.5 everything is inside, at about |
/// |          |      |         | -0.5 nothing is                                                   |
///
/// With X = 2 pi p.x, Y = 2 pi p.y and Z = 2 pi p.z,
///
///     density = (sin X cos Y + sin Y cos Z + cos X sin Z) / 3 + contour + 0.5
///
/// from about 0 to 1 for contour 0. The period is 1 in the units of the coordinates: scale the coordinates to
/// scale the pattern. The weight is that of `coords`.
///
/// A twisted gyroid:
///
///     {"zrkGraph": 1,
///      "nodes": [{"id": 1, "type": "TwistTransform", "values": {"angle": 30}},
///                {"id": 2, "type": "Gyroid"}],
///      "links": [{"from": [1, 0], "to": [2, 0]}], "output": [2, 0]}
class ZRKGyroid final : public ZRKComponent<ZRKGyroid> {
public:
    ZRKProperty<double> contour{"contour", 0.0, this};

    ZRKGyroid() = default;
    ZRKGyroid(const ZRKGyroid& other) : ZRKComponent(other) {}
    ZRKGyroid& operator=(const ZRKGyroid&) = default;

    static ComponentIdentity identity();
    void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) override;
    zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext& context) const override;
};

} // namespace zrkmodel
