#pragma once

#include "components/coordinates/geometry_property.h"
#include "model/component.h"
#include "model/property.h"

namespace zrkmodel {

/// Coordinates along and around a curve: textures, threads and coils that follow a path.
///
/// | property        | unit | default | effect                                                        |
/// |-----------------|------|---------|---------------------------------------------------------------|
/// | curve           |      | none    | without a curve nothing is written                             |
/// | mode            |      | extrude | 0 extrude; 1, or any other number, wrap                        |
/// | normalizeLength |      | true    | U as a share of the curve's length, else in model units        |
///
/// At the curve's closest point with the frame (T, N, B), for the offset d from there:
///
/// - U is the length along the curve; on a closed curve the length from mid-length, either way, so
///   that it is continuous across the seam;
/// - extrude: V = |d - (d . B) B|, W = d . B;
/// - wrap: V = 2 |atan2(d . B, d . N)| / pi, from 0 on the normal's side to 2 opposite, W = |d|.
///
/// Measures the positions themselves, with their weight. A curve of length 0 has the scale infinity.
///
///     {"zrkGraph": 1,
///      "resources": [{"uuid": "2d20", "kind": "geometry", "shape": "circle",
///                     "center": [0, 0, 0], "axis": [0, 0, 1], "radius": 1}],
///      "nodes": [{"id": 1, "type": "Curve UVW", "values": {"curve": "2d20", "mode": 1}}],
///      "output": [1, 0]}
class ZRKCurveUVW final : public ZRKComponent<ZRKCurveUVW> {
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

    /// The selection of a curve picker, empty for none.
    void pick(const PickedGeometries& selection) { takePick(curve, selection); }
};

} // namespace zrkmodel
