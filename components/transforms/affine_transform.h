#pragma once

#include "core/values/export.h"
#include "core/values/matrix4.h"
#include "model/component.h"
#include "model/property.h"

namespace zrkmodel {

/// Moves, turns and scales positions. They are scaled first, then turned, then moved; what is seen through
/// the inverse looks scaled, turned and moved.
///
/// | property    | kind    | unit    | default   | range               | meaning                            |
/// |-------------|---------|---------|-----------|---------------------|------------------------------------|
/// | inverse     | bool    |         | true      |                     | true: the inverse of the map;      |
/// |             |         |         |           |                     | false: the map itself              |
/// | translation | vector3 | mu      | [0, 0, 0] | -5000000 to 5000000 | how far positions are moved        |
/// | rotation    | vector3 | degrees | [0, 0, 0] | -5000000 to 5000000 | about x, y and z, right-handed:    |
/// |             |         |         |           |                     | first about z, then y, then x      |
/// | scaling     | vector3 |         | [1, 1, 1] | -5000000 to 5000000 | a factor for each axis; a negative |
/// |             |         |         |           |                     | one mirrors; a 0 gives infinities  |
/// |             |         |         |           |                     | or NaN in the inverse              |
///
/// | input  | unit | meaning             |
/// |--------|------|---------------------|
/// | coords | mu   | the position to map |
///
/// | output | unit | meaning                                          |
/// |--------|------|--------------------------------------------------|
/// | coords | mu   | the mapped position, with the weight of `coords` |
///
/// Formula: p' = Rx Ry Rz S p + translation, or the inverse of this map.
///
/// Example: A torus turned upright.
///
///     {"zrkGraph": 1, "context": {"modelBounds": [[-0.6, -0.6, -0.6], [0.6, 0.6, 0.6]]},
///      "nodes": [{"id": 1, "type": "AffineTransform", "values": {"rotation": [90, 0, 0]}},
///                {"id": 2, "type": "TorusSDF"}],
///      "links": [{"from": [1, 0], "to": [2, 0]}], "output": [2, 0]}
class ZRK_API ZRKAffineTransform final : public ZRKComponent<ZRKAffineTransform> {
public:
    ZRKProperty<bool> inverse{"inverse", true, this};
    ZRKProperty<zrk::Tensor<3, double>> translation{"translation", {0, 0, 0}, this};
    ZRKProperty<zrk::Tensor<3, double>> rotation{"rotation", {0, 0, 0}, this};
    ZRKProperty<zrk::Tensor<3, double>> scaling{"scaling", {1, 1, 1}, this};

    ZRKAffineTransform() = default;
    ZRKAffineTransform(const ZRKAffineTransform& other) : ZRKComponent(other) {}
    ZRKAffineTransform& operator=(const ZRKAffineTransform&) = default;

    static ComponentIdentity identity();
    void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) override;
    zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext& context) const override;

    /// Sets translation, rotation and scaling to their defaults and announces each of them, unless the
    /// component is silent. For the interface thread.
    void reset();
};

} // namespace zrkmodel
