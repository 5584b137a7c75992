#pragma once

#include "core/values/box.h"
#include "core/values/vector3.h"

#include <array>

namespace zrk {

/// A cubic curve given by its four Bezier points, with the parameter u from 0 to 1. Positions are in model
/// units. Immutable; safe to call from many threads at once.
///
/// Source of the search for closest points: Schneider, "Solving the nearest-point-on-curve problem", in
/// "Graphics Gems", 1990. As there, minima are roots of a polynomial of degree 5 in Bernstein form, isolated
/// by de Casteljau's halving until the coefficients change sign once at most. Here Newton's method finishes,
/// kept within its bracket, and coefficients within their rounding count as zero.
class CubicPiece {
public:
    CubicPiece() = default;
    explicit CubicPiece(const std::array<Vector3, 4>& points);

    /// Returns the position at u. At 0 and 1 it is exactly the first and the last Bezier point.
    Vector3 position(double u) const;
    /// Returns the first derivative by u.
    Vector3 first(double u) const;
    /// Returns the second derivative by u.
    Vector3 second(double u) const;
    /// Returns the unit tangent. If the first derivative vanishes at an end, it is the limit there. A piece
    /// that is a single point gives zero.
    Vector3 tangent(double u) const;
    bool isPoint() const { return _isPoint; }
    /// Returns the box of the Bezier points, which holds the whole piece.
    Box<double> hull() const;

    /// Two squared distances, between which the squared distance to the piece lies.
    struct SquaredBounds {
        double lower;
        double upper;
    };
    /// Returns bounds of the squared distance from p to the piece, found from its chord alone.
    SquaredBounds squaredBounds(const Vector3& p) const;
    /// Calls offer(u) for u = 0, for u = 1, and for each u between at which the distance to p has a local
    /// minimum.
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
    double _sag = 0;       ///< no point of the piece is farther from the chord
    double _slopeSize = 0; ///< length of the longest of _slopes
    bool _isPoint = true;

    int localMinima(const Vector3& p, double* minima) const;
    double root(const Vector3& p, double low, double high) const;
};

} // namespace zrk
