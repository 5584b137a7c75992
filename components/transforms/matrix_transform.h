#pragma once

#include "core/values/matrix4.h"
#include "model/component.h"
#include "model/property.h"

namespace zrkmodel {

/// Maps positions through a matrix. What is seen through the inverse looks moved by the matrix itself.
///
/// | property | unit | default  | effect                                                            |
/// |----------|------|----------|-------------------------------------------------------------------|
/// | inverse  |      | true     | true: the inverse of the matrix, which is infinite or NaN for a   |
/// |          |      |          | singular one; false: the matrix itself                            |
/// | matrix   |      | identity | 16 numbers, column by column; the last column is the translation, |
/// |          |      |          | in model units (mu)                                               |
///
/// p' = M p for the position with a 1 appended. The last row of M takes no part except in the inverse, so
/// there is no perspective. Positions are in model units (mu); the weight is that of `coords`.
///
/// A sphere moved by (2, 0, 0):
///
///     {"zrkGraph": 1,
///      "nodes": [{"id": 1, "type": "MatrixTransform",
///                 "values": {"matrix": [1,0,0,0, 0,1,0,0, 0,0,1,0, 2,0,0,1]}},
///                {"id": 2, "type": "SphereSDF"}],
///      "links": [{"from": [1, 0], "to": [2, 0]}], "output": [2, 0]}
class ZRKMatrixTransform final : public ZRKComponent<ZRKMatrixTransform> {
public:
    ZRKProperty<bool> inverse{"inverse", true, this};
    ZRKProperty<zrk::Matrix4> matrix{"matrix", zrk::kIdentity4, this};

    ZRKMatrixTransform() = default;
    ZRKMatrixTransform(const ZRKMatrixTransform& other) : ZRKComponent(other) {}
    ZRKMatrixTransform& operator=(const ZRKMatrixTransform&) = default;

    static ComponentIdentity identity();
    void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) override;
    zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext& context) const override;

    /// Sets the identity and announces it, unless the component is silent. For the interface thread.
    void reset();
    /// Sets row r of the matrix, 0 to 3, and announces it in the same way. Any other r does nothing.
    void setRow(int r, const zrk::Tensor<4, double>& row);
};

} // namespace zrkmodel
