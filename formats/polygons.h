#pragma once

#include "core/values/stop.h"
#include "core/values/tensor.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace zrk {

/// Cuts polygons into triangles. One after the other; an object belongs to one thread.
class PolygonSplitter {
public:
    /// Corners are numbered by their place in the polygon, from 0.
    using Triangle = std::array<std::uint32_t, 3>;

    enum class Outcome {
        Sound,
        Degenerate, ///< it has no area, crosses itself, or touches itself along an edge
        TooLarge,   ///< ears would have to be clipped off more than kMaxPolygonCorners; nothing is written
    };

    /// Gives n - 2 triangles for n corners: together they have the outline of the polygon, and its
    /// orientation, so that a closed mesh stays closed. The polygon may be concave and somewhat out of plane;
    /// it is looked at along the axis that its normal is nearest to.
    ///
    /// Where a fan from the first corner fits, as in every convex polygon without corners on its edges, it is
    /// taken. Otherwise ears are clipped, which takes a time that grows with the square of n.
    ///
    /// @param corners    three or more.
    /// @param triangles  n - 2 of them, written.
    /// What a degenerate one is cut into may overlap.
    ///
    /// Source: Meisters, "Polygons have ears", American Mathematical Monthly 82(6), 1975; for the normal
    /// Newell's method in Sutherland, Sproull, Schumacker, "A characterization of ten hidden-surface
    /// algorithms", ACM Computing Surveys 6(1), 1974.
    Outcome split(std::span<const Tensor<3, double>> corners, std::span<Triangle> triangles);

private:
    struct Point {
        double x, y;
    };

    std::vector<Point> _points;                 ///< the corners in the plane, counterclockwise
    std::vector<std::uint32_t> _before, _after; ///< the corners beside each that is left
    std::vector<std::uint8_t> _isReflex, _isEar;
    StopLookout _lookout;

    bool project(std::span<const Tensor<3, double>> corners);
    bool fanFits() const;
    double turn(std::uint32_t a, std::uint32_t b, std::uint32_t c) const;
    bool isEar(std::uint32_t corner);
    void look(std::uint32_t corner);
    Outcome clipEars(std::span<Triangle> triangles);
};

} // namespace zrk
