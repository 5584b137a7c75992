#pragma once

#include "core/values/tensor.h"
#include "model/component.h"
#include "model/property.h"

namespace zrkmodel {

/// Signed distance to a cylinder or cone between two points.
///
/// | property     | unit | default   | effect                                                     |
/// |--------------|------|-----------|------------------------------------------------------------|
/// | start point  | mu   | (0, 0, 0) |                                                            |
/// | end point    | mu   | (0, 0, 1) | equal to the start point: NaN everywhere                   |
/// | start radius | mu   | 0.1       |                                                            |
/// | end radius   | mu   | 0.1       | other than the start radius: a cone                        |
/// | cap style    |      | 2, round  | 0 none, 1 flat; every other number is round                |
///
/// In model units (mu), negative inside, with the weight of `coords`. With s, 0 at the start and 1
/// at the end, r the distance from the axis and R = (1 - s) start radius + s end radius:
///
///     none    r - R; the side goes on without end, and R with it
///     flat    from g = r - R and k, the distance from the slab between the ends: inside
///             -min(|g|, |k|), outside the length of the positive ones of g and k
///     round   spheres of the end radii beyond the ends, between them r - R
///
/// A cone's distance is measured across its axis, so it is larger than the true one.
///
/// A cone with flat ends:
///
///     {"zrkGraph": 1,
///      "nodes": [{"id": 1, "type": "CylinderSDF",
///                 "values": {"start radius": 0.5, "end radius": 0.2, "cap style": 1}}],
///      "output": [1, 0]}
class ZRKCylinderSDF final : public ZRKComponent<ZRKCylinderSDF> {
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
