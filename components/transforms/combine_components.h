#pragma once

#include "core/values/export.h"
#include "model/component.h"

namespace zrkmodel {

/// Puts a vector (N = 3) or a colour (N = 4) together from scalars.
///
/// Formula: The inputs in their order. The weight is the largest of the inputs' weights and at least 0;
/// weights that are NaN don't count.
///
/// Notes: An unconnected input reads 0 with weight 0.
template <int N>
class ZRK_API ZRKCombineComponents : public ZRKExtensionBase {
public:
    void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) override;
    zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext& context) const override;

protected:
    ZRKCombineComponents() = default;
    ZRKCombineComponents(const ZRKCombineComponents&) = default;
    ZRKCombineComponents& operator=(const ZRKCombineComponents&) = default;
};

extern template class ZRKCombineComponents<3>;
extern template class ZRKCombineComponents<4>;

/// Makes a vector of three scalars.
///
/// | input | unit | meaning             |
/// |-------|------|---------------------|
/// | x     |      | the first component |
/// | y     |      | the second one      |
/// | z     |      | the third one       |
///
/// | output    | unit | meaning              |
/// |-----------|------|----------------------|
/// | (unnamed) |      | the vector (x, y, z) |
///
/// Example: Coordinates with y and z exchanged, for what is modelled with another axis up.
///
///     {"zrkGraph": 1, "context": {"modelBounds": [[-0.6, -0.6, -0.6], [0.6, 0.6, 0.6]]},
///      "nodes": [{"id": 1, "type": "PositionVec3"}, {"id": 2, "type": "Vector3SplitComponents"},
///                {"id": 3, "type": "Vector3CombineComponents"}, {"id": 4, "type": "TorusSDF"}],
///      "links": [{"from": [1, 0], "to": [2, 0]}, {"from": [2, 0], "to": [3, 0]},
///                {"from": [2, 2], "to": [3, 1]}, {"from": [2, 1], "to": [3, 2]},
///                {"from": [3, 0], "to": [4, 0]}], "output": [4, 0]}
class ZRK_API ZRKVector3CombineComponents final
    : public ZRKComponent<ZRKVector3CombineComponents, ZRKCombineComponents<3>> {
public:
    ZRKVector3CombineComponents() = default;
    ZRKVector3CombineComponents(const ZRKVector3CombineComponents& other) : ZRKComponent(other) {}
    ZRKVector3CombineComponents& operator=(const ZRKVector3CombineComponents&) = default;

    static ComponentIdentity identity();
};

/// Makes a colour of four scalars.
///
/// | input | unit | meaning                                                    |
/// |-------|------|------------------------------------------------------------|
/// | red   |      | 0 to 1                                                     |
/// | green |      | 0 to 1                                                     |
/// | blue  |      | 0 to 1                                                     |
/// | alpha |      | the opacity, 0 to 1; unconnected the colour is transparent |
///
/// | output    | unit | meaning                                       |
/// |-----------|------|-----------------------------------------------|
/// | (unnamed) |      | the colour; values beyond 0..1 aren't cut off |
///
/// Example: A gyroid as the green and the opacity of a colour.
///
///     {"zrkGraph": 1,
///      "nodes": [{"id": 1, "type": "Gyroid"}, {"id": 2, "type": "RGBACombineComponents"}],
///      "links": [{"from": [1, 0], "to": [2, 1]}, {"from": [1, 0], "to": [2, 3]}], "output": [2, 0]}
class ZRK_API ZRKRGBACombineComponents final
    : public ZRKComponent<ZRKRGBACombineComponents, ZRKCombineComponents<4>> {
public:
    ZRKRGBACombineComponents() = default;
    ZRKRGBACombineComponents(const ZRKRGBACombineComponents& other) : ZRKComponent(other) {}
    ZRKRGBACombineComponents& operator=(const ZRKRGBACombineComponents&) = default;

    static ComponentIdentity identity();
};

} // namespace zrkmodel
