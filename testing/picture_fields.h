#pragma once

#include "core/engine/formula.h"
#include "core/picture/tracer.h"
#include "testing/literal_engine.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <string>
#include <vector>

/// Fields to look at, and what a ray hits found by a dense march without bounds.
namespace zrk::picture {

struct Ball {
    Vector3 center{};
    double radius = 0.8;

    template <class V>
    V operator()(const Tensor<3, V>& p) const
    {
        const V x = p[0] - center[0];
        const V y = p[1] - center[1];
        const V z = p[2] - center[2];
        return sqrt(x * x + y * y + z * z) - radius;
    }
};

/// A ball with a twisted gyroid around it: no distance.
struct TwistedGyroid {
    template <class V>
    V operator()(const Tensor<3, V>& p) const
    {
        const V angle = p[2] * 1.0;
        const V x = p[0] * cos(angle) - p[1] * sin(angle);
        const V y = p[0] * sin(angle) + p[1] * cos(angle);
        const V fx = x * 5.0;
        const V fy = y * 5.0;
        const V fz = p[2] * 5.0;
        const V gyroid = sin(fx) * cos(fy) + sin(fy) * cos(fz) + sin(fz) * cos(fx) + 0.5;
        return minimum(Ball{{}, 0.8}(p), gyroid * 0.3);
    }
};

/// Two shells of a ball, one inside the other, open on one side.
struct Shells {
    template <class V>
    V operator()(const Tensor<3, V>& p) const
    {
        const V d = Ball{{}, 1.0}(p);
        const V walls = abs(abs(d + 0.25) - 0.2) - 0.06;
        return maximum(walls, p[0] - 0.45);
    }
};

/// A density: solid above its iso value.
struct Waves {
    template <class V>
    V operator()(const Tensor<3, V>& p) const
    {
        return sin(p[0] * 7.0) * sin(p[1] * 6.0 + 0.3) * cos(p[2] * 5.0) * 0.5 + 0.5;
    }
};

/// NaN where x is larger.
struct Holed {
    template <class V>
    V operator()(const Tensor<3, V>& p) const
    {
        return select(p[0] > 0.21, V(std::numeric_limits<double>::quiet_NaN()), Ball{}(p));
    }
};

/// A box whose value jumps at its faces.
struct Step {
    template <class V>
    V operator()(const Tensor<3, V>& p) const
    {
        const auto inside = abs(p[0]) < V(0.6) && abs(p[1]) < V(0.5) && abs(p[2]) < V(0.4);
        return select(inside, V(-1.0), V(1.0));
    }
};

template <class F>
PreparedField prepared(F formula)
{
    return PreparedField(literal::node(1, evaluator(formula), {literal::position()}));
}

/// A field that the engine can't bound.
template <class F>
PreparedField unbounded(F formula)
{
    return PreparedField(literal::node(1, literal::closure(formula), {literal::position()}));
}

inline PositionBox cube(double half) { return {Interval<double>(-half, half), {-half, half}, {-half, half}}; }

/// A view of the whole region from an oblique direction.
inline Camera viewOf(const PositionBox& region, std::int32_t size, Vector3 from = {0.5, -0.75, 0.5})
{
    Camera camera = cameraFrom(from, size, size);
    fitTo(camera, cornersOf(region), 0.02);
    return camera;
}

/// What the ray of a pixel hits first: its depth, or none; and whether it begins in the solid.
struct Hit {
    double depth = DepthPicture::kNoDepth;
    bool isCut = false;
};

/// Marches in steps of a quarter of a pixel, then halves 40 times. Knows no bounds and no tiles.
inline Hit denseHit(const InsideField& field, const PositionBox& region, const Camera& camera,
                    std::int32_t px, std::int32_t py, double nearest = -1e9)
{
    double entry = nearest;
    double exit = 1e9;
    const Vector3 origin = camera.position(px, py, 0);
    const Vector3 direction = camera.position(px, py, 1) - origin;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        if (std::abs(direction[axis]) < 1e-15) {
            if (origin[axis] < region[axis].lower || origin[axis] > region[axis].upper) {
                return {};
            }
            continue;
        }
        const double t0 = (region[axis].lower - origin[axis]) / direction[axis];
        const double t1 = (region[axis].upper - origin[axis]) / direction[axis];
        entry = std::max(entry, std::min(t0, t1));
        exit = std::min(exit, std::max(t0, t1));
    }
    if (!(entry < exit)) {
        return {};
    }
    const auto value = [&](double depth) {
        const Vector3 at = origin + direction * depth;
        double result = 0;
        field.values({&at[0], &at[1], &at[2], 1}, &result);
        return result;
    };
    const double step = camera.pixelAt(0.5 * (entry + exit)) / 4;
    const auto count = static_cast<std::size_t>(std::ceil((exit - entry) / step)) + 1;
    std::vector<double> x(count);
    std::vector<double> y(count);
    std::vector<double> z(count);
    std::vector<double> values(count);
    const auto depthOf = [&](std::size_t i) { return std::min(exit, entry + static_cast<double>(i) * step); };
    for (std::size_t i = 0; i < count; ++i) {
        const Vector3 at = origin + direction * depthOf(i);
        x[i] = at[0];
        y[i] = at[1];
        z[i] = at[2];
    }
    field.values({x.data(), y.data(), z.data(), count}, values.data());
    const auto inside = std::find_if(values.begin(), values.end(), [](double v) { return v < 0; });
    if (inside == values.end()) {
        return {};
    }
    const auto place = static_cast<std::size_t>(inside - values.begin());
    if (place == 0) {
        return {entry, true};
    }
    double outsideDepth = depthOf(place - 1);
    double insideDepth = depthOf(place);
    for (int i = 0; i < 40; ++i) {
        const double middle = 0.5 * (outsideDepth + insideDepth);
        (value(middle) < 0 ? insideDepth : outsideDepth) = middle;
    }
    return {insideDepth, false};
}

} // namespace zrk::picture
