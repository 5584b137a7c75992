#pragma once

#include "core/values/export.h"
#include "core/values/tensor.h"
#include "model/component.h"
#include "model/property.h"

namespace zrkmodel {

/// Signed distance to a box. Its sides lie along the axes; it is solid, or a frame made of its edges.
///
/// | property       | kind    | unit | default         | range | meaning                                    |
/// |----------------|---------|------|-----------------|-------|--------------------------------------------|
/// | radius         | double  | mu   | 0.0             |       | rounds edges and corners of a solid box,   |
/// |                |         |      |                 |       | which keeps its outer size; half the       |
/// |                |         |      |                 |       | smallest side makes that side round;       |
/// |                |         |      |                 |       | larger and negative values go through the  |
/// |                |         |      |                 |       | formula as well                            |
/// | center         | vector3 | mu   | [0.5, 0.5, 0.5] |       | the middle of the box                      |
/// | dimensions     | vector3 | mu   | [1, 1, 1]       |       | full side lengths; 0 makes a sheet, a      |
/// |                |         |      |                 |       | negative one moves every value up          |
/// | wireframe      | bool    |      | false           |       | true: the twelve edges as square bars;     |
/// |                |         |      |                 |       | radius is unused                           |
/// | edge thickness | double  | mu   | 0.1             |       | half the width of a bar, which lies within |
/// |                |         |      |                 |       | the box; a quarter of the second longest   |
/// |                |         |      |                 |       | side or more fills the box; a solid box    |
/// |                |         |      |                 |       | doesn't use it                             |
///
/// | input  | unit | meaning                        |
/// |--------|------|--------------------------------|
/// | coords | mu   | where the distance is measured |
///
/// | output | unit | meaning                                                    |
/// |--------|------|------------------------------------------------------------|
/// | sdf    | mu   | the distance, negative inside, with the weight of `coords` |
///
/// Formula: With q = |p - center| - (dimensions / 2 - radius) on each axis, d is the length of the positive
/// parts of q, plus max(q.x, q.y, q.z) where that isn't positive, minus radius.
///
/// Notes: The default box fills the unit cube from the origin.
///
/// Example: The frame of a crate.
///
///     {"zrkGraph": 1, "context": {"modelBounds": [[-1.2, -0.7, -0.7], [1.2, 0.7, 0.7]]},
///      "nodes": [{"id": 1, "type": "BoxSDF",
///                 "values": {"center": [0, 0, 0], "dimensions": [2, 1, 1], "wireframe": true}}],
///      "output": [1, 0]}
class ZRK_API ZRKBoxSDF final : public ZRKComponent<ZRKBoxSDF> {
public:
    ZRKProperty<double> radius{"radius", 0.0, this};
    ZRKProperty<zrk::Tensor<3, double>> center{"center", {0.5, 0.5, 0.5}, this};
    ZRKProperty<zrk::Tensor<3, double>> dimensions{"dimensions", {1, 1, 1}, this};
    ZRKProperty<bool> wireframe{"wireframe", false, this};
    ZRKProperty<double> edgeThickness{"edge thickness", 0.1, this};

    ZRKBoxSDF() = default;
    ZRKBoxSDF(const ZRKBoxSDF& other) : ZRKComponent(other) {}
    ZRKBoxSDF& operator=(const ZRKBoxSDF&) = default;

    static ComponentIdentity identity();
    void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) override;
    zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext& context) const override;
};

} // namespace zrkmodel
