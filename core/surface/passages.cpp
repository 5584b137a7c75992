#include "core/surface/passages.h"

#include "core/engine/progress.h"
#include "core/values/vector3.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace zrk {

namespace {

using Point = Tensor<3, double>;

constexpr std::size_t kMostStarts = 200000;
constexpr std::size_t kAtOnce = 1024;
constexpr int kMostSteps = 400;
constexpr double kGradientStep = 1e-4; ///< of a cell
constexpr double kFirstStep = 1e-2;    ///< of a cell: past what is left of the way to the surface
constexpr double kLeastStep = 1e-3;    ///< of a cell
/// A field is taken for a distance where that share of its slopes at the surface is so near 1.
constexpr double kSlopeMargin = 0.02;
constexpr double kSlopeShare = 0.9;
/// The two sides of a way face each other when they are so near to parallel: the cosine of 30 degrees.
constexpr double kFacing = 0.866;

/// A place on the surface and the direction that the field grows in.
struct Start {
    Point at;
    Point outwards;
};

class PassageSearch {
public:
    PassageSearch(const PreparedField& field, const SurfaceSettings& settings)
        : _field(field), _settings(settings), _sign(settings.solid == SolidSide::Above ? -1 : 1)
    {
        _cell = std::numeric_limits<double>::infinity();
        for (std::size_t axis = 0; axis < 3; ++axis) {
            _cell = std::min(_cell, (settings.upper[axis] - settings.lower[axis]) / settings.cells[axis]);
        }
    }

    /// Starts on the surface near these points, those on the cut left out. Counts slopes meanwhile.
    std::vector<Start> startsNear(const std::vector<Point>& points)
    {
        const std::vector<Slope> slopes = slopesAt(points);
        std::vector<Start> starts;
        for (std::size_t i = 0; i < points.size(); ++i) {
            const double value = slopes[i].value;
            const double steepness = length(slopes[i].slope);
            // Within the solid by more than a cell: on the cut.
            if (!(steepness > 0) || !std::isfinite(steepness) || !(std::abs(value) < _cell)) {
                continue;
            }
            ++_slopes;
            _unitSlopes += std::abs(steepness - 1) <= kSlopeMargin ? 1 : 0;
            const Point outwards = slopes[i].slope * (1 / steepness);
            starts.push_back({points[i] - outwards * (value / steepness), outwards});
        }
        return starts;
    }

    bool isDistance() const
    {
        return _slopes > 0 && static_cast<double>(_unitSlopes) >= kSlopeShare * static_cast<double>(_slopes);
    }

    /// Goes from each start inwards (side -1) or outwards (1), and keeps the shortest way.
    void go(const std::vector<Start>& starts, double side, std::optional<Passage>& shortest)
    {
        struct Ray {
            const Start* start;
            double t;
            double formerT;
            double former; ///< the value there, positive on the way
        };
        const double least = kLeastStep * _cell;
        std::vector<Ray> rays;
        for (const Start& start : starts) {
            rays.push_back({&start, kFirstStep * _cell, 0, 0});
        }
        std::vector<Point> asked;
        for (int step = 0; step < kMostSteps && !rays.empty(); ++step) {
            asked.clear();
            for (const Ray& ray : rays) {
                asked.push_back(ray.start->at + ray.start->outwards * (side * ray.t));
            }
            const std::vector<double>& f = values(asked);
            std::size_t kept = 0;
            std::vector<Passage> found;
            for (std::size_t i = 0; i < rays.size(); ++i) {
                Ray ray = rays[i];
                const double onTheWay = side * f[i];
                if (!isWithinBounds(asked[i]) || !std::isfinite(onTheWay)) {
                    continue;
                }
                if (onTheWay <= 0) {
                    if (ray.former <= 0) {
                        continue; // never left the surface
                    }
                    const double share = ray.former / (ray.former - onTheWay);
                    const double length = ray.formerT + (ray.t - ray.formerT) * share;
                    const Point& from = ray.start->at;
                    found.push_back({length, from, from + ray.start->outwards * (side * length)});
                    continue;
                }
                ray.formerT = ray.t;
                ray.former = onTheWay;
                ray.t += std::max(onTheWay, least);
                const bool canBeShorter = !shortest || ray.t < shortest->length;
                if (canBeShorter) {
                    rays[kept++] = ray;
                }
            }
            rays.resize(kept);
            offer(found, side, shortest);
        }
    }

private:
    struct Slope {
        double value;
        Point slope;
    };

