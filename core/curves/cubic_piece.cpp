#include "core/curves/cubic_piece.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace zrk {

namespace {

constexpr double kEpsilon = std::numeric_limits<double>::epsilon();

double squaredDistanceToChord(const Vector3& p, const Vector3& from, const Vector3& to,
                              double perSquaredLength)
{
    const double along = dot(p - from, to - from) * perSquaredLength;
    const double fraction = along > 0 ? (along < 1 ? along : 1) : 0;
    return squaredDistance(p, from + (to - from) * fraction);
}

/// A polynomial of degree 5 by its Bernstein coefficients over [low, high].
struct Quintic {
    std::array<double, 6> c;
    double low;
    double high;

    /// Signs along the coefficients; those within `noise` count as zero.
    struct Signs {
        int changes = 0;
        bool isRising = false; ///< the first sign is minus
    };
    Signs signs(double noise) const
    {
        Signs found;
        double former = 0;
        for (const double value : c) {
            if (std::abs(value) > noise) {
                found.changes += former * value < 0;
                found.isRising = former == 0 ? value < 0 : found.isRising;
                former = value > 0 ? 1 : -1;
            }
        }
        return found;
    }

    /// The halves over [low, middle] and [middle, high], by de Casteljau.
    std::array<Quintic, 2> halves() const
    {
        const double middle = low / 2 + high / 2;
        std::array<Quintic, 2> half{Quintic{c, low, middle}, Quintic{c, middle, high}};
        std::array<double, 6> row = c;
        for (std::size_t level = 0; level < 6; ++level) {
            half[0].c[level] = row[0];
            half[1].c[5 - level] = row[5 - level];
            for (std::size_t i = 0; i + level < 5; ++i) {
                row[i] = row[i] / 2 + row[i + 1] / 2;
            }
        }
        return half;
    }
};

} // namespace

CubicPiece::CubicPiece(const std::array<Vector3, 4>& points) : _points(points)
{
    for (std::size_t i = 0; i < 3; ++i) {
        _slopes[i] = (points[i + 1] - points[i]) * 3.0;
        _slopeSize = std::max(_slopeSize, zrk::length(_slopes[i]));
    }
    _isPoint = _slopeSize == 0;
    const double chord = squaredDistance(points[3], points[0]);
    _perSquaredChord = chord > 0 ? 1 / chord : 0;
    for (const Vector3& inner : {points[1], points[2]}) {
        _sag =
            std::max(_sag, std::sqrt(squaredDistanceToChord(inner, points[0], points[3], _perSquaredChord)));
    }
    // Wide enough for the rounding of positions on the piece.
    for (const Vector3& point : points) {
        _sag += 4 * kEpsilon * zrk::length(point);
    }
}

Vector3 CubicPiece::position(double u) const
{
    const double v = 1 - u;
    return _points[0] * (v * v * v) + _points[1] * (3 * v * v * u) + _points[2] * (3 * v * u * u) +
           _points[3] * (u * u * u);
}

Vector3 CubicPiece::first(double u) const
{
    const double v = 1 - u;
    return _slopes[0] * (v * v) + _slopes[1] * (2 * v * u) + _slopes[2] * (u * u);
}

Vector3 CubicPiece::second(double u) const
{
    return (_slopes[1] - _slopes[0]) * (2 * (1 - u)) + (_slopes[2] - _slopes[1]) * (2 * u);
}

Vector3 CubicPiece::tangent(double u) const
{
    Vector3 direction = first(u);
    if (normalize(direction) > 0) {
        return direction;
    }
    direction = u < 0.5 ? second(u) : second(u) * -1.0;
    normalize(direction);
    return direction;
}

Box<double> CubicPiece::hull() const
{
    Box<double> box{_points[0], _points[0]};
    for (const Vector3& point : _points) {
        box.include(point);
    }
    return box;
}

CubicPiece::SquaredBounds CubicPiece::squaredBounds(const Vector3& p) const
{
    // No point of the hull is farther from the chord than the Bezier points are, as the distance to it is
    // convex; and across each point of the chord the piece passes at some place.
    const double chord = std::sqrt(squaredDistanceToChord(p, _points[0], _points[3], _perSquaredChord));
    const double lower = chord * (1 - 1e-14) - _sag;
    const double upper = chord * (1 + 1e-14) + _sag;
    return {lower > 0 ? lower * lower : 0, upper * upper};
}

/// The minima are where (c(u) - p) . c'(u), a polynomial of degree 5, rises through zero. Its
/// Bernstein coefficients are halved until their signs change once at most.
int CubicPiece::localMinima(const Vector3& p, double* minima) const
{
    if (_isPoint) {
        return 0;
    }
    static constexpr double kBinomial3[] = {1, 3, 3, 1};
    static constexpr double kBinomial2[] = {1, 2, 1};
    static constexpr double kBinomial5[] = {1, 5, 10, 10, 5, 1};
    Quintic whole{{}, 0, 1};
    double offsetSize = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        const Vector3 offset = _points[i] - p;
        offsetSize = std::max(offsetSize, dot(offset, offset));
        for (std::size_t j = 0; j < 3; ++j) {
            whole.c[i + j] += kBinomial3[i] * kBinomial2[j] * dot(offset, _slopes[j]) / kBinomial5[i + j];
        }
    }
    const double noise = 4 * kEpsilon * std::sqrt(offsetSize) * _slopeSize;

    constexpr double kNarrowest = 1e-12;
    constexpr int kMaxPending = 48; // one for each halving down to kNarrowest
    Quintic pending[kMaxPending];
    int depth = 0;
    int count = 0;
    pending[depth++] = whole;
    while (depth > 0 && count < kMaxMinima) {
        const Quintic part = pending[--depth];
        const Quintic::Signs signs = part.signs(noise);
        if (signs.changes == 0 || (signs.changes == 1 && !signs.isRising)) {
            continue;
        }
        if (signs.changes == 1) {
            minima[count++] = root(p, part.low, part.high);
        } else if (part.high - part.low < kNarrowest) {
            minima[count++] = part.low;
        } else {
            const auto halves = part.halves();
            pending[depth++] = halves[1];
            pending[depth++] = halves[0];
            if (std::abs(halves[1].c[0]) <= noise) {
                minima[count++] = halves[1].low; // a zero that neither half can see
            }
        }
    }
    return count;
}

/// Where the slope of the squared distance, negative at `low` and positive at `high`, is zero: by
/// Newton's steps, halving where they leave the bracket.
double CubicPiece::root(const Vector3& p, double low, double high) const
{
    double u = low / 2 + high / 2;
    for (int step = 0; step < 100; ++step) {
        const Vector3 offset = position(u) - p;
        const Vector3 slope = first(u);
        const double value = dot(offset, slope);
        if (value == 0) {
            return u;
        }
        (value < 0 ? low : high) = u;
        const double next = u - value / (dot(slope, slope) + dot(offset, second(u)));
        const double last = u;
        u = next > low && next < high ? next : low / 2 + high / 2;
        if (std::abs(u - last) <= 2 * kEpsilon * std::abs(u) || !(low < high)) {
            return u;
        }
    }
    return u;
}

} // namespace zrk
