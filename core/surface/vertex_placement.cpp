#include "core/surface/vertex_placement.h"

#include "core/values/batch.h"

#include <algorithm>
#include <cmath>

namespace zrk::surface {

Point clamped(const Point& p, const Point& lower, const Point& upper)
{
    return {std::clamp(p[0], lower[0], upper[0]), std::clamp(p[1], lower[1], upper[1]),
            std::clamp(p[2], lower[2], upper[2])};
}

namespace {

constexpr double kCosineOfSmooth = 0.9902680687415704; // of 8 degrees
constexpr double kLeastEigenvalue = 0.01;              // as a share of the largest
/// Tangent planes lie outside of a convex surface by more than triangles between points on it lie inside.
constexpr double kShareOfBulge = 0.97;

struct Symmetric3 {
    double xx = 0, xy = 0, xz = 0, yy = 0, yz = 0, zz = 0;
};

/// The least squares' problem: sum over planes of (normal . x - offset)^2, about an origin.
struct Energy {
    Symmetric3 a;
    Point b{};
    double c = 0;
    Point origin;

    Energy(std::span<const TangentPlane* const> planes, const Point& origin) : origin(origin)
    {
        for (const TangentPlane* const plane : planes) {
            const Point n = plane->normal();
            const double d = plane->offset() - dot(n, origin);
            a.xx += n[0] * n[0];
            a.xy += n[0] * n[1];
            a.xz += n[0] * n[2];
            a.yy += n[1] * n[1];
            a.yz += n[1] * n[2];
            a.zz += n[2] * n[2];
            b = b + n * d;
            c += d * d;
        }
    }
    double entry(std::size_t i, std::size_t j) const
    {
        const double m[3][3] = {{a.xx, a.xy, a.xz}, {a.xy, a.yy, a.yz}, {a.xz, a.yz, a.zz}};
        return m[i][j];
    }
    /// At a place relative to the origin.
    double at(const Point& x) const
    {
        const Point ax{a.xx * x[0] + a.xy * x[1] + a.xz * x[2], a.xy * x[0] + a.yy * x[1] + a.yz * x[2],
                       a.xz * x[0] + a.yz * x[1] + a.zz * x[2]};
        return dot(x, ax) - 2 * dot(x, b) + c;
    }
};

/// Eigenvalues and eigenvectors by Jacobi's rotations, until nothing is left to turn.
void eigen(const Symmetric3& s, double (&values)[3], double (&vectors)[3][3])
{
    double m[3][3] = {{s.xx, s.xy, s.xz}, {s.xy, s.yy, s.yz}, {s.xz, s.yz, s.zz}};
    for (std::size_t i = 0; i < 3; ++i) {
        for (std::size_t j = 0; j < 3; ++j) {
            vectors[i][j] = i == j ? 1 : 0;
        }
    }
    const double least = 1e-18 * (s.xx + s.yy + s.zz);
    for (int sweep = 0; sweep < 8; ++sweep) {
        if (std::abs(m[0][1]) <= least && std::abs(m[0][2]) <= least && std::abs(m[1][2]) <= least) {
            break;
        }
        for (std::size_t p = 0; p < 2; ++p) {
            for (std::size_t q = p + 1; q < 3; ++q) {
                if (std::abs(m[p][q]) <= least) {
                    continue;
                }
                const double theta = (m[q][q] - m[p][p]) / (2 * m[p][q]);
                const double t = (theta >= 0 ? 1 : -1) / (std::abs(theta) + std::sqrt(theta * theta + 1));
                const double c = 1 / std::sqrt(t * t + 1);
                const double sine = t * c;
                for (std::size_t k = 0; k < 3; ++k) {
                    const double kp = m[k][p];
                    const double kq = m[k][q];
                    m[k][p] = c * kp - sine * kq;
                    m[k][q] = sine * kp + c * kq;
                }
                for (std::size_t k = 0; k < 3; ++k) {
                    const double pk = m[p][k];
                    const double qk = m[q][k];
                    m[p][k] = c * pk - sine * qk;
                    m[q][k] = sine * pk + c * qk;
                    const double vp = vectors[p][k];
                    const double vq = vectors[q][k];
                    vectors[p][k] = c * vp - sine * vq;
                    vectors[q][k] = sine * vp + c * vq;
                }
            }
        }
    }
    for (std::size_t i = 0; i < 3; ++i) {
        values[i] = m[i][i];
    }
}

bool isWithin(const Point& p, const Point& lower, const Point& upper)
{
    return p[0] >= lower[0] && p[0] <= upper[0] && p[1] >= lower[1] && p[1] <= upper[1] && p[2] >= lower[2] &&
           p[2] <= upper[2];
}

/// The least energy on one face of the box; false where it lies outside of the face or isn't unique.
bool leastOnFace(const Energy& energy, std::size_t axis, double at, const Point& lower, const Point& upper,
                 Point& best)
{
    const std::size_t u = (axis + 1) % 3;
    const std::size_t v = (axis + 2) % 3;
    const double bu = energy.b[u] - energy.entry(u, axis) * at;
    const double bv = energy.b[v] - energy.entry(v, axis) * at;
    const double uu = energy.entry(u, u);
    const double vv = energy.entry(v, v);
    const double uv = energy.entry(u, v);
    const double determinant = uu * vv - uv * uv;
    if (!(determinant > 1e-6 * (uu + vv) * (uu + vv))) {
        return false;
    }
    best[axis] = at;
    best[u] = (bu * vv - bv * uv) / determinant;
    best[v] = (bv * uu - bu * uv) / determinant;
    return best[u] >= lower[u] && best[u] <= upper[u] && best[v] >= lower[v] && best[v] <= upper[v];
}

/// The least energy on one edge of the box, its ends included.
Point leastOnEdge(const Energy& energy, std::size_t axis, Point corner, const Point& lower,
                  const Point& upper)
{
    const std::size_t u = (axis + 1) % 3;
    const std::size_t v = (axis + 2) % 3;
    const double aa = energy.entry(axis, axis);
    const double b = energy.b[axis] - energy.entry(axis, u) * corner[u] - energy.entry(axis, v) * corner[v];
    const double wanted = aa > 1e-12 ? b / aa : 0;
    corner[axis] = std::clamp(wanted, lower[axis], upper[axis]);
    return corner;
}

/// The least energy on the surface of a box. Places are relative to the energy's origin.
Point leastOnBox(const Energy& energy, const Point& lower, const Point& upper)
{
    Point best{};
    double least = HUGE_VAL;
    const auto offer = [&](const Point& p) {
        const double e = energy.at(p);
        if (e < least) {
            least = e;
            best = p;
        }
    };
    for (std::size_t axis = 0; axis < 3; ++axis) {
        for (const double at : {lower[axis], upper[axis]}) {
            Point p;
            if (leastOnFace(energy, axis, at, lower, upper, p)) {
                offer(p);
            }
        }
        for (int corner = 0; corner < 4; ++corner) {
            Point p = lower;
            const std::size_t u = (axis + 1) % 3;
            const std::size_t v = (axis + 2) % 3;
            p[u] = (corner & 1) != 0 ? upper[u] : lower[u];
            p[v] = (corner & 2) != 0 ? upper[v] : lower[v];
            offer(leastOnEdge(energy, axis, p, lower, upper));
        }
    }
    return best;
}

} // namespace

bool isSmooth(std::span<const TangentPlane* const> planes)
{
    Point sum{};
    for (const TangentPlane* const plane : planes) {
        sum = sum + plane->normal();
    }
    const double least = kCosineOfSmooth * std::sqrt(dot(sum, sum));
    return std::all_of(planes.begin(), planes.end(), [&](const TangentPlane* plane) {
        const Point normal = plane->normal();
        return dot(normal, normal) == 0 || dot(normal, sum) >= least;
    });
}

void SmoothPlacement::reserve(std::size_t count)
{
    if (_share.size() < wholeBatches(count)) {
        for (std::vector<double>& row : _rows) {
            row.resize(wholeBatches(count));
        }
        _share.resize(wholeBatches(count));
        _isMoved.resize(wholeBatches(count));
        _isSmooth.resize(wholeBatches(count));
    }
}

/// Along the mean normal to where the vertex lies as far in front of some planes as behind others.
void SmoothPlacement::place()
{
    for (std::size_t v = 0; v < _count; v += Batch::size) {
        const auto load = [&](std::size_t row) { return Batch::load(_rows[row].data() + v); };
        const Batch share = Batch::load(_share.data() + v);
        const Batch mass[3] = {load(0) * share, load(1) * share, load(2) * share};
        const Batch normal[3] = {load(3), load(4), load(5)};
        const Batch squared = normal[0] * normal[0] + normal[1] * normal[1] + normal[2] * normal[2];
        const BatchMask isMoved = squared > 0.0 && Batch::load(_isMoved.data() + v) > 0.0;
        const Batch off = load(6) - (normal[0] * mass[0] + normal[1] * mass[1] + normal[2] * mass[2]);
        const Batch residue = load(7);
        const Batch along = (residue + kShareOfBulge * (off - residue)) / squared;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            select(isMoved, mass[axis] + normal[axis] * along, mass[axis]).store(_rows[axis].data() + v);
        }
        // The sum of unit vectors is shorter than their count by 1 less the cosine of each.
        const BatchMask isSmooth = sqrt(squared) * share >= 1.0 - (1.0 - kCosineOfSmooth) * share;
        const unsigned bits = bitsOf(isSmooth || !isMoved);
        for (std::size_t i = 0; i < Batch::size; ++i) {
            _isSmooth[v + i] = static_cast<std::uint8_t>(bits >> i & 1);
        }
    }
}

CreaseVertex placeOnCrease(std::span<const TangentPlane* const> planes, const Point& lower,
                           const Point& upper)
{
    Point mass{};
    for (const TangentPlane* const plane : planes) {
        mass = mass + plane->at();
    }
    mass = mass * (1.0 / static_cast<double>(planes.size()));
    const Energy energy(planes, mass);
    double values[3];
    double vectors[3][3];
    eigen(energy.a, values, vectors);
    const double largest = std::max({values[0], values[1], values[2]});
    Point best{};
    for (std::size_t i = 0; i < 3; ++i) {
        if (values[i] > kLeastEigenvalue * largest) {
            const Point q{vectors[i][0], vectors[i][1], vectors[i][2]};
            best = best + q * (dot(q, energy.b) / values[i]);
        }
    }
    if (isWithin(mass + best, lower, upper)) {
        return {mass + best, false};
    }
    return {clamped(mass + leastOnBox(energy, lower - mass, upper - mass), lower, upper), true};
}

} // namespace zrk::surface
