#pragma once

#include "components/point_interpolator_serializer.h"
#include "model/component.h"
#include "model/geometry.h"
#include "model/property.h"

namespace zrkmodel {

/// A pipe along a curve. This component is under construction: its values are edited and stored, but its
/// field isn't computed. It writes nothing, so that its output reads 0 with weight 0.
///
/// | property  | unit | default          | meaning; no value changes the output yet         |
/// |-----------|------|------------------|--------------------------------------------------|
/// | radius    | mu   | 0.1              | radius of the pipe                               |
/// | pathCurve |      | none             | the curve that the pipe follows                  |
/// | cap style |      | 2, round         | 0 none, 1 flat, 2 round                          |
/// | scaling   |      | (0, 1) to (1, 1) | key points: factor of the radius along the curve |
///
///     {"zrkGraph": 1, "nodes": [{"id": 1, "type": "PipeSDF", "values": {"radius": 0.2}}],
///      "output": [1, 0]}
class ZRKPipeSDF final : public ZRKComponent<ZRKPipeSDF> {
public:
    enum class CapStyle { none = 0, flat = 1, round = 2 };

    ZRKProperty<double> radius{"radius", 0.1, this};
    ZRKProperty<std::shared_ptr<ZRKGeometry>> pathCurve{"pathCurve", nullptr, this};
    ZRKProperty<CapStyle> capStyle{"cap style", CapStyle::round, this};
    ZRKProperty<ScalarCurve> scaling{"scaling", ScalarCurve::through({{0.0, 1.0}, {1.0, 1.0}}), this};

    ZRKPipeSDF() = default;
    ZRKPipeSDF(const ZRKPipeSDF& other) : ZRKComponent(other) {}
    ZRKPipeSDF& operator=(const ZRKPipeSDF&) = default;

    static ComponentIdentity identity();
    void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) override;
    zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext& context) const override;
};

} // namespace zrkmodel
