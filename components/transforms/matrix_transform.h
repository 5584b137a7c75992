#pragma once

#include "core/values/export.h"
#include "core/values/matrix4.h"
#include "model/component.h"
#include "model/property.h"

namespace zrkmodel {

/// Applies a 4 by 4 matrix to positions. What is seen through the inverse looks moved by the matrix itself.
///
/// | property | kind    | unit | default            | range               | meaning                         |
/// |----------|---------|------|--------------------|---------------------|---------------------------------|
/// | inverse  | bool    |      | true               |                     | true: the inverse of the        |
/// |          |         |      |                    |                     | matrix, which is infinite or    |
/// |          |         |      |                    |                     | NaN for a singular one; false:  |
/// |          |         |      |                    |                     | the matrix itself               |
/// | matrix   | matrix4 |      | [1, 0, 0, 0, 0, 1, | -5000000 to 5000000 | 16 numbers, column by column;   |
/// |          |         |      | 0, 0, 0, 0, 1, 0,  |                     | the last column is the          |
/// |          |         |      | 0, 0, 0, 1]        |                     | translation, in model units     |
///
/// | input  | unit | meaning             |
/// |--------|------|---------------------|
/// | coords | mu   | the position to map |
///
/// | output | unit | meaning                                          |
/// |--------|------|--------------------------------------------------|
/// | coords | mu   | the mapped position, with the weight of `coords` |
///
/// Formula: p' = M p for the position with a 1 appended.
///
/// Notes: The last row of M takes no part except in the inverse, so there is no perspective.
///
/// Example: A sphere moved by (2, 0, 0).
///
///     {"zrkGraph": 1, "context": {"modelBounds": [[0.5, -1.5, -1.5], [3.5, 1.5, 1.5]]},
///      "nodes": [{"id": 1, "type": "MatrixTransform",
///                 "values": {"matrix": [1,0,0,0, 0,1,0,0, 0,0,1,0, 2,0,0,1]}},
///                {"id": 2, "type": "SphereSDF"}],
///      "links": [{"from": [1, 0], "to": [2, 0]}], "output": [2, 0]}
class ZRK_API ZRKMatrixTransform final : public ZRKComponent<ZRKMatrixTransform> {
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
