#pragma once

#include "core/values/export.h"
#include "core/values/tensor.h"
#include "model/component.h"
#include "model/property.h"

namespace zrkmodel {

/// A lattice of crossing bars, repeated in all directions. Three bars cross in the middle of each cell; the
/// result is a density.
///
/// | property         | kind    | unit | default   | range  | meaning                                       |
/// |------------------|---------|------|-----------|--------|-----------------------------------------------|
/// | smoothness       | double  |      | 0.0       | 0 to 1 | up to 0.0001 the hard form, above it the      |
/// |                  |         |      |           |        | smooth one, whose bars are narrower the       |
/// |                  |         |      |           |        | larger it is                                  |
/// | thickness ratios | vector3 |      | [1, 1, 1] |        | thickness of the bars along x, y and z; a bar |
/// |                  |         |      |           |        | is thinner the farther its ratio is from 1,   |
/// |                  |         |      |           |        | on either side                                |
///
/// | input  | unit | meaning                                    |
/// |--------|------|--------------------------------------------|
/// | coords |      | the place in the pattern: a cell is 1 long |
///
/// | output  | unit | meaning                                                      |
/// |---------|------|--------------------------------------------------------------|
/// | density |      | the density, with the weight of `coords`; 0.5 is the surface |
///
/// Formula: With f = p - floor(p) - 0.5 and e = ((1 - ratio) / 4)^2 on each axis, the squared distance from
/// the bar along x is f.y^2 + f.z^2 + e.x; those from the bars along y and z follow the same pattern.
///
/// - The hard form is 1 - sqrt(2) * sqrt(the smallest squared distance). With ratios of 1 it is 1 on a bar's
///   axis and 0 at a cell's corner.
/// - The smooth form is the sum of exp(-100 * smoothness * squared distance) over the three bars, from 0 to
///   3.
///
/// Notes: The two forms aren't limits of each other: the density jumps where smoothness passes 0.0001. The
/// period is 1 in the units of the coordinates: scale the coordinates to scale the pattern.
///
/// Example: A lattice without bars along z.
///
///     {"zrkGraph": 1, "context": {"modelBounds": [[0, 0, 0], [2, 2, 2]]},
///      "nodes": [{"id": 1, "type": "Cross", "values": {"thickness ratios": [1, 1, -3]}}],
///      "output": [1, 0]}
class ZRK_API ZRKCross final : public ZRKComponent<ZRKCross> {
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
