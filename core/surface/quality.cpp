#include "core/surface/quality.h"

#include "core/surface/leaf_pruning.h"
#include "core/surface/mesh_edits.h"
#include "core/surface/surface_field.h"
#include "core/surface/surface_grid.h"
#include "core/surface/triangle_pairs.h"
#include "core/values/stop.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <vector>

namespace zrk {

namespace {

using Point = Tensor<3, double>;
using Triangle = std::array<std::uint32_t, 3>;

/// One side of a triangle: its two corners in ascending order.
struct Side {
    std::uint32_t low, high;
    std::uint32_t triangle;
    bool ascends; ///< the triangle runs from `low` to `high`
};

/// In order of their lower corners, then of the higher ones, then of triangles.
std::vector<Side> sortedSides(const SurfaceMesh& mesh)
{
    StopLookout lookout;
    const auto forEachSide = [&](const auto& use) {
        for (std::uint32_t t = 0; t < mesh.triangles.size(); ++t) {
            lookout.step();
            for (std::size_t k = 0; k < 3; ++k) {
                const std::uint32_t from = mesh.triangles[t][k];
                const std::uint32_t to = mesh.triangles[t][(k + 1) % 3];
                use(Side{std::min(from, to), std::max(from, to), t, from < to});
            }
        }
    };
    // Counted by their lower corners first; few have the same one.
    std::vector<std::size_t> end(mesh.vertices.size() + 1, 0);
    forEachSide([&](const Side& side) { ++end[side.low + 1]; });
    for (std::size_t v = 0; v < mesh.vertices.size(); ++v) {
        end[v + 1] += end[v];
    }
    std::vector<Side> sides(3 * mesh.triangles.size());
    forEachSide([&](const Side& side) { sides[end[side.low]++] = side; });
    for (std::size_t v = 0; v < mesh.vertices.size(); ++v) {
        const auto at = [&](std::size_t place) { return sides.begin() + static_cast<std::ptrdiff_t>(place); };
        std::sort(at(v > 0 ? end[v - 1] : 0), at(end[v]), [&lookout](const Side& a, const Side& b) {
            lookout.step();
            return a.high != b.high ? a.high < b.high : a.triangle < b.triangle;
        });
    }
    return sides;
}

constexpr double kCosineOfSharp = 0.8660254037844387; // of 30 degrees

/// Of unit length, or 0.
Point normalOf(const SurfaceMesh& mesh, std::uint32_t triangle)
{
    const Triangle& t = mesh.triangles[triangle];
    const Point& a = mesh.vertices[t[0]];
    Point normal = cross(mesh.vertices[t[1]] - a, mesh.vertices[t[2]] - a);
    normalize(normal);
    return normal;
}

/// Corner k of triangle t, as a number.
std::uint32_t cornerOf(const SurfaceMesh& mesh, std::uint32_t t, std::uint32_t vertex)
{
    const Triangle& triangle = mesh.triangles[t];
    return 3 * t + (triangle[0] == vertex ? 0u : triangle[1] == vertex ? 1u : 2u);
}

/// Counts edges and components, and returns the vertices of each component.
surface::JoinedSets countEdges(const SurfaceMesh& mesh, MeshReport& report)
{
    StopLookout lookout;
    const std::vector<Side> sides = sortedSides(mesh);
    surface::JoinedSets fans(3 * mesh.triangles.size());
    surface::JoinedSets components(mesh.vertices.size());
    std::size_t edgeCount = 0;
    for (std::size_t first = 0, end = 0; first < sides.size(); first = end) {
        while (end < sides.size() && sides[end].low == sides[first].low &&
               sides[end].high == sides[first].high) {
            ++end;
        }
        lookout.step();
        ++edgeCount;
        components.join(sides[first].low, sides[first].high);
        report.openEdges += end - first == 1 ? 1 : 0;
        report.overusedEdges += end - first > 2 ? 1 : 0;
        if (end - first == 2) {
            report.turnedEdges += sides[first].ascends == sides[first + 1].ascends ? 1 : 0;
            if (dot(normalOf(mesh, sides[first].triangle), normalOf(mesh, sides[first + 1].triangle)) <=
                kCosineOfSharp) {
                ++report.sharpEdges;
                report.sharpEdgeLength +=
                    length(mesh.vertices[sides[first].high] - mesh.vertices[sides[first].low]);
            }
            for (const std::uint32_t vertex : {sides[first].low, sides[first].high}) {
                fans.join(cornerOf(mesh, sides[first].triangle, vertex),
                          cornerOf(mesh, sides[first + 1].triangle, vertex));
            }
        }
    }
    // A vertex is pinched where its corners fall into more than one fan.
    std::vector<std::uint32_t> fanCount(mesh.vertices.size(), 0);
    for (std::uint32_t corner = 0; corner < 3 * mesh.triangles.size(); ++corner) {
        lookout.step();
        if (fans.find(corner) == corner) {
            ++fanCount[mesh.triangles[corner / 3][corner % 3]];
        }
    }
    std::size_t used = 0;
    for (std::uint32_t vertex = 0; vertex < mesh.vertices.size(); ++vertex) {
        report.pinchedVertices += fanCount[vertex] > 1 ? 1 : 0;
        used += fanCount[vertex] > 0 ? 1 : 0;
        report.componentCount += fanCount[vertex] > 0 && components.find(vertex) == vertex ? 1 : 0;
    }
    const std::int64_t euler = static_cast<std::int64_t>(used) - static_cast<std::int64_t>(edgeCount) +
                               static_cast<std::int64_t>(mesh.triangles.size());
    report.genus = (2 * static_cast<std::int64_t>(report.componentCount) - euler) / 2;
    return components;
}

struct Part {
    double volume = 0;
    Point lower{HUGE_VAL, HUGE_VAL, HUGE_VAL};
    Point upper{-HUGE_VAL, -HUGE_VAL, -HUGE_VAL};

