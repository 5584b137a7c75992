#pragma once

#include "components/point_interpolator_serializer.h"
#include "core/values/export.h"
#include "model/component.h"
#include "model/geometry.h"
#include "model/property.h"

namespace zrkmodel {

/// Signed distance to a pipe along a curve. This component is under construction: its values are edited and
/// stored, but its field isn't computed.
///
/// | property  | kind     | unit | default            | range | meaning                                     |
/// |-----------|----------|------|--------------------|-------|---------------------------------------------|
/// | radius    | double   | mu   | 0.1                |       | radius of the pipe                          |
/// | pathCurve | geometry |      | ""                 | curve | the curve that the pipe follows             |
/// | cap style | enum     |      | 2                  |       | what closes the ends                        |
/// | scaling   | curve    |      | [[0, 1, 0], [1, 1, |       | factor of the radius along the curve; a     |
/// |           |          |      | 0]]                |       | document that lacks it leaves no points     |
///
/// | cap style | name  | meaning                           |
/// |-----------|-------|-----------------------------------|
/// | 0         | none  | nothing closes them               |
/// | 1         | flat  | planes across the curve           |
/// | 2         | round | half a sphere of the end's radius |
///
/// | input  | unit | meaning        |
/// |--------|------|----------------|
/// | coords | mu   | isn't read yet |
///
/// | output | unit | meaning                                                               |
/// |--------|------|-----------------------------------------------------------------------|
/// | sdf    | mu   | nothing is written: it reads 0 with weight 0, whatever the values are |
///
/// Formula: None yet.
///
/// Example: A pipe, which reads 0.
///
///     {"zrkGraph": 1, "nodes": [{"id": 1, "type": "PipeSDF",
///                 "values": {"radius": 0.2, "scaling": [[0, 1, 0], [1, 1, 0]]}}],
///      "output": [1, 0]}
class ZRK_API ZRKPipeSDF final : public ZRKComponent<ZRKPipeSDF> {
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
