#include "core/surface/solid_measures.h"

#include "core/engine/progress.h"
#include "core/values/vector3.h"

#include <algorithm>
#include <cmath>

namespace zrk {

namespace {

using Point = Tensor<3, double>;

constexpr std::int32_t kFirstCells = 32;
constexpr int kLeastRounds = 3;
/// A triangle whose corners stand so near a face of the bounds, in shares of a cell, lies on the cut.
constexpr double kOnCut = 1e-6;

/// Passes progress on as a share of the whole: each round takes about four times as long as the one before.
class RoundProgress final : public ProgressMonitor {
public:
    RoundProgress(ProgressMonitor* monitor, double begin, double end)
        : _monitor(monitor), _begin(begin), _end(end)
    {}
    void progress(double fraction) override
    {
        if (_monitor) {
            _monitor->progress(_begin + (_end - _begin) * fraction);
        }
    }
    bool interruptRequested() override { return _monitor && _monitor->interruptRequested(); }

private:
    ProgressMonitor* _monitor;
    double _begin;
    double _end;
};

std::array<std::int32_t, 3> cellsOver(const SurfaceSettings& settings, std::int32_t along)
{
    const Point size = settings.upper - settings.lower;
    const double longest = std::max({size[0], size[1], size[2]});
    std::array<std::int32_t, 3> cells{};
    for (std::size_t axis = 0; axis < 3; ++axis) {
        cells[axis] = std::max(1, static_cast<std::int32_t>(std::lround(along * (size[axis] / longest))));
    }
    return cells;
}

/// Whether the triangle lies on one face of the bounds.
bool isOnCut(const Point& a, const Point& b, const Point& c, const SurfaceSettings& settings)
{
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const double margin = kOnCut * (settings.upper[axis] - settings.lower[axis]) / settings.cells[axis];
        for (const double face : {settings.lower[axis], settings.upper[axis]}) {
            if (std::abs(a[axis] - face) <= margin && std::abs(b[axis] - face) <= margin &&
                std::abs(c[axis] - face) <= margin) {
                return true;
            }
        }
    }
    return false;
}

/// Volume, area and moments of a closed mesh, by the tetrahedra between its triangles and the middle of the
/// bounds.
SolidMeasures measuresOf(const SurfaceMesh& mesh, const SurfaceSettings& settings)
{
    SolidMeasures measures;
    measures.cells = settings.cells;
    measures.undefinedSamples = mesh.undefinedSamples;
    if (mesh.triangles.empty()) {
        return measures;
    }
    const Point origin = (settings.lower + settings.upper) * 0.5;
    Point moment{};
    double volume = 0;
    for (const std::array<std::uint32_t, 3>& t : mesh.triangles) {
        const Point a = mesh.vertices[t[0]] - origin;
        const Point b = mesh.vertices[t[1]] - origin;
        const Point c = mesh.vertices[t[2]] - origin;
        const double tetrahedron = dot(a, cross(b, c)) / 6;
        volume += tetrahedron;
        moment = moment + (a + b + c) * (tetrahedron / 4);
        const double area = length(cross(b - a, c - a)) / 2;
        measures.area.value += area;
        measures.cutArea +=
            isOnCut(mesh.vertices[t[0]], mesh.vertices[t[1]], mesh.vertices[t[2]], settings) ? area : 0;
    }
    measures.volume.value = volume;
    measures.center = volume > 0 ? origin + moment * (1 / volume) : origin;
    measures.lower = measures.upper = mesh.vertices.front();
    for (const Point& p : mesh.vertices) {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            measures.lower[axis] = std::min(measures.lower[axis], p[axis]);
            measures.upper[axis] = std::max(measures.upper[axis], p[axis]);
        }
    }
    return measures;
}

/// Takes the change from coarser cells for the error.
void setErrors(SolidMeasures& finer, const SolidMeasures& coarser)
{
    finer.volume.error = std::abs(finer.volume.value - coarser.volume.value);
    finer.area.error = std::abs(finer.area.value - coarser.area.value);
    finer.centerError = length(finer.center - coarser.center);
    finer.boxError = std::max(length(finer.lower - coarser.lower), length(finer.upper - coarser.upper));
}

bool isWithin(const Measured& measured, double accuracy)
{
    return measured.error <= accuracy * std::abs(measured.value);
}

} // namespace

std::optional<SolidMeasures> measureSolid(const PreparedField& field, const SurfaceSettings& settings,
                                          const MeasuringGoal& goal, ProgressMonitor* monitor)
{
    SurfaceSettings at = settings;
    at.keepsCreases = true;
    at.isOpen = false;
    at.flatness = 0;
    std::optional<SolidMeasures> coarser;
    double share = std::pow(static_cast<double>(kFirstCells) / std::max(kFirstCells, goal.mostCells), 2);
    double done = 0;
    int round = 0;
    for (std::int32_t along = std::min(kFirstCells, goal.mostCells);;
         along = std::min(2 * along, goal.mostCells)) {
        at.cells = cellsOver(settings, along);
        RoundProgress progress(monitor, done, std::min(1.0, share));
        const std::optional<SurfaceMesh> mesh = extractSurface(field, at, &progress);
        if (!mesh) {
            if (monitor) {
                monitor->interruptAcknowledged();
            }
            return std::nullopt;
        }
        SolidMeasures measures = measuresOf(*mesh, at);
        if (coarser) {
            setErrors(measures, *coarser);
            measures.isAccurate = round + 1 >= kLeastRounds && isWithin(measures.volume, goal.accuracy) &&
                                  isWithin(measures.area, goal.accuracy);
        }
        const Point size = settings.upper - settings.lower;
        const double whole = size[0] * size[1] * size[2];
        measures.fraction = {measures.volume.value / whole, measures.volume.error / whole};
        const bool isLast = along == goal.mostCells || mesh->vertices.size() > goal.mostVertices / 4;
        if (measures.isAccurate || isLast) {
            return measures;
        }
        coarser = measures;
        done = std::min(1.0, share);
        share *= 4;
        ++round;
    }
}

} // namespace zrk
