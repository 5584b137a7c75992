#pragma once

#include "core/values/export.h"
#include "model/component.h"
#include "model/property.h"

namespace zrkmodel {

/// Turns a density into a level set at an iso value. The result is negative inside, as a distance is.
///
/// | property          | kind   | unit | default | range | meaning                                          |
/// |-------------------|--------|------|---------|-------|--------------------------------------------------|
/// | levelset isovalue | double |      | 0.5     |       | density at which the result is 0                 |
/// | invert interior   | bool   |      | false   |       | false: larger densities are inside; true:        |
/// |                   |        |      |         |       | smaller ones                                     |
///
/// | input   | unit | meaning     |
/// |---------|------|-------------|
/// | density |      | the density |
///
/// | output | unit | meaning                                                                                |
/// |--------|------|----------------------------------------------------------------------------------------|
/// | sdf    |      | the level set, with the weight of the density; its size is that of the density, which  |
/// |        |      | need not have the slope of a distance                                                  |
///
/// Formula: iso value - density, or density - iso value where "invert interior" is true.
///
/// Notes: The type name is "Invert", as ZRKInvert's: a document tells the two apart by the class name or the
/// UUID.
///
/// Example: A gyroid with thicker walls.
///
///     {"zrkGraph": 1, "nodes": [{"id": 1, "type": "Gyroid"}, {"id": 2, "type": "ZRKLevelsetIsoValue",
///                 "values": {"levelset isovalue": 0.3}}],
///      "links": [{"from": [1, 0], "to": [2, 0]}],
///      "output": [2, 0]}
class ZRK_API ZRKLevelsetIsoValue final : public ZRKComponent<ZRKLevelsetIsoValue> {
public:
    ZRKProperty<double> isoValue{"levelset isovalue", 0.5, this};
    ZRKProperty<bool> invertInterior{"invert interior", false, this};

    ZRKLevelsetIsoValue() = default;
    ZRKLevelsetIsoValue(const ZRKLevelsetIsoValue& other) : ZRKComponent(other) {}
    ZRKLevelsetIsoValue& operator=(const ZRKLevelsetIsoValue&) = default;

    static ComponentIdentity identity();
    void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) override;
    zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext& context) const override;
};

} // namespace zrkmodel
