#include "host/surface_inputs.h"

#include "core/engine/progress.h"
#include "core/mesh/beams/beam_lattice.h"
#include "core/picture/paint_scale.h"
#include "core/values/memory_budget.h"
#include "core/values/vector3.h"
#include "formats/atomic_file.h"
#include "host/free_memory.h"

#include <fmt/core.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>

namespace zrkmodel {

namespace {

constexpr double kMostVertices = std::numeric_limits<std::uint32_t>::max();
/// Bytes for each vertex: 24 of its own and 24 of two triangles, and twice as much again while a list that is
/// full moves to a larger place. The layers in work are within that: 77 to 126 were measured in all.
constexpr double kBytesAVertex = 150;
/// Bytes for each vertex that a level set takes beside the mesh: its triangles once more with their
/// hierarchy, and voxels.
constexpr double kLevelSetBytesAVertex = 800;
/// Bytes for each vertex of the layer in work: some rows of its leaves with all that is known, of the others
/// the vertices that face the next layer.
constexpr double kBytesInWork = 30;
/// A layer may hold several times what layers hold on average.
constexpr double kLayersAtOnce = 4;
/// Bytes for each vertex on the disk: 24 of its own and 24 of two triangles on the way, and in the file at
/// most 110, in text.
constexpr double kBytesOnDisk = 158;
/// Cells along the longest side of the surface that stands in for a large one.
constexpr std::int32_t kTrialCells = 64;
/// Vertices for a square of cells across the bounds, of a surface that fills them: a gyroid has some 20.
constexpr double kManyVertices = 40;

[[noreturn]] void refuseSize(const std::string& found, const std::string& limit, const char* more = "")
{
    throw zrk::FaultError(
        {"surface", found, limit,
         std::string("ask for a lower --resolution, a larger --cell or smaller --bounds") + more,
         zrk::FaultKind::FailedWork});
}

[[noreturn]] void refuseMemory(const std::string& found, double free)
{
    refuseSize(found, fmt::format("at most the {} of memory that are free", zrk::shownBytes(free)),
               ", or allow more with --memory");
}

double longestSide(const zrk::SurfaceSettings& settings)
{
    return *std::max_element(settings.cells.begin(), settings.cells.end());
}

/// Vertices of the surface, by those of the same surface with few cells.
double estimatedVertices(const zrk::PreparedField& field, zrk::SurfaceSettings settings,
                         zrk::ProgressMonitor& monitor)
{
    const double finer = longestSide(settings) / kTrialCells;
    for (std::int32_t& cells : settings.cells) {
        cells = std::max(1, static_cast<std::int32_t>(cells / finer));
    }
    settings.flatness = 0;
    const auto trial = zrk::extractSurface(field, settings, &monitor);
    if (!trial) {
        throw zrk::FaultError(zrk::interruptedAt("surface"));
    }
    return static_cast<double>(trial->vertices.size()) * finer * finer;
}

double leavesOf(const zrk::SurfaceSettings& settings, int axes)
{
    constexpr double kCellsOfLeaf = 8;
    double leaves = 1;
    for (int axis = 0; axis < axes; ++axis) {
        leaves *= std::ceil((settings.cells[static_cast<std::size_t>(axis)] + 1) / kCellsOfLeaf);
    }
    return leaves;
}

/// Bytes of the list of leaves that the field's bounds can't rule out because it has none there: of a million
/// leaves, or of some layers of them.
double bytesOfLists(const zrk::PreparedField& field, const zrk::SurfaceSettings& settings)
{
    constexpr int kBoxes = 8;
    std::vector<zrk::PositionBox> boxes;
    for (int i = 0; i < kBoxes * kBoxes * kBoxes; ++i) {
        const int at[3] = {i % kBoxes, i / kBoxes % kBoxes, i / (kBoxes * kBoxes)};
        zrk::PositionBox box;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const double size = (settings.upper[axis] - settings.lower[axis]) / kBoxes;
            box[axis] = {settings.lower[axis] + size * at[axis],
                         settings.lower[axis] + size * (at[axis] + 1)};
        }
        boxes.push_back(box);
    }
    std::vector<zrk::Interval<double>> bounds(boxes.size());
    field.bounds(boxes, bounds.data());
    const auto unbounded = std::count_if(bounds.begin(), bounds.end(), [](const zrk::Interval<double>& b) {
        return !std::isfinite(b.lower) && !std::isfinite(b.upper);
    });
    const double share = static_cast<double>(unbounded) / static_cast<double>(boxes.size());
    constexpr double kLeavesOfList = 1 << 20;
    constexpr double kLayersOfList = 3;
    constexpr double kBytesALeaf = 2 * sizeof(std::array<std::int32_t, 3>); // a list that grows
    return share * kBytesALeaf *
           std::min(leavesOf(settings, 3), std::max(kLeavesOfList, kLayersOfList * leavesOf(settings, 2)));
}

std::string foundSize(const zrk::SurfaceSettings& settings, double vertices, double bytes)
{
    return fmt::format("{} x {} x {} cells, with some {:.2g} vertices, which need {}", settings.cells[0],
                       settings.cells[1], settings.cells[2], vertices, zrk::shownBytes(bytes));
}

void checkVertices(const std::string& found, double vertices)
{
    if (vertices > kMostVertices) {
        refuseSize(found, "at most 4294967295 vertices");
    }
}

std::uint8_t colorByte(double value)
{
    constexpr double kGrey = 0.5;
    const double shown = std::isnan(value) ? kGrey : std::clamp(value, 0.0, 1.0);
    return static_cast<std::uint8_t>(std::lround(shown * 255));
}

} // namespace

