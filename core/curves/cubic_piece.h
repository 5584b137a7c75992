#pragma once

#include "core/values/box.h"
#include "core/values/vector3.h"

#include <array>

namespace zrk {

/// A cubic curve by its four Bezier points, over u from 0 to 1.
class CubicPiece {
public:
    CubicPiece() = default;
    explicit CubicPiece(const std::array<Vector3, 4>& points);

    /// The ends are met exactly.
    Vector3 position(double u) const;
    /// Derivatives by u.
    Vector3 first(double u) const;
    Vector3 second(double u) const;
    /// Unit tangent, its limit where the first derivative vanishes at an end; zero for a single point.
    Vector3 tangent(double u) const;
    bool isPoint() const { return _isPoint; }
    /// The piece lies within it.
    Box<double> hull() const;

    /// Two squared distances, found from the chord, between which that of the piece's closest point lies.
    struct SquaredBounds {
        double lower;
        double upper;
    };
    SquaredBounds squaredBounds(const Vector3& p) const;
    /// Calls offer(u) for 0, 1 and each u within where the distance to p has a local minimum.
    template <class Offer>
    void forClosestParameters(const Vector3& p, Offer offer) const
    {
        offer(0.0);
        offer(1.0);
        double minima[kMaxMinima];
        const int count = localMinima(p, minima);
        for (int i = 0; i < count; ++i) {
            offer(minima[i]);
        }
    }

private:
    static constexpr int kMaxMinima = 8;

    std::array<Vector3, 4> _points;
    std::array<Vector3, 3> _slopes; ///< Bezier points of the first derivative
    double _perSquaredChord = 0;
    double _sag = 0;       ///< no point is farther from the chord
    double _slopeSize = 0; ///< the longest of _slopes
    bool _isPoint = true;

    int localMinima(const Vector3& p, double* minima) const;
    double root(const Vector3& p, double low, double high) const;
};

} // namespace zrk
