#pragma once

#include "core/values/export.h"
#include "model/component.h"
#include "model/fall_off_function.h"
#include "model/property.h"

namespace zrkmodel {

/// Maps a distance to a density by an editable curve. The curve falls from 1 to 0.
///
/// | property       | kind    | unit | default            | range | meaning                                 |
/// |----------------|---------|------|--------------------|-------|-----------------------------------------|
/// | falloff params | falloff | mu   | {"start": -0.5,    |       | where the curve starts and ends, and    |
/// |                |         |      | "end": 0.5,        |       | its form                                |
/// |                |         |      | "curve": "linear"} |       |                                         |
///
/// | input | unit | meaning                         |
/// |-------|------|---------------------------------|
/// | sdf   | mu   | a distance, or any other scalar |
///
/// | output    | unit | meaning                                           |
/// |-----------|------|---------------------------------------------------|
/// | (unnamed) |      | the density, 0 to 1, with the weight of the input |
///
/// Formula: 1 at or below "start", 0 at or above "end"; between, with s = (d - start) / (end - start):
///
///     linear   1 - s
///     smooth   1 - s s (3 - 2 s)
///     gauss    (exp(-4 s s) - exp(-4)) / (1 - exp(-4))
///
/// Notes: Where start isn't below end, a step at start. The default so maps a distance d to the density 0.5 -
/// d, cut to 0 and 1.
///
/// Example: A sphere with a soft skin.
///
///     {"zrkGraph": 1, "context": {"modelBounds": [[-1.2, -1.2, -1.2], [1.2, 1.2, 1.2]]},
///      "nodes": [{"id": 1, "type": "SphereSDF"}, {"id": 2, "type": "FallOff",
///                 "values": {"falloff params": {"start": -0.1, "end": 0.1, "curve": "smooth"}}}],
///      "links": [{"from": [1, 0], "to": [2, 0]}],
///      "output": [2, 0]}
class ZRK_API ZRKFallOff final : public ZRKComponent<ZRKFallOff> {
public:
    ZRKProperty<ZRKFallOffFunction> function{"falloff params", {}, this};

    ZRKFallOff() = default;
    ZRKFallOff(const ZRKFallOff& other) : ZRKComponent(other) {}
    ZRKFallOff& operator=(const ZRKFallOff&) = default;

    static ComponentIdentity identity();
    void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) override;
    zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext& context) const override;
};

} // namespace zrkmodel
