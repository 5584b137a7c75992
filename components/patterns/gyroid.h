#pragma once

#include "core/values/export.h"
#include "model/component.h"
#include "model/property.h"

namespace zrkmodel {

/// A gyroid, repeated in all directions. It is a density with the period 1 along each axis, which splits
/// space into two equal labyrinths.
///
/// | property | kind   | unit | default | range | meaning                                                   |
/// |----------|--------|------|---------|-------|-----------------------------------------------------------|
/// | contour  | double |      | 0.0     |       | added to the density; at about 0.5 everything is inside,  |
/// |          |        |      |         |       | at about -0.5 nothing is                                  |
///
/// | input  | unit | meaning                                      |
/// |--------|------|----------------------------------------------|
/// | coords |      | the place in the pattern: a period is 1 long |
///
/// | output  | unit | meaning                                                                               |
/// |---------|------|---------------------------------------------------------------------------------------|
/// | density |      | the density, about 0 to 1 for contour 0, with the weight of `coords`; 0.5 is the      |
/// |         |      | surface                                                                               |
///
/// Formula: With X = 2 pi p.x, Y = 2 pi p.y and Z = 2 pi p.z,
///
///     density = (sin X cos Y + sin Y cos Z + cos X sin Z) / 3 + contour + 0.5
///
/// Notes: The period is 1 in the units of the coordinates: scale the coordinates to scale the pattern.
///
/// Example: A twisted gyroid.
///
///     {"zrkGraph": 1, "context": {"modelBounds": [[-1, -1, -1], [1, 1, 1]]},
///      "nodes": [{"id": 1, "type": "TwistTransform", "values": {"angle": 30}},
///                {"id": 2, "type": "Gyroid"}],
///      "links": [{"from": [1, 0], "to": [2, 0]}], "output": [2, 0]}
class ZRK_API ZRKGyroid final : public ZRKComponent<ZRKGyroid> {
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
