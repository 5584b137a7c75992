#pragma once

#include "core/values/export.h"
#include "model/component.h"
#include "model/fall_off_function.h"
#include "model/geometry.h"
#include "model/property.h"

#include <memory>
#include <vector>

namespace zrkmodel {

/// A soft sum of picked geometries. Overlapping members add up and aren't clamped.
///
/// | property       | kind     | unit | default            | range | meaning                                |
/// |----------------|----------|------|--------------------|-------|----------------------------------------|
/// | geometries     | geometry |      | ""                 |       | a geometry or a group; without one     |
/// |                |          |      |                    |       | nothing is written                     |
/// | falloff params | falloff  | mu   | {"start": -0.5,    |       | turns each signed distance into a      |
/// |                |          |      | "end": 0.5,        |       | density                                |
/// |                |          |      | "curve": "linear"} |       |                                        |
///
/// | input  | unit | meaning                          |
/// |--------|------|----------------------------------|
/// | coords | mu   | where the distances are measured |
///
/// | output  | unit | meaning                                                  |
/// |---------|------|----------------------------------------------------------|
/// | density |      | the sum, with the weight of `coords`; 0.5 is the surface |
///
/// Formula: density = sum over the members of falloff(signed distance to the member), in their order.
///
/// Notes: Two members at one place give twice the density of one.
///
/// Example: A sphere with a soft skin.
///
///     {"zrkGraph": 1, "context": {"modelBounds": [[-1.6, -1.6, -1.6], [1.6, 1.6, 1.6]]},
///      "resources": [{"uuid": "2d20", "kind": "geometry", "shape": "sphere",
///                     "center": [0, 0, 0], "radius": 1}],
///      "nodes": [{"id": 1, "type": "geometry blend", "values": {"geometries": "2d20"}}],
///      "output": [1, 0]}
class ZRK_API ZRKGeometryBlend final : public ZRKComponent<ZRKGeometryBlend> {
public:
    ZRKProperty<std::shared_ptr<ZRKGeometry>> geometries{"geometries", nullptr, this};
    ZRKProperty<ZRKFallOffFunction> falloff{"falloff params", {}, this};

    ZRKGeometryBlend() = default;
    ZRKGeometryBlend(const ZRKGeometryBlend& other) : ZRKComponent(other) {}
    ZRKGeometryBlend& operator=(const ZRKGeometryBlend&) = default;

    static ComponentIdentity identity();
    void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) override;
    void onSerialize(ZRKSerialization& s) const override;
    void onDeserialize(const ZRKDeserialization& d) override;
    zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext& context) const override;

    /// What a geometry picker does: it assigns the first of the selection. An empty selection changes
    /// nothing.
    void pick(const std::vector<std::shared_ptr<ZRKGeometry>>& selection);
};

} // namespace zrkmodel
