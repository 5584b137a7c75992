#pragma once

#include "core/values/export.h"
#include "model/component.h"
#include "model/property.h"

namespace zrkmodel {

/// Turns a distance into that to a shell around its surface. A solid becomes hollow.
///
/// | property        | kind   | unit | default | range | meaning                                            |
/// |-----------------|--------|------|---------|-------|----------------------------------------------------|
/// | offset          | double | mu   | 0.0     |       | level that the wall lies at, times the pin         |
/// |                 |        |      |         |       | "offset"                                           |
/// | inner thickness | double | mu   | 0.1     |       | from there inwards, times the pin "thickness"      |
/// | outer thickness | double | mu   | 0.0     |       | from there outwards, times the pin "thickness"     |
/// | as density      | bool   |      | false   |       | true: the density 0.5 - r in place of the distance |
/// |                 |        |      |         |       | r; it has no control in the panel                  |
///
/// | input     | unit | meaning                         |
/// |-----------|------|---------------------------------|
/// | sdf       | mu   | the distance to the solid       |
/// | offset    |      | factor of the property "offset" |
/// | thickness |      | factor of both thicknesses      |
///
/// | output | unit | meaning                                                   |
/// |--------|------|-----------------------------------------------------------|
/// | sdf    | mu   | the distance to the wall, with the weight of the distance |
///
/// Formula: With the factors o and t from the pins:
///
///     m = d - offset * o - t * (outer - inner) / 2
///     r = |m| - t * (inner + outer) / 2
///
/// Notes: Thicknesses that add up to 0 give the unsigned distance to the level; negative ones turn the wall
/// inside out.
///
/// Example: A ball with a wall of 0.2.
///
///     {"zrkGraph": 1, "context": {"modelBounds": [[-1.2, -1.2, -1.2], [1.2, 1.2, 1.2]]},
///      "nodes": [{"id": 1, "type": "SphereSDF"},
///                {"id": 2, "type": "Shell", "values": {"inner thickness": 0.2}}],
///      "links": [{"from": [1, 0], "to": [2, 0]}],
///      "output": [2, 0]}
class ZRK_API ZRKShell final : public ZRKComponent<ZRKShell> {
public:
    ZRKProperty<double> offset{"offset", 0.0, this};
    ZRKProperty<double> innerThickness{"inner thickness", 0.1, this};
    ZRKProperty<double> outerThickness{"outer thickness", 0.0, this};
    ZRKProperty<bool> asDensity{"as density", false, this};

    ZRKShell() = default;
    ZRKShell(const ZRKShell& other) : ZRKComponent(other) {}
    ZRKShell& operator=(const ZRKShell&) = default;

    static ComponentIdentity identity();
    void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) override;
    zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext& context) const override;
};

} // namespace zrkmodel
