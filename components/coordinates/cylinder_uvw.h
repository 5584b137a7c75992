#pragma once

#include "core/values/tensor.h"
#include "model/component.h"
#include "model/property.h"

namespace zrkmodel {

/// Positions in the coordinates of a cylinder or cone between two points: height along the axis,
/// angle around it, and distance to the wall.
///
/// | property     | unit | default   | effect                                                     |
/// |--------------|------|-----------|------------------------------------------------------------|
/// | start point  | mu   | (0, 0, 0) | where the height is 0; if the ends are equal, V, W are NaN |
/// | end point    | mu   | (0, 0, 1) | the other end of the axis                                  |
/// | start radius | mu   | 0.1       | radius at the start                                        |
/// | end radius   | mu   | 0.1       | radius at the end; it goes on changing beyond the ends     |
/// | inverse      |      | false     | is stored and changes nothing                              |
/// | twist        | rad  | 0.0       | added to V from the start to the end, in proportion        |
/// | cap style    |      | 1, round  | 0 none: the wall goes on beyond the ends; round otherwise  |
///
/// With d = p - start, n the direction and L the length of the axis, h = d . n and t = h / L:
///
///     U = h                                  model units
///     V = atan2(d . b, d . a) + t * twist    radians, -pi to pi without a twist, not wrapped
///     W = e - ((1 - t) * start radius + t * end radius)    model units, negative inside
///
/// a = normalize(reference x n) and b = n x a; the reference is y if |n.z| > 0.9 and z otherwise. The
/// distance e is measured from the axis or, with round caps, from the nearer end for t < 0 and t > 1. The
/// weight is that of `coords`. V is in radians, while the angles of sphere and torus coordinates are in
/// units of pi.
///
/// A pattern around a pipe:
///
///     {"zrkGraph": 1,
///      "nodes": [{"id": 1, "type": "CylinderUVW", "values": {"end point": [0, 1, 1], "twist": 3.14}},
///                {"id": 2, "type": "Gyroid"}],
///      "links": [{"from": [1, 0], "to": [2, 0]}], "output": [2, 0]}
class ZRKCylinderUVW final : public ZRKComponent<ZRKCylinderUVW> {
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