    void add(const Point (&corners)[3])
    {
        volume += dot(corners[0], cross(corners[1], corners[2])) / 6;
        for (const Point& p : corners) {
            for (std::size_t k = 0; k < 3; ++k) {
                lower[k] = std::min(lower[k], p[k]);
                upper[k] = std::max(upper[k], p[k]);
            }
        }
    }
    bool holds(const Part& other) const
    {
        bool does = true;
        for (std::size_t k = 0; k < 3; ++k) {
            does = does && lower[k] <= other.lower[k] && other.upper[k] <= upper[k];
        }
        return does;
    }
};

std::size_t countInward(const SurfaceMesh& mesh, surface::JoinedSets& components)
{
    StopLookout lookout;
    std::vector<Part> parts(mesh.vertices.size());
    for (const Triangle& t : mesh.triangles) {
        lookout.step();
        parts[components.find(t[0])].add({mesh.vertices[t[0]], mesh.vertices[t[1]], mesh.vertices[t[2]]});
    }
    std::erase_if(parts, [](const Part& part) { return part.volume == 0; });
    const auto firstInward =
        std::partition(parts.begin(), parts.end(), [](const Part& part) { return part.volume > 0; });
    return static_cast<std::size_t>(std::count_if(firstInward, parts.end(), [&](const Part& inward) {
        return std::none_of(parts.begin(), firstInward, [&](const Part& part) {
            lookout.step();
            return part.holds(inward);
        });
    }));
}

/// Also where squares have no room in a double.
double lengthOfAny(const Point& v)
{
    const double largest = std::max({std::abs(v[0]), std::abs(v[1]), std::abs(v[2])});
    return largest > 0 && std::isfinite(largest) ? largest * length(v * (1 / largest)) : length(v);
}

void measure(const SurfaceMesh& mesh, MeshReport& report)
{
    double shortest = HUGE_VAL;
    double smallestAngle = HUGE_VAL;
    double leastSine = 0; // of that angle, once there is one
    double leastCosine = 0;
    StopLookout lookout;
    for (const Triangle& triangle : mesh.triangles) {
        lookout.step();
        const Point p[3] = {mesh.vertices[triangle[0]], mesh.vertices[triangle[1]],
                            mesh.vertices[triangle[2]]};
        const Point normal = cross(p[1] - p[0], p[2] - p[0]);
        report.area += 0.5 * length(normal);
        report.volume += dot(p[0], cross(p[1], p[2])) / 6;
        for (std::size_t k = 0; k < 3; ++k) {
            const Point a = p[(k + 1) % 3] - p[k];
            const Point b = p[(k + 2) % 3] - p[k];
            shortest = std::min(shortest, length(a));
            const double sine = length(cross(a, b));
            const double cosine = dot(a, b);
            // An arc tangent only where the angle isn't clearly larger than the smallest one.
            if (!(sine * leastCosine - cosine * leastSine > 1e-12 * (sine + std::abs(cosine)))) {
                smallestAngle = std::min(smallestAngle, std::atan2(sine, cosine));
                leastSine = std::sin(smallestAngle);
                leastCosine = std::cos(smallestAngle);
            }
        }
    }
    if (!mesh.triangles.empty()) {
        report.shortestEdge = shortest;
        report.smallestAngleDegrees = smallestAngle * 180 / std::numbers::pi;
    }
}

} // namespace

MeshReport reportOn(const SurfaceMesh& mesh) { return *reportOn(mesh, {}); }

std::optional<MeshReport> reportOn(const SurfaceMesh& mesh, const KeepGoing& keepGoing)
{
    constexpr double kEdges = 0.3; // what of the time the edges take
    constexpr double kMeasures = 0.4;
    MeshReport report;
    report.vertexCount = mesh.vertices.size();
    report.triangleCount = mesh.triangles.size();
    if (!goesOn(keepGoing, 0)) {
        return std::nullopt;
    }
    surface::JoinedSets components = countEdges(mesh, report);
    if (!goesOn(keepGoing, kEdges)) {
        return std::nullopt;
    }
    if (report.isClosed() && report.turnedEdges == 0) {
        report.inwardComponents = countInward(mesh, components);
    }
    measure(mesh, report);
    StopLookout lookout;
    for (const Triangle& triangle : mesh.triangles) {
        lookout.step();
        report.degenerateTriangles += surface::isDegenerate(mesh, triangle) ? 1 : 0;
    }
    const bool isDone = surface::forEachIntersection(
        mesh.vertices, mesh.triangles, {}, [&](std::uint32_t, std::uint32_t) { ++report.selfIntersections; },
        partOf(keepGoing, kMeasures, 1));
    return isDone ? std::optional(report) : std::nullopt;
}

std::optional<DistanceError> distanceError(const SurfaceMesh& mesh, const PreparedField& field,
                                           const SurfaceSettings& settings, const KeepGoing& keepGoing)
{
    constexpr std::size_t kPoints = 1024;
    constexpr double kStep = 1e-4; // of a cell
    const surface::SurfaceGrid grid(settings.lower, settings.upper, settings.cells);
    const double step = kStep * std::min({grid.spacing[0], grid.spacing[1], grid.spacing[2]});
    const double sign = settings.solid == SolidSide::Above ? -1 : 1;
    const auto outside = [&](double x, double y, double z) {
        return std::max({grid.lower[0] - x, x - grid.upper[0], grid.lower[1] - y, y - grid.upper[1],
                         grid.lower[2] - z, z - grid.upper[2]});
    };
    const double cell = std::max({grid.spacing[0], grid.spacing[1], grid.spacing[2]});
    std::vector<double> x, y, z, values;
    // The errors at points by differences towards one side; on the cut -1.
    const auto errorsAt = [&](const std::vector<Point>& points, double towards, std::vector<double>& errors) {
        x.clear();
        y.clear();
        z.clear();
        for (const Point& p : points) {
            for (std::size_t k = 0; k < 4; ++k) {
                x.push_back(p[0] + (k == 1 ? towards : 0));
                y.push_back(p[1] + (k == 2 ? towards : 0));
                z.push_back(p[2] + (k == 3 ? towards : 0));
            }
        }
        values.resize(x.size());
        field.evaluate(x.data(), y.data(), z.data(), x.size(), values.data());
        errors.clear();
        for (std::size_t i = 0; i < values.size(); i += 4) {
            const Point slope{values[i + 1] - values[i], values[i + 2] - values[i],
                              values[i + 3] - values[i]};
            const double distance = sign * (values[i] - settings.iso) / (lengthOfAny(slope) / step);
            const bool isOnCut = distance < outside(x[i], y[i], z[i]) - step;
            errors.push_back(isOnCut ? -1 : std::abs(distance));
        }
    };
    const double all = static_cast<double>(mesh.vertices.size() + mesh.triangles.size());
    double done = 0;
    const auto measureAt = [&](std::size_t count, const auto& pointAt, double& rms, double& largest) {
        double sum = 0;
        std::size_t counted = 0;
        std::vector<Point> points, flat;
        std::vector<double> errors, others;
        for (std::size_t first = 0; first < count; first += kPoints) {
            const std::size_t end = std::min(first + kPoints, count);
            if (!goesOn(keepGoing, done / all)) {
                return false;
            }
            done += static_cast<double>(end - first);
            points.clear();
            for (std::size_t i = first; i < end; ++i) {
                points.push_back(pointAt(i));
            }
            errorsAt(points, step, errors);
            // At a corner the field may have no slope towards one side, so that nothing but rounding divides.
            flat.clear();
            for (std::size_t i = 0; i < points.size(); ++i) {
                if (!(errors[i] <= cell)) {
                    flat.push_back(points[i]);
                }
            }
            if (!flat.empty()) {
                errorsAt(flat, -step, others);
            }
            for (std::size_t i = 0, other = 0; i < points.size(); ++i) {
                const double error = errors[i] <= cell ? errors[i] : std::fmin(errors[i], others[other++]);
                if (error >= 0 && std::isfinite(error)) {
                    sum += error * error;
                    largest = std::max(largest, error);
                    ++counted;
                }
            }
        }
        rms = counted > 0 ? std::sqrt(sum / static_cast<double>(counted)) : 0;
        return true;
    };
    DistanceError error;
    const auto vertex = [&](std::size_t i) { return mesh.vertices[i]; };
    const auto centroid = [&](std::size_t i) {
        const Triangle& t = mesh.triangles[i];
        return (mesh.vertices[t[0]] + mesh.vertices[t[1]] + mesh.vertices[t[2]]) * (1.0 / 3);
    };
    const bool isDone = measureAt(mesh.vertices.size(), vertex, error.vertexRms, error.vertexLargest) &&
                        measureAt(mesh.triangles.size(), centroid, error.centroidRms, error.centroidLargest);
    return isDone ? std::optional(error) : std::nullopt;
}

std::optional<std::size_t> countDoubtfulCells(const PreparedField& field, const SurfaceSettings& settings,
                                              const KeepGoing& keepGoing)
{
    const surface::SurfaceGrid grid(settings.lower, settings.upper, settings.cells);
    const surface::SurfaceField surfaceField(field, settings.iso, settings.solid == SolidSide::Above,
                                             settings.lower, settings.upper);
    std::size_t count = 0;
    bool isBounded = true;
    bool isStopped = false;
    const auto goOn = [&](double fraction) {
        isStopped = isStopped || !goesOn(keepGoing, fraction);
        return !isStopped;
    };
    surface::forEachCellWithSurface(
        surfaceField, grid, goOn, [&](std::span<const surface::Index3> cells, bool areBounded) {
            isBounded = isBounded && areBounded;
            std::vector<double> x, y, z, values;
            for (const surface::Index3& cell : cells) {
                for (std::int32_t corner = 0; corner < 8; ++corner) {
                    x.push_back(grid.coordinate(0, cell[0] + (corner & 1)));
                    y.push_back(grid.coordinate(1, cell[1] + (corner >> 1 & 1)));
                    z.push_back(grid.coordinate(2, cell[2] + (corner >> 2)));
                }
            }
            values.resize(x.size());
            surfaceField.values(x.data(), y.data(), z.data(), x.size(), values.data());
            for (std::size_t first = 0; first < values.size(); first += 8) {
                const auto inside = std::count_if(values.begin() + static_cast<std::ptrdiff_t>(first),
                                                  values.begin() + static_cast<std::ptrdiff_t>(first + 8),
                                                  [](double value) { return value < 0; });
                count += inside == 0 || inside == 8 ? 1 : 0;
            }
        });
    return isBounded && !isStopped ? std::optional<std::size_t>(count) : std::nullopt;
}

} // namespace zrk
