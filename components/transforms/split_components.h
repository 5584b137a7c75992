#pragma once

#include "core/values/export.h"
#include "model/component.h"

namespace zrkmodel {

/// Takes a vector (N = 3) or a colour (N = 4) apart.
///
/// Formula: Each output is one component, with the weight of the input.
template <int N>
class ZRK_API ZRKSplitComponents : public ZRKExtensionBase {
public:
    void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) override;
    zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext& context) const override;

protected:
    ZRKSplitComponents() = default;
    ZRKSplitComponents(const ZRKSplitComponents&) = default;
    ZRKSplitComponents& operator=(const ZRKSplitComponents&) = default;
};

extern template class ZRKSplitComponents<3>;
extern template class ZRKSplitComponents<4>;

/// The components of a vector as three scalars.
///
/// | input  | unit | meaning    |
/// |--------|------|------------|
/// | coords |      | the vector |
///
/// | output | unit    | meaning             |
/// |--------|---------|---------------------|
/// | x      | input's | the first component |
/// | y      | input's | the second one      |
/// | z      | input's | the third one       |
///
/// Example: The height above the plane z = 0.
///
///     {"zrkGraph": 1, "context": {"modelBounds": [[-1, -1, -1], [1, 1, 1]]},
///      "nodes": [{"id": 1, "type": "PositionVec3"}, {"id": 2, "type": "Vector3SplitComponents"}],
///      "links": [{"from": [1, 0], "to": [2, 0]}], "output": [2, 2]}
class ZRK_API ZRKVector3SplitComponents final
    : public ZRKComponent<ZRKVector3SplitComponents, ZRKSplitComponents<3>> {
public:
    ZRKVector3SplitComponents() = default;
    ZRKVector3SplitComponents(const ZRKVector3SplitComponents& other) : ZRKComponent(other) {}
    ZRKVector3SplitComponents& operator=(const ZRKVector3SplitComponents&) = default;

    static ComponentIdentity identity();
};

/// The channels of a colour as four scalars.
///
/// | input | unit | meaning    |
/// |-------|------|------------|
/// | color |      | the colour |
///
/// | output | unit | meaning             |
/// |--------|------|---------------------|
/// | red    |      | 0 to 1              |
/// | green  |      | 0 to 1              |
/// | blue   |      | 0 to 1              |
/// | alpha  |      | the opacity, 0 to 1 |
///
/// Example: The red channel of a colour, which here is x.
///
///     {"zrkGraph": 1,
///      "nodes": [{"id": 1, "type": "PositionVec3"}, {"id": 2, "type": "ColorFromVec3"},
///                {"id": 3, "type": "RGBASplitComponents"}],
///      "links": [{"from": [1, 0], "to": [2, 0]}, {"from": [2, 0], "to": [3, 0]}], "output": [3, 0]}
class ZRK_API ZRKRGBASplitComponents final
    : public ZRKComponent<ZRKRGBASplitComponents, ZRKSplitComponents<4>> {
public:
    ZRKRGBASplitComponents() = default;
    ZRKRGBASplitComponents(const ZRKRGBASplitComponents& other) : ZRKComponent(other) {}
    ZRKRGBASplitComponents& operator=(const ZRKRGBASplitComponents&) = default;

    static ComponentIdentity identity();
};

} // namespace zrkmodel
