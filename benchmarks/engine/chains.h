#pragma once

#include "components/coordinates/sphere_uvw_formula.h"
#include "components/coordinates/torus_uvw_formula.h"
#include "components/operators/binary_operator_formula.h"
#include "components/operators/levelset_formula.h"
#include "components/patterns/gyroid_formula.h"
#include "components/primitives/box_sdf_formula.h"
#include "components/primitives/sphere_sdf_formula.h"
#include "components/primitives/torus_sdf_formula.h"
#include "components/transforms/twist_transform_formula.h"
#include "core/engine/field_generator.h"
#include "testing/literal_engine.h"

/// The chains that are measured. Each has two forms made of the same formulas: one expression over any
/// value type, as a person would fuse it by hand, and a field of nodes, whose closures `wrap(formula)` makes.
namespace zrk::bench {

using literal::node;
using literal::position;

template <class Operation, class Wrap>
IField combined(Wrap wrap, const IField& a, const IField& b)
{
    return node(1, wrap(BinaryCombination<Operation, 1>{1.0, 1.0, {}}), {a, b});
}

/// (i) A sphere and a gyroid seen through a twist: few nodes, sines.
struct TwistedGyroid {
    SphereDistance sphere{{0.1, -0.05, 0.2}, 0.9};
    TwistPosition twist = TwistPosition::about({0, 0, 0}, {0, 0, 1}, 5.0);
    GyroidDensity gyroid = GyroidDensity::withContour(0.0);

    template <class V>
    V operator()(const Tensor<3, V>& p) const
    {
        return minimum(sphere(p), gyroid(twist(p)));
    }
    template <class Wrap>
    IField field(Wrap wrap) const
    {
        const IField twisted = node(3, wrap(twist), {position()});
        return combined<Minimum>(wrap, node(1, wrap(sphere), {position()}), node(1, wrap(gyroid), {twisted}));
    }
};

/// (ii) Twelve cheap nodes: three spheres, two boxes, two minima, two maxima, a difference, a
/// shell with its two unconnected pins, an iso value.
struct CheapNodes {
    SphereDistance spheres[3] = {{{0.1, -0.05, 0.2}, 0.9}, {{-0.6, 0.3, -0.2}, 0.5}, {{0.4, 0.5, -0.5}, 0.4}};
    BoxDistance boxes[2] = {BoxDistance::rounded({0, 0, 0}, {1.4, 1.1, 1.7}, 0.1),
                            BoxDistance::rounded({0.3, 0.2, -0.4}, {0.8, 0.6, 0.9}, 0.05)};
    ShellDistance<LevelSetKind::distance> shell{0.02, -0.04, 0.06};
    IsoDistance iso{0.5};

    template <class V>
    V operator()(const Tensor<3, V>& p) const
    {
        const V united = minimum(minimum(spheres[0](p), boxes[0](p)), spheres[1](p));
        const V common = maximum(maximum(united, boxes[1](p)), spheres[2](p));
        return iso(shell(united - common, V(1.0), V(1.0)));
    }
    template <class Wrap>
    IField field(Wrap wrap) const
    {
        const IField p = position();
        const auto shape = [&](const auto& formula) { return node(1, wrap(formula), {p}); };
        const auto unconnected = [] { return IField(std::make_shared<SolidField<1, 3>>(1.0)); };
        const IField united = combined<Minimum>(
            wrap, combined<Minimum>(wrap, shape(spheres[0]), shape(boxes[0])), shape(spheres[1]));
        const IField common =
            combined<Maximum>(wrap, combined<Maximum>(wrap, united, shape(boxes[1])), shape(spheres[2]));
        const IField difference = combined<Subtraction>(wrap, united, common);
        return node(1, wrap(iso), {node(1, wrap(shell), {difference, unconnected(), unconnected()})});
    }
};

struct LogSquaredLength {
    template <class V>
    V operator()(const Tensor<3, V>& p) const
    {
        return log(p[0] * p[0] + p[1] * p[1] + p[2] * p[2]);
    }
};

/// (iii) Torus and sphere coordinates feeding a distance: inverse trigonometric functions.
struct CurvedCoordinates {
    TorusCoordinates torus{{0.05, 0.1, -0.1}, 0.8, 0.25};
    SphereCoordinates sphere{{0.1, 0.05, 0.02}, 0.3};
    LogSquaredLength length{};
    TorusDistance ring{{0, 0, 0}, 0.9, 0.2};

    template <class V>
    V operator()(const Tensor<3, V>& p) const
    {
        return minimum(length(sphere(torus(p))), ring(p));
    }
    template <class Wrap>
    IField field(Wrap wrap) const
    {
        const IField curved = node(3, wrap(sphere), {node(3, wrap(torus), {position()})});
        return combined<Minimum>(wrap, node(1, wrap(length), {curved}), node(1, wrap(ring), {position()}));
    }
};

/// Makes closures that the engine runs in blocks.
inline constexpr auto kernel = [](auto formula) { return evaluator(formula); };
/// Makes closures as a person would write them, with the C library's mathematics.
inline constexpr auto handWritten = [](auto formula) { return literal::closure(formula); };

} // namespace zrk::bench
