#pragma once

#include "components/coordinates/geometry_property.h"
#include "core/values/export.h"
#include "model/component.h"
#include "model/property.h"

namespace zrkmodel {

/// Expresses a position in coordinates along and around a curve. Textures, threads and coils follow a path
/// so.
///
/// | property        | kind     | unit | default | range | meaning                                          |
/// |-----------------|----------|------|---------|-------|--------------------------------------------------|
/// | curve           | geometry |      | ""      | curve | the curve; without one nothing is written        |
/// | mode            | enum     |      | 0       |       | how V and W are measured; a number that isn't    |
/// |                 |          |      |         |       | listed counts as 1                               |
/// | normalizeLength | bool     |      | true    |       | true: U is a share of the curve's length; false: |
/// |                 |          |      |         |       | model units                                      |
///
/// | mode | name    | meaning                                                 |
/// |------|---------|---------------------------------------------------------|
/// | 0    | extrude | from the sheet that the curve sweeps along its binormal |
/// | 1    | wrap    | around the curve                                        |
///
/// | output | unit | meaning                                    |
/// |--------|------|--------------------------------------------|
/// | coords |      | (U, V, W), with the weight of the position |
///
/// Formula: With (T, N, B) the frame at the curve's closest point and d the offset from that point to the
/// position:
///
/// - U is the length along the curve. On a closed curve it is the length from the middle of the curve, the
///   same on both sides, so that it is continuous across the seam.
/// - extrude: V = |d - (d . B) B| and W = d . B, both in model units.
/// - wrap: V = 2 |atan2(d . B, d . N)| / pi, in right angles, from 0 on the normal's side to 2 on the
///   opposite one; W = |d|, in model units.
///
/// Notes: There is no input: the component measures the positions of the domain. If the length of the curve
/// is 0, a normalized U is infinite or NaN.
///
/// Example: Coordinates wrapped around a circle.
///
///     {"zrkGraph": 1,
///      "resources": [{"uuid": "2d20", "kind": "geometry", "shape": "circle",
///                     "center": [0, 0, 0], "axis": [0, 0, 1], "radius": 1}],
///      "nodes": [{"id": 1, "type": "Curve UVW", "values": {"curve": "2d20", "mode": 1}}],
///      "output": [1, 0]}
class ZRK_API ZRKCurveUVW final : public ZRKComponent<ZRKCurveUVW> {
public:
    enum class Mode { extrude = 0, wrap = 1 };

    ZRKGeometryProperty curve{"curve", nullptr, this};
    ZRKProperty<Mode> mode{"mode", Mode::extrude, this};
    ZRKProperty<bool> normalizeLength{"normalizeLength", true, this};

    ZRKCurveUVW() = default;
    ZRKCurveUVW(const ZRKCurveUVW& other) : ZRKComponent(other) {}
    ZRKCurveUVW& operator=(const ZRKCurveUVW&) = default;

    static ComponentIdentity identity();
    void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) override;
    zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext& context) const override;

    /// Takes over the selection of a curve picker: its first geometry, or none if it is empty.
    void pick(const PickedGeometries& selection) { takePick(curve, selection); }
};

} // namespace zrkmodel