    const PreparedField& _field;
    const SurfaceSettings& _settings;
    double _sign;
    double _cell;
    std::size_t _slopes = 0;
    std::size_t _unitSlopes = 0;
    std::vector<double> _x, _y, _z, _values;

    /// The field against its iso value, negative in the solid.
    const std::vector<double>& values(const std::vector<Point>& points)
    {
        _x.resize(points.size());
        _y.resize(points.size());
        _z.resize(points.size());
        _values.resize(points.size());
        for (std::size_t i = 0; i < points.size(); ++i) {
            _x[i] = points[i][0];
            _y[i] = points[i][1];
            _z[i] = points[i][2];
        }
        _field.evaluate(_x.data(), _y.data(), _z.data(), points.size(), _values.data());
        for (double& value : _values) {
            value = _sign * (value - _settings.iso);
        }
        return _values;
    }

    std::vector<Slope> slopesAt(const std::vector<Point>& points)
    {
        const double step = kGradientStep * _cell;
        std::vector<Point> asked;
        for (const Point& p : points) {
            asked.push_back(p);
            for (std::size_t axis = 0; axis < 3; ++axis) {
                asked.push_back(p);
                asked.back()[axis] += step;
            }
        }
        const std::vector<double>& f = values(asked);
        std::vector<Slope> slopes;
        for (std::size_t i = 0; i < points.size(); ++i) {
            const double* at = f.data() + 4 * i;
            slopes.push_back({at[0], Point{at[1] - at[0], at[2] - at[0], at[3] - at[0]} * (1 / step)});
        }
        return slopes;
    }

    bool isWithinBounds(const Point& p) const
    {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            if (!(p[axis] >= _settings.lower[axis] && p[axis] <= _settings.upper[axis])) {
                return false;
            }
        }
        return true;
    }

    /// Takes the shortest of the ways whose two sides face each other, if it is shorter than what is known.
    void offer(std::vector<Passage>& found, double side, std::optional<Passage>& shortest)
    {
        std::erase_if(found, [&](const Passage& way) { return shortest && way.length >= shortest->length; });
        std::vector<Point> ends;
        for (const Passage& way : found) {
            ends.push_back(way.to);
        }
        const std::vector<Slope> slopes = slopesAt(ends);
        for (std::size_t i = 0; i < found.size(); ++i) {
            const Point onwards = (found[i].to - found[i].from) * (1 / found[i].length);
            const Point& slope = slopes[i].slope;
            // Inwards first, a way leaves the solid where the field grows; a gap ends where it falls.
            const bool isFacing = -side * dot(onwards, slope) >= kFacing * length(slope);
            if (isFacing && (!shortest || found[i].length < shortest->length)) {
                shortest = found[i];
            }
        }
    }
};

} // namespace

std::optional<Passages> narrowestPassages(const SurfaceMesh& mesh, const PreparedField& field,
                                          const SurfaceSettings& settings, ProgressMonitor* monitor)
{
    Passages passages;
    PassageSearch search(field, settings);
    const std::size_t stride = std::max<std::size_t>(1, mesh.triangles.size() / kMostStarts);
    std::vector<Point> centers;
    for (std::size_t first = 0; first < mesh.triangles.size(); first += stride * kAtOnce) {
        centers.clear();
        const std::size_t end = std::min(mesh.triangles.size(), first + stride * kAtOnce);
        for (std::size_t i = first; i < end; i += stride) {
            const std::array<std::uint32_t, 3>& t = mesh.triangles[i];
            centers.push_back((mesh.vertices[t[0]] + mesh.vertices[t[1]] + mesh.vertices[t[2]]) * (1.0 / 3));
        }
        const std::vector<Start> starts = search.startsNear(centers);
        search.go(starts, -1, passages.wall);
        search.go(starts, 1, passages.gap);
        if (monitor) {
            monitor->progress(static_cast<double>(end) / static_cast<double>(mesh.triangles.size()));
            if (monitor->interruptRequested()) {
                monitor->interruptAcknowledged();
                return std::nullopt;
            }
        }
    }
    passages.isDistance = search.isDistance();
    if (!passages.isDistance) {
        passages.wall.reset();
        passages.gap.reset();
    }
    return passages;
}

} // namespace zrk
