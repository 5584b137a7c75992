#pragma once

#include "core/values/export.h"
#include "core/values/tensor.h"
#include "model/component.h"
#include "model/property.h"

namespace zrkmodel {

/// Signed distance to a cylinder or cone. It runs between two points.
///
/// | property     | kind    | unit | default   | range | meaning                                            |
/// |--------------|---------|------|-----------|-------|----------------------------------------------------|
/// | start point  | vector3 | mu   | [0, 0, 0] |       | one end of the axis                                |
/// | end point    | vector3 | mu   | [0, 0, 1] |       | the other end; equal ends give NaN everywhere      |
/// | start radius | double  | mu   | 0.1       |       | radius at the start; a negative one moves the      |
/// |              |         |      |           |       | values up                                          |
/// | end radius   | double  | mu   | 0.1       |       | radius at the end; if it differs from the other, a |
/// |              |         |      |           |       | cone                                               |
/// | cap style    | enum    |      | 2         |       | what closes the ends; every number that isn't      |
/// |              |         |      |           |       | listed is round                                    |
///
/// | cap style | name  | meaning                                                                    |
/// |-----------|-------|----------------------------------------------------------------------------|
/// | 0         | none  | nothing: the side goes on beyond the ends, and the radius goes on changing |
/// | 1         | flat  | planes across the axis                                                     |
/// | 2         | round | half a sphere of the end's radius beyond each end                          |
///
/// | input  | unit | meaning                        |
/// |--------|------|--------------------------------|
/// | coords | mu   | where the distance is measured |
///
/// | output | unit | meaning                                                    |
/// |--------|------|------------------------------------------------------------|
/// | sdf    | mu   | the distance, negative inside, with the weight of `coords` |
///
/// Formula: Along the axis s runs from 0 at the start to 1 at the end; r is the distance from the axis, and R
/// = (1 - s) start radius + s end radius:
///
///     none    r - R
///     flat    with g = r - R and k the signed distance from the slab between the ends:
///             -min(|g|, |k|) inside, the length of the positive ones of g and k outside
///     round   r - R between the ends, and the distance to a sphere of the end's radius beyond each
///
/// Notes: The side of a cone is measured across the axis, which gives more than the true distance.
///
/// Example: A cone with flat ends.
///
///     {"zrkGraph": 1, "context": {"modelBounds": [[-0.6, -0.6, -0.2], [0.6, 0.6, 1.2]]},
///      "nodes": [{"id": 1, "type": "CylinderSDF",
///                 "values": {"start radius": 0.5, "end radius": 0.2, "cap style": 1}}],
///      "output": [1, 0]}
class ZRK_API ZRKCylinderSDF final : public ZRKComponent<ZRKCylinderSDF> {
public:
    enum class CapStyle { none = 0, flat = 1, round = 2 };

    ZRKProperty<zrk::Tensor<3, double>> startPoint{"start point", {0, 0, 0}, this};
    ZRKProperty<zrk::Tensor<3, double>> endPoint{"end point", {0, 0, 1}, this};
    ZRKProperty<double> startRadius{"start radius", 0.1, this};
    ZRKProperty<double> endRadius{"end radius", 0.1, this};
    ZRKProperty<CapStyle> capStyle{"cap style", CapStyle::round, this};

    ZRKCylinderSDF() = default;
    ZRKCylinderSDF(const ZRKCylinderSDF& other) : ZRKComponent(other) {}
    ZRKCylinderSDF& operator=(const ZRKCylinderSDF&) = default;

    static ComponentIdentity identity();
    void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) override;
    zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext& context) const override;
};

} // namespace zrkmodel
