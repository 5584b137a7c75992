#pragma once

#include "core/values/tensor.h"
#include "model/component.h"
#include "model/property.h"

namespace zrkmodel {

/// Density of a lattice of three crossing bars, repeated with period 1 along each axis.
///
/// | property         | unit | default   | effect                                                       |
/// |------------------|------|-----------|--------------------------------------------------------------|
/// | smoothness       |      | 0.0       | above 0.0001 the sum of three soft bars, with a narrower     |
/// |                  |      |           | peak the larger it is; else the distance from the nearest    |
/// | thickness ratios |      | (1, 1, 1) | of the bars along x, y and z; the farther from 1, on either  |
/// |                  |      |           | side, the thinner                                            |
///
/// With f = p - floor(p) - 0.5 and e = ((1 - ratio) / 4)^2 per axis, the squared distance from the bar
/// along x is f.y^2 + f.z^2 + e.x, and so on. Hard: 1 - sqrt(2) * sqrt(the smallest), 1 on a bar's axis and
/// 0 at a cell's corner. Smooth: the sum of exp(-100 * smoothness * each), from 0 to 3. The two
/// aren't limits of each other. With the weight of `coords`.
///
/// A lattice without bars along z:
///
///     {"zrkGraph": 1,
///      "nodes": [{"id": 1, "type": "Cross", "values": {"thickness ratios": [1, 1, -3]}}],
///      "output": [1, 0]}
class ZRKCross final : public ZRKComponent<ZRKCross> {
public:
    ZRKProperty<double> smoothness{"smoothness", 0.0, this};
    ZRKProperty<zrk::Tensor<3, double>> thicknessRatios{"thickness ratios", {1, 1, 1}, this};

    ZRKCross() = default;
    ZRKCross(const ZRKCross& other) : ZRKComponent(other) {}
    ZRKCross& operator=(const ZRKCross&) = default;

    static ComponentIdentity identity();
    void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) override;
    void onSerialize(ZRKSerialization& s) const override;
    void onDeserialize(const ZRKDeserialization& d) override;
    zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext& context) const override;
};

} // namespace zrkmodel
