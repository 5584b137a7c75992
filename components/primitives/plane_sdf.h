#pragma once

#include "core/values/tensor.h"
#include "model/component.h"
#include "model/property.h"

namespace zrkmodel {

/// Signed distance to a plane. What lies behind the plane is inside, so that it serves to cut other solids.
///
/// | property | unit | default   | effect                                                   |
/// |----------|------|-----------|----------------------------------------------------------|
/// | origin   | mu   | (0, 0, 0) | a point on the plane                                     |
/// | normal   |      | (0, 0, 1) | points outwards; only its direction counts; zero gives 0 |
/// |          |      |           | everywhere                                               |
///
/// d = (p - origin) . normal / |normal|. The distance is in model units (mu) and negative behind the plane;
/// the weight is that of `coords`.
///
/// Everything below z = 0.5:
///
///     {"zrkGraph": 1,
///      "nodes": [{"id": 1, "type": "PlaneSDF", "values": {"origin": [0, 0, 0.5]}}],
///      "output": [1, 0]}
class ZRKPlaneSDF final : public ZRKComponent<ZRKPlaneSDF> {
public:
    ZRKProperty<zrk::Tensor<3, double>> origin{"origin", {0, 0, 0}, this};
    ZRKProperty<zrk::Tensor<3, double>> normal{"normal", {0, 0, 1}, this};

    ZRKPlaneSDF() = default;
    ZRKPlaneSDF(const ZRKPlaneSDF& other) : ZRKComponent(other) {}
    ZRKPlaneSDF& operator=(const ZRKPlaneSDF&) = default;

    static ComponentIdentity identity();
    void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) override;
    zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext& context) const override;
};

} // namespace zrkmodel
