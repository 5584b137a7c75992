#pragma once

#include "core/values/export.h"
#include "core/values/tensor.h"
#include "model/component.h"
#include "model/property.h"

namespace zrkmodel {

/// Expresses a position in the coordinates of a cylinder. It may also be a cone, between two points: height
/// along the axis, angle around it, and distance to the wall.
///
/// | property     | kind    | unit    | default   | range | meaning                                         |
/// |--------------|---------|---------|-----------|-------|-------------------------------------------------|
/// | start point  | vector3 | mu      | [0, 0, 0] |       | where the height is 0; if the ends are equal, V |
/// |              |         |         |           |       | and W are NaN                                   |
/// | end point    | vector3 | mu      | [0, 0, 1] |       | the other end of the axis                       |
/// | start radius | double  | mu      | 0.1       |       | radius at the start                             |
/// | end radius   | double  | mu      | 0.1       |       | radius at the end; it goes on changing beyond   |
/// |              |         |         |           |       | the ends                                        |
/// | inverse      | bool    |         | false     |       | is stored and changes nothing                   |
/// | twist        | double  | radians | 0.0       |       | added to V from the start to the end, in        |
/// |              |         |         |           |       | proportion                                      |
/// | cap style    | enum    |         | 1         |       | where W is measured from beyond the ends; a     |
/// |              |         |         |           |       | number that isn't listed is round               |
///
/// | cap style | name  | meaning                                    |
/// |-----------|-------|--------------------------------------------|
/// | 0         | none  | the axis: the wall goes on beyond the ends |
/// | 1         | round | the nearer end                             |
///
/// | input  | unit | meaning             |
/// |--------|------|---------------------|
/// | coords | mu   | the position to map |
///
/// | output | unit | meaning                                |
/// |--------|------|----------------------------------------|
/// | coords |      | (U, V, W), with the weight of `coords` |
///
/// Formula: With d = p - start, n the direction and L the length of the axis, h = d . n and t = h / L:
///
///     U = h                                  model units
///     V = atan2(d . b, d . a) + t * twist    radians, -pi to pi without a twist, not wrapped
///     W = e - ((1 - t) * start radius + t * end radius)    model units, negative inside
///
/// a = normalize(reference x n) and b = n x a; the reference is y if |n.z| > 0.9 and z otherwise. The
/// distance e is measured from the axis or, with round caps, from the nearer end for t < 0 and t > 1.
///
/// Notes: V is in radians, while the angles of sphere and torus coordinates are in units of pi.
///
/// Example: A pattern around a pipe.
///
///     {"zrkGraph": 1, "context": {"modelBounds": [[-0.5, -0.5, -0.5], [0.5, 1.5, 1.5]]},
///      "nodes": [{"id": 1, "type": "CylinderUVW", "values": {"end point": [0, 1, 1], "twist": 3.14}},
///                {"id": 2, "type": "Gyroid"}],
///      "links": [{"from": [1, 0], "to": [2, 0]}], "output": [2, 0]}
class ZRK_API ZRKCylinderUVW final : public ZRKComponent<ZRKCylinderUVW> {
public:
    enum class CapStyle { none = 0, round = 1 };

    ZRKProperty<zrk::Tensor<3, double>> startPoint{"start point", {0, 0, 0}, this};
    ZRKProperty<zrk::Tensor<3, double>> endPoint{"end point", {0, 0, 1}, this};
    ZRKProperty<double> startRadius{"start radius", 0.1, this};
    ZRKProperty<double> endRadius{"end radius", 0.1, this};
    ZRKProperty<bool> inverse{"inverse", false, this}; ///< kept for saved documents; changes nothing
    ZRKProperty<double> twist{"twist", 0.0, this};
    ZRKProperty<CapStyle> capStyle{"cap style", CapStyle::round, this};

    ZRKCylinderUVW() = default;
    ZRKCylinderUVW(const ZRKCylinderUVW& other) : ZRKComponent(other) {}
    ZRKCylinderUVW& operator=(const ZRKCylinderUVW&) = default;

    static ComponentIdentity identity();
    void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) override;
    zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext& context) const override;
    void onSerialize(ZRKSerialization& s) const override;
    void onDeserialize(const ZRKDeserialization& d) override;
};

} // namespace zrkmodel