std::array<std::int32_t, 3> surfaceCells(const zrk::BBox<double>& bounds, int resolution, double cell)
{
    const double longest = std::max({bounds.size[0], bounds.size[1], bounds.size[2]});
    std::array<std::int32_t, 3> cells{};
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const double side = bounds.size[axis];
        if (!(side > 0)) {
            throw zrk::FaultError({"bounds", fmt::format("no extent along {}", "xyz"[axis]),
                                   "a box with a volume", "give two opposite corners with --bounds"});
        }
        // A side that is a whole number of cells but for rounding isn't given one more.
        const double wanted =
            cell > 0 ? std::ceil(side / cell * (1 - 1e-12)) : std::round(resolution * (side / longest));
        if (!(wanted < std::numeric_limits<std::int32_t>::max() - 16)) {
            refuseSize(fmt::format("{:.3g} cells along {}", wanted, "xyz"[axis]), "at most 2147483631");
        }
        cells[axis] = std::max(1, static_cast<std::int32_t>(wanted));
    }
    return cells;
}

zrk::PartVoxels surfaceVoxels(const zrk::SurfaceSettings& settings)
{
    zrk::PartVoxels voxels{.side = std::numeric_limits<double>::infinity()};
    for (std::size_t axis = 0; axis < 3; ++axis) {
        voxels.side =
            std::min(voxels.side, (settings.upper[axis] - settings.lower[axis]) / settings.cells[axis]);
    }
    for (std::size_t axis = 0; axis < 3; ++axis) {
        voxels.origin[axis] = settings.lower[axis] - 0.5 * voxels.side;
    }
    return voxels;
}

void checkSurfaceSize(const zrk::PreparedField& field, const zrk::SurfaceSettings& settings,
                      zrk::PartFormat format, zrk::ProgressMonitor& monitor)
{
    const double bytesAVertex =
        kBytesAVertex + (format == zrk::PartFormat::Vdb ? kLevelSetBytesAVertex : 0.0);
    const double longest = longestSide(settings);
    const std::optional<double> free = memoryToUse();
    const double lists = bytesOfLists(field, settings);
    const double most = kManyVertices * longest * longest;
    const bool mayBeTooMuch = most > kMostVertices || (free && most * bytesAVertex + lists > *free);
    if (longest <= kTrialCells || !mayBeTooMuch) {
        return;
    }
    const double vertices = estimatedVertices(field, settings, monitor);
    const double bytes = vertices * bytesAVertex + lists;
    const std::string found = foundSize(settings, vertices, bytes);
    checkVertices(found, vertices);
    if (free && bytes > *free) {
        refuseMemory(found, *free);
    }
}

