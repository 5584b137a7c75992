#pragma once

#include "model/component.h"

namespace zrkmodel {

/// Puts a vector (N = 3) or a colour (N = 4) together from scalars. Its weight is the largest of the inputs'
/// weights and at least 0; weights that are NaN don't count. An unconnected input reads 0 with weight 0.
/// It has no properties.
template <int N>
class ZRKCombineComponents : public ZRKExtensionBase {
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

/// A vector made of three scalars: x, y and z.
///
/// Coordinates with y and z exchanged, for what is modelled with another axis up:
///
///     {"zrkGraph": 1,
///      "nodes": [{"id": 1, "type": "PositionVec3"}, {"id": 2, "type": "Vector3SplitComponents"},
///                {"id": 3, "type": "Vector3CombineComponents"}, {"id": 4, "type": "TorusSDF"}],
///      "links": [{"from": [1, 0], "to": [2, 0]}, {"from": [2, 0], "to": [3, 0]},
///                {"from": [2, 2], "to": [3, 1]}, {"from": [2, 1], "to": [3, 2]},
///                {"from": [3, 0], "to": [4, 0]}], "output": [4, 0]}
class ZRKVector3CombineComponents final
    : public ZRKComponent<ZRKVector3CombineComponents, ZRKCombineComponents<3>> {
public:
    ZRKVector3CombineComponents() = default;
    ZRKVector3CombineComponents(const ZRKVector3CombineComponents& other) : ZRKComponent(other) {}
    ZRKVector3CombineComponents& operator=(const ZRKVector3CombineComponents&) = default;

    static ComponentIdentity identity();
};

/// A colour made of four scalars: red, green, blue and alpha.
///
/// A gyroid as the green of an otherwise black, transparent colour:
///
///     {"zrkGraph": 1,
///      "nodes": [{"id": 1, "type": "Gyroid"}, {"id": 2, "type": "RGBACombineComponents"}],
///      "links": [{"from": [1, 0], "to": [2, 1]}], "output": [2, 0]}
class ZRKRGBACombineComponents final
    : public ZRKComponent<ZRKRGBACombineComponents, ZRKCombineComponents<4>> {
public:
    ZRKRGBACombineComponents() = default;
    ZRKRGBACombineComponents(const ZRKRGBACombineComponents& other) : ZRKComponent(other) {}
    ZRKRGBACombineComponents& operator=(const ZRKRGBACombineComponents&) = default;

    static ComponentIdentity identity();
};

} // namespace zrkmodel
