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

    Energy() = default;
    Energy(std::span<const TangentPlane* const> planes, const Point& origin)
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

/// Eigenvalues, which stand in the diagonal in the end, and eigenvectors by Jacobi's rotations, until nothing
/// is left to turn. Each lane has a matrix of its own.
void eigen(Batch (&m)[3][3], Batch (&vectors)[3][3])
{
    for (std::size_t i = 0; i < 3; ++i) {
        for (std::size_t j = 0; j < 3; ++j) {
            vectors[i][j] = i == j ? 1.0 : 0.0;
        }
    }
    const Batch least = 1e-18 * (m[0][0] + m[1][1] + m[2][2]);
    for (int sweep = 0; sweep < 8; ++sweep) {
        if (all(abs(m[0][1]) <= least && abs(m[0][2]) <= least && abs(m[1][2]) <= least)) {
            break;
        }
        for (std::size_t p = 0; p < 2; ++p) {
            for (std::size_t q = p + 1; q < 3; ++q) {
                const std::size_t r = 3 - p - q;
                const Batch theta = (m[q][q] - m[p][p]) / (2.0 * m[p][q]);
                const Batch tangent =
                    select(theta >= 0.0, Batch(1.0), Batch(-1.0)) / (abs(theta) + sqrt(theta * theta + 1.0));
                const Batch t = select(abs(m[p][q]) <= least, Batch(0.0), tangent);
                const Batch c = 1.0 / sqrt(t * t + 1.0);
                const Batch sine = t * c;
                m[p][p] -= t * m[p][q];
                m[q][q] += t * m[p][q];
                m[p][q] = select(t == 0.0, m[p][q], Batch(0.0));
                m[q][p] = m[p][q];
                const Batch rp = m[r][p];
                const Batch rq = m[r][q];
                m[r][p] = m[p][r] = c * rp - sine * rq;
                m[r][q] = m[q][r] = sine * rp + c * rq;
                for (std::size_t k = 0; k < 3; ++k) {
                    const Batch vp = vectors[p][k];
                    const Batch vq = vectors[q][k];
                    vectors[p][k] = c * vp - sine * vq;
                    vectors[q][k] = sine * vp + c * vq;
                }
            }
        }
    }
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

Point placedAlongMean(std::span<const TangentPlane* const> planes)
{
    Point mass{};
    Point mean{};
    for (const TangentPlane* const plane : planes) {
        mass = mass + plane->at();
        mean = mean + plane->normal();
    }
    mass = mass * (1.0 / static_cast<double>(planes.size()));
    const double length = std::sqrt(dot(mean, mean));
    if (!(length > 0)) {
        return mass;
    }
    mean = mean * (1 / length);
    double along = 0;
    double squares = 0;
    for (const TangentPlane* const plane : planes) {
        const double cosine = dot(plane->normal(), mean);
        const double bulge = plane->offset() - dot(plane->normal(), mass) - plane->residue();
        along += cosine * (plane->residue() + kShareOfBulge * bulge);
        squares += cosine * cosine;
    }
    return mass + mean * (along / squares);
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

void CreasePlacement::clear()
{
    for (std::vector<double>& row : _rows) {
        row.clear();
    }
    _boxes.clear();
    _vertices.clear();
}

void CreasePlacement::add(std::span<const TangentPlane* const> planes, const Point& lower, const Point& upper)
{
    Point mass{};
    for (const TangentPlane* const plane : planes) {
        mass = mass + plane->at();
    }
    mass = mass * (1.0 / static_cast<double>(planes.size()));
    const Energy energy(planes, mass);
    const double numbers[kRows] = {energy.a.xx, energy.a.xy, energy.a.xz, energy.a.yy, energy.a.yz,
                                   energy.a.zz, energy.b[0], energy.b[1], energy.b[2], energy.c,
                                   mass[0],     mass[1],     mass[2]};
    for (std::size_t row = 0; row < kRows; ++row) {
        _rows[row].push_back(numbers[row]);
    }
    _boxes.push_back({lower, upper});
}

std::span<const CreaseVertex> CreasePlacement::place()
{
    const std::size_t count = _boxes.size();
    for (std::vector<double>& row : _rows) {
        row.resize(wholeBatches(count), 0.0);
    }
    _vertices.resize(count);
    for (std::size_t first = 0; first < count; first += Batch::size) {
        const auto load = [&](Row row) { return Batch::load(_rows[row].data() + first); };
        Batch m[3][3] = {
            {load(XX), load(XY), load(XZ)}, {load(XY), load(YY), load(YZ)}, {load(XZ), load(YZ), load(ZZ)}};
        const Batch b[3] = {load(BX), load(BY), load(BZ)};
        Batch vectors[3][3];
        eigen(m, vectors);
        const Batch largest = maximum(maximum(m[0][0], m[1][1]), m[2][2]);
        Batch best[3] = {load(MassX), load(MassY), load(MassZ)};
        for (std::size_t i = 0; i < 3; ++i) {
            const Batch(&q)[3] = vectors[i];
            const Batch along = (q[0] * b[0] + q[1] * b[1] + q[2] * b[2]) / m[i][i];
            const Batch step = select(m[i][i] > kLeastEigenvalue * largest, along, Batch(0.0));
            for (std::size_t axis = 0; axis < 3; ++axis) {
                best[axis] += q[axis] * step;
            }
        }
        double position[3][Batch::size];
        for (std::size_t axis = 0; axis < 3; ++axis) {
            best[axis].store(position[axis]);
        }
        for (std::size_t i = 0; i < std::min(Batch::size, count - first); ++i) {
            const Point p{position[0][i], position[1][i], position[2][i]};
            const Box& box = _boxes[first + i];
            const bool isWithin = p == clamped(p, box.lower, box.upper);
            _vertices[first + i] = {isWithin ? p : leastInBox(first + i), !isWithin};
        }
    }
    return _vertices;
}

Point CreasePlacement::leastInBox(std::size_t vertex) const
{
    const auto number = [&](Row row) { return _rows[row][vertex]; };
    Energy energy;
    energy.a = {number(XX), number(XY), number(XZ), number(YY), number(YZ), number(ZZ)};
    energy.b = {number(BX), number(BY), number(BZ)};
    energy.c = number(C);
    const Point mass{number(MassX), number(MassY), number(MassZ)};
    const Box& box = _boxes[vertex];
    return clamped(mass + leastOnBox(energy, box.lower - mass, box.upper - mass), box.lower, box.upper);
}

} // namespace zrk::surface