void checkPiecesSize(const zrk::PreparedField& field, const zrk::SurfaceSettings& settings,
                     const std::string& file, std::int32_t parts, zrk::ProgressMonitor& monitor)
{
    const double longest = longestSide(settings);
    const std::optional<double> free = memoryToUse();
    const std::optional<double> room = zrk::freeOnDiskOf(file);
    const double most = kManyVertices * longest * longest;
    const double layers = leavesOf(settings, 3) / leavesOf(settings, 2);
    // A layer may hold several times what it would if all held the same.
    const double lists = bytesOfLists(field, settings);
    const auto memoryFor = [&](double vertices) {
        return lists + std::min(1.0, kLayersAtOnce / layers) * vertices * kBytesInWork;
    };
    const auto diskFor = [&](double vertices) { return vertices * kBytesOnDisk / parts; };
    const bool mayBeTooMuch =
        most > kMostVertices || (free && memoryFor(most) > *free) || (room && diskFor(most) > *room);
    if (longest <= kTrialCells || !mayBeTooMuch) {
        return;
    }
    const double vertices = estimatedVertices(field, settings, monitor);
    checkVertices(foundSize(settings, vertices, diskFor(vertices)), vertices);
    if (free && memoryFor(vertices) > *free) {
        refuseMemory(foundSize(settings, vertices, memoryFor(vertices)), *free);
    }
    if (room && diskFor(vertices) > *room) {
        refuseSize(
            foundSize(settings, vertices, diskFor(vertices)),
            fmt::format("at most the {} that are free on the disk of {}", zrk::shownBytes(*room), file));
    }
}

void forVertexColors(const zrk::PreparedField& field, const std::optional<zrk::Interval<double>>& range,
                     std::span<const zrk::Tensor<3, double>> vertices, zrk::ProgressMonitor& monitor,
                     const std::function<bool(std::span<const zrk::VertexColor>)>& take)
{
    constexpr std::size_t kAtOnce = 4096;
    std::vector<double> x(kAtOnce), y(kAtOnce), z(kAtOnce);
    std::vector<double> channels[4] = {x, x, x, x};
    std::vector<zrk::VertexColor> colors(kAtOnce);
    const bool hasOpacity = field.componentCount() == 4;
    for (std::size_t first = 0; first < vertices.size(); first += kAtOnce) {
        const std::size_t count = std::min(kAtOnce, vertices.size() - first);
        for (std::size_t i = 0; i < count; ++i) {
            const zrk::Tensor<3, double>& p = vertices[first + i];
            x[i] = p[0];
            y[i] = p[1];
            z[i] = p[2];
        }
        field.evaluate(
            {x.data(), y.data(), z.data(), count},
            {.components = {channels[0].data(), channels[1].data(), channels[2].data(), channels[3].data()}});
        for (std::size_t i = 0; i < count; ++i) {
            zrk::Rgb color{channels[0][i], channels[1][i], channels[2][i]};
            if (range) {
                const double value = channels[0][i];
                color = std::isnan(value) ? zrk::Rgb{value, value, value} : zrk::scaleColor(*range, value);
            }
            for (std::size_t c = 0; c < 3; ++c) {
                colors[i][c] = colorByte(color[c]);
            }
            colors[i][3] = hasOpacity ? colorByte(channels[3][i]) : colorByte(1);
        }
        if (!take({colors.data(), count})) {
            return;
        }
        monitor.progress(static_cast<double>(first + count) / static_cast<double>(vertices.size()));
        if (monitor.interruptRequested()) {
            throw zrk::FaultError(zrk::interruptedAt("colours"));
        }
    }
}

std::optional<zrk::PartBeams> partBeams(const GraphDocument& document, PinAddress output,
                                        const zrk::SurfaceSettings& settings)
{
    const auto data = document.beamsOf(output);
    if (!data || settings.solid != zrk::SolidSide::Below) {
        return std::nullopt;
    }
    zrk::PartBeams beams;
    beams.radius = data->radius + settings.iso;
    bool isWhole = beams.radius > 0 && data->beamCount() > 0;
    for (std::size_t i = 0; i + 2 < data->vertices.size(); i += 3) {
        beams.nodes.push_back({data->vertices[i], data->vertices[i + 1], data->vertices[i + 2]});
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const double x = beams.nodes.back()[axis];
            isWhole = isWhole && x - beams.radius >= settings.lower[axis] &&
                      x + beams.radius <= settings.upper[axis];
        }
    }
    for (std::size_t i = 0; i + 1 < data->edges.size(); i += 2) {
        const std::array<std::uint32_t, 2> ends = {static_cast<std::uint32_t>(data->edges[i]),
                                                   static_cast<std::uint32_t>(data->edges[i + 1])};
        // A beam without length is none to the format.
        if (squaredDistance(beams.nodes[ends[0]], beams.nodes[ends[1]]) > 0) {
            beams.beams.push_back(ends);
        }
    }
    return isWhole && !beams.beams.empty() ? std::optional(std::move(beams)) : std::nullopt;
}

} // namespace zrkmodel
