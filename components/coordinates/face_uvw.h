#pragma once

#include "components/coordinates/geometry_property.h"
#include "core/values/export.h"
#include "model/component.h"
#include "model/property.h"

namespace zrkmodel {

/// Expresses a position in coordinates on and above a surface. Patterns lie on it and layers over it so.
///
/// | property | kind     | unit | default | range   | meaning                                     |
/// |----------|----------|------|---------|---------|---------------------------------------------|
/// | face     | geometry |      | ""      | surface | the surface; without one nothing is written |
///
/// | output | unit | meaning                                    |
/// |--------|------|--------------------------------------------|
/// | coords |      | (U, V, W), with the weight of the position |
///
/// Formula: U and V are the parameters of the closest surface point, each scaled so that it runs from 0 to 1
/// over the surface's range: on a sphere, U is the longitude and V the latitude. W is the distance to that
/// point in model units and never negative.
///
/// Notes: A range of width 0 gives infinities and NaN. There is no input: the component measures the
/// positions of the domain.
///
/// Example: Coordinates on a sphere.
///
///     {"zrkGraph": 1, "context": {"modelBounds": [[-2, -2, -2], [2, 2, 2]]},
///      "resources": [{"uuid": "2d20", "kind": "geometry", "shape": "sphere",
///                     "center": [0, 0, 0], "radius": 1}],
///      "nodes": [{"id": 1, "type": "Face UVW", "values": {"face": "2d20"}}],
///      "output": [1, 0]}
class ZRK_API ZRKFaceUVW final : public ZRKComponent<ZRKFaceUVW> {
public:
    ZRKGeometryProperty face{"face", nullptr, this};

    ZRKFaceUVW() = default;
    ZRKFaceUVW(const ZRKFaceUVW& other) : ZRKComponent(other) {}
    ZRKFaceUVW& operator=(const ZRKFaceUVW&) = default;

    static ComponentIdentity identity();
    void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) override;
    zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext& context) const override;

    /// Takes over the selection of a surface picker: its first geometry, or none if it is empty.
    void pick(const PickedGeometries& selection) { takePick(face, selection); }
};

} // namespace zrkmodel
