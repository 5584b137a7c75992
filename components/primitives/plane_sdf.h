#pragma once

#include "core/values/export.h"
#include "core/values/tensor.h"
#include "model/component.h"
#include "model/property.h"

namespace zrkmodel {

/// Signed distance to a plane. What lies behind the plane is inside, so that it serves to cut other solids.
///
/// | property | kind    | unit | default   | range | meaning                                                |
/// |----------|---------|------|-----------|-------|--------------------------------------------------------|
/// | origin   | vector3 | mu   | [0, 0, 0] |       | a point on the plane                                   |
/// | normal   | vector3 |      | [0, 0, 1] |       | points outwards; only its direction counts; zero gives |
/// |          |         |      |           |       | 0 everywhere                                           |
///
/// | input  | unit | meaning                        |
/// |--------|------|--------------------------------|
/// | coords | mu   | where the distance is measured |
///
/// | output | unit | meaning                                                              |
/// |--------|------|----------------------------------------------------------------------|
/// | sdf    | mu   | the distance, negative behind the plane, with the weight of `coords` |
///
/// Formula: d = (p - origin) . normal / |normal|.
///
/// Example: Everything below z = 0.5.
///
///     {"zrkGraph": 1,
///      "nodes": [{"id": 1, "type": "PlaneSDF", "values": {"origin": [0, 0, 0.5]}}],
///      "output": [1, 0]}
class ZRK_API ZRKPlaneSDF final : public ZRKComponent<ZRKPlaneSDF> {
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
