#pragma once

#include "model/component.h"
#include "model/property.h"

namespace zrkmodel {

/// Hollows a solid out: the signed distance to a wall along its surface.
///
/// | property        | unit | default | effect                                                |
/// |-----------------|------|---------|-------------------------------------------------------|
/// | offset          | mu   | 0.0     | level that the wall lies at, times the pin "offset"   |
/// | inner thickness | mu   | 0.1     | from there inwards, times the pin "thickness"         |
/// | outer thickness | mu   | 0.0     | from there outwards, times the pin "thickness"        |
/// | as density      |      | false   | true: the density 0.5 - r in place of the distance r  |
///
/// With the factors o and t from the pins (1 where unconnected):
///
///     m = d - offset * o - t * (outer - inner) / 2
///     r = |m| - t * (inner + outer) / 2
///
/// with the weight of the distance. Thicknesses that add up to 0 give the unsigned distance to
/// the level; negative ones turn the wall inside out. "as density" has no widget.
///
/// A ball with a wall of 0.2:
///
///     {"zrkGraph": 1, "nodes": [{"id": 1, "type": "SphereSDF"},
///                {"id": 2, "type": "Shell", "values": {"inner thickness": 0.2}}],
///      "links": [{"from": [1, 0], "to": [2, 0]}],
///      "output": [2, 0]}
class ZRKShell final : public ZRKComponent<ZRKShell> {
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
