#include "host/surface_file.h"

#include "core/engine/keep_going.h"
#include "core/engine/progress.h"
#include "core/picture/paint_scale.h"
#include "formats/atomic_file.h"
#include "formats/spilled_mesh.h"
#include "host/field_remarks.h"
#include "host/surface_inputs.h"

#include <fmt/core.h>

#include <array>
#include <cassert>
#include <filesystem>
#include <limits>
#include <span>
#include <utility>
#include <vector>

namespace zrkmodel {

namespace {

constexpr const char* kOtherBounds =
    "give other --bounds, another --iso or a higher --resolution; `zrk slice` "
    "shows the field";

std::string remedyOf(const SurfaceTask& task) { return task.remedy.empty() ? kOtherBounds : task.remedy; }

[[noreturn]] void refuseEmpty(const SurfaceTask& task, std::uint64_t undefinedSamples)
{
    const zrk::SurfaceSettings& s = task.settings;
    throw zrk::FaultError(
        {task.place,
         fmt::format("no surface at {} within {:g}, {:g}, {:g} and {:g}, {:g}, {:g}{}", s.iso, s.lower[0],
                     s.lower[1], s.lower[2], s.upper[0], s.upper[1], s.upper[2],
                     undefinedSamples > 0 ? ", where the field has no value" : ""),
         s.isOpen ? fmt::format("values on both sides of {} in the bounds", s.iso)
                  : fmt::format("values {} {} somewhere in the bounds",
                                s.solid == zrk::SolidSide::Above ? "above" : "below", s.iso),
         remedyOf(task), zrk::FaultKind::FailedWork});
}

zrk::SurfaceMesh extracted(const SurfaceTask& task, const StageRunner& runStage)
{
    std::optional<zrk::SurfaceMesh> mesh;
    runStage("surface", [&](zrk::ProgressMonitor& monitor) {
        mesh = zrk::extractSurface(task.field, task.settings, &monitor);
    });
    if (!mesh) {
        throw zrk::FaultError(zrk::interruptedAt("surface"));
    }
    if (mesh->triangles.empty()) {
        refuseEmpty(task, mesh->undefinedSamples);
    }
    return std::move(*mesh);
}

void warnOfUndefined(const SurfaceTask& task, std::uint64_t samples,
                     const std::function<void(const zrk::Fault&)>& warn)
{
    if (samples > 0 && warn) {
        warn(undefinedAt(task.place, samples));
    }
}

/// The surface, unless it is too large for a format.
zrk::SurfaceMesh estimated(const SurfaceTask& task, zrk::PartFormat format, const StageRunner& runStage,
                           const std::function<void(const zrk::Fault&)>& warn)
{
    runStage("estimating", [&](zrk::ProgressMonitor& monitor) {
        checkSurfaceSize(task.field, task.settings, format, monitor);
    });
    zrk::SurfaceMesh mesh = extracted(task, runStage);
    warnOfUndefined(task, mesh.undefinedSamples, warn);
    return mesh;
}

/// The pieces of some layers in files beside a target, their corners as numbers of 32 bits.
class Spilling {
public:
    Spilling(const SurfaceTask& task, zrk::SurfaceLayers layers, const std::string& target)
        : _task(task), _layers(layers), _target(target)
    {}

    zrk::SpilledMesh run(const StageRunner& runStage, WrittenSurface& written)
    {
        runStage("surface", [&](zrk::ProgressMonitor& monitor) {
            extract(zrk::SurfacePruning::ByBounds, monitor);
            if (_end == zrk::SurfaceEnd::WrongBounds) {
                if (!isWhole()) {
                    throw zrk::FaultError(
                        {_task.place, "a surface where the field's bounds leave none, in a tile",
                         "bounds that hold", "write the whole without --shard, which takes longer",
                         zrk::FaultKind::FailedWork});
                }
                extract(zrk::SurfacePruning::None, monitor);
            }
        });
        // A file that couldn't be written stops the work, too.
        zrk::valueOrThrow(_mesh->finish());
        if (_end != zrk::SurfaceEnd::Complete) {
            throw zrk::FaultError(zrk::interruptedAt("surface"));
        }
        written = {_mesh->mesh().triangles.size(), _mesh->mesh().vertices.size(), _work};
        return std::move(*_mesh);
    }

private:
    const SurfaceTask& _task;
    zrk::SurfaceLayers _layers;
    const std::string& _target;
    std::optional<zrk::SpilledMesh> _mesh;
    zrk::SurfaceWork _work;
    zrk::SurfaceEnd _end = zrk::SurfaceEnd::Stopped;
    std::vector<std::array<std::uint32_t, 3>> _triangles;

    bool isWhole() const
    {
        const zrk::SurfaceLayers all = zrk::allLayers(_task.settings);
        return _layers.first == all.first && _layers.end == all.end;
    }

    void extract(zrk::SurfacePruning pruning, zrk::ProgressMonitor& monitor)
    {
        _mesh.emplace(zrk::valueOrThrow(zrk::SpilledMesh::create(_target)));
        _work = {};
        const auto sink = [this](const zrk::SurfacePiece& piece) { return take(piece); };
        _end =
            zrk::extractSurfacePieces(_task.field, _task.settings, _layers, pruning, sink, _work, &monitor);
    }

    bool take(const zrk::SurfacePiece& piece)
    {
        // Numbers of a tile may be below 0.
        constexpr std::uint64_t kMostOfTile = std::numeric_limits<std::int32_t>::max();
        constexpr std::uint64_t kMost = std::numeric_limits<std::uint32_t>::max();
        const std::uint64_t most = isWhole() ? kMost : kMostOfTile;
        const std::uint64_t vertices = _mesh->vertexCount() + piece.vertices.size();
        if (vertices > most) {
            throw zrk::FaultError({"surface", fmt::format("{} vertices", vertices),
                                   fmt::format("at most {}", most), "ask for fewer cells or smaller bounds",
                                   zrk::FaultKind::FailedWork});
        }
        _triangles.clear();
        for (const auto& [a, b, c] : piece.triangles) {
            _triangles.push_back({static_cast<std::uint32_t>(a), static_cast<std::uint32_t>(b),
                                  static_cast<std::uint32_t>(c)});
        }
        return _mesh->add(piece.vertices) &&
               _mesh->add(std::span<const std::array<std::uint32_t, 3>>(_triangles));
    }
};

/// The values at the ends of the colours, where these are values.
/// @param keepsGoing  asked now and then.
std::optional<zrk::Interval<double>> rangeOfColors(const SurfaceTask& task,
                                                   std::span<const zrk::Tensor<3, double>> vertices,
                                                   const std::function<bool()>& keepsGoing)
{
    if (task.colors->componentCount() != 1) {
        return std::nullopt;
    }
    const zrk::Interval<double> range =
        task.colorRange ? *task.colorRange : zrk::finiteRange(*task.colors, vertices, keepsGoing);
    if (task.tellRange) {
        task.tellRange(range);
    }
    return range;
}

/// Adds the colours of a mesh's vertices to it.
void spillColors(const SurfaceTask& task, zrk::SpilledMesh& mesh, const StageRunner& runStage)
{
    if (task.colors) {
        runStage("colours", [&](zrk::ProgressMonitor& monitor) {
            const auto& vertices = mesh.mesh().vertices;
            const auto range = rangeOfColors(task, vertices, [&] {
                mesh.dropPages();
                return !monitor.interruptRequested();
            });
            forVertexColors(*task.colors, range, vertices, monitor,
                            [&](std::span<const zrk::VertexColor> colors) {
                                mesh.dropPages();
                                return mesh.add(colors);
                            });
        });
    }
    zrk::valueOrThrow(mesh.finishColors());
}

void writeSpilled(zrk::AtomicFile target, zrk::PartFormat format, const zrk::SpilledMesh& mesh,
                  zrk::Part part, const StageRunner& runStage)
{
    part.mesh = mesh.mesh();
    part.colors = mesh.colors();
    runStage("writing", [&](zrk::ProgressMonitor& monitor) {
        zrk::SparingMonitor sparing(mesh, monitor);
        zrk::valueOrThrow(zrk::writePart(std::move(target), format, part, &sparing));
    });
}

const zrk::SurfaceMesh& nothing()
{
    static const zrk::SurfaceMesh mesh;
    return mesh;
}

} // namespace

zrk::Result<void> checkSurfaceFormat(const std::string& file, zrk::PartFormat format, bool hasColors,
                                     bool isOpen)
{
    const bool isVdb = format == zrk::PartFormat::Vdb;
    if (hasColors && (isVdb || format == zrk::PartFormat::Stl)) {
        return zrk::refused({file, fmt::format("the format {}, which has no colours", isVdb ? "VDB" : "STL"),
                             ".3mf, .ply or .obj with --color", "write another format"});
    }
    if (isVdb && isOpen) {
        return zrk::refused({file, "a level set of an open surface, which has no inside", "a closed one",
                             "leave --open out, or write another format"});
    }
    return {};
}

zrk::Result<zrk::SurfaceMesh> makeSurface(const SurfaceTask& task, const StageRunner& runStage,
                                          const std::function<void(const zrk::Fault&)>& warn)
{
    return zrk::attempt(task.place, [&] { return estimated(task, zrk::PartFormat::Ply, runStage, warn); });
}

zrk::Result<zrk::SurfaceMesh> writeSurface(const std::string& file, const SurfaceTask& task,
                                           const StageRunner& runStage,
                                           const std::function<void(const zrk::Fault&)>& warn)
{
    return zrk::attempt(file, [&] {
        const zrk::PartFormat format = zrk::valueOrThrow(zrk::partFormat(file));
        zrk::valueOrThrow(checkSurfaceFormat(file, format, task.colors.has_value(), task.settings.isOpen));
        // Before the work, which may be long.
        zrk::AtomicFile target = zrk::valueOrThrow(zrk::AtomicFile::create(file));
        zrk::SurfaceMesh mesh = estimated(task, format, runStage, warn);
        std::vector<zrk::VertexColor> colors;
        if (task.colors) {
            colors.reserve(mesh.vertices.size());
            runStage("colours", [&](zrk::ProgressMonitor& monitor) {
                const auto range =
                    rangeOfColors(task, mesh.vertices, [&] { return !monitor.interruptRequested(); });
                forVertexColors(*task.colors, range, mesh.vertices, monitor,
                                [&](std::span<const zrk::VertexColor> more) {
                                    colors.insert(colors.end(), more.begin(), more.end());
                                    return true;
                                });
            });
        }
        const zrk::Part part{.mesh = mesh,
                             .colors = colors,
                             .unit = task.unit,
                             .title = task.title,
                             .beams = task.beams ? &*task.beams : nullptr,
                             .voxels = surfaceVoxels(task.settings),
                             .threads = task.settings.threads};
        runStage("writing", [&](zrk::ProgressMonitor& monitor) {
            zrk::valueOrThrow(zrk::writePart(std::move(target), format, part, &monitor));
        });
        return mesh;
    });
}

bool isWrittenInPieces(const zrk::SurfaceSettings& settings, zrk::PartFormat format)
{
    return !settings.isOpen && settings.flatness == 0 && format != zrk::PartFormat::Vdb;
}

zrk::Result<WrittenSurface> writeSurfaceInPieces(const std::string& file, const SurfaceTask& task,
                                                 const StageRunner& runStage,
                                                 const std::function<void(const zrk::Fault&)>& warn)
{
    return zrk::attempt(file, [&] {
        const zrk::PartFormat format = zrk::valueOrThrow(zrk::partFormat(file));
        assert(isWrittenInPieces(task.settings, format));
        zrk::valueOrThrow(checkSurfaceFormat(file, format, task.colors.has_value(), task.settings.isOpen));
        // Before the work, which may be long.
        zrk::AtomicFile target = zrk::valueOrThrow(zrk::AtomicFile::create(file));
        const zrk::SurfaceLayers layers = zrk::allLayers(task.settings);
        runStage("estimating", [&](zrk::ProgressMonitor& monitor) {
            checkPiecesSize(task.field, task.settings, file, 1, monitor);
        });
        WrittenSurface written;
        zrk::SpilledMesh mesh = Spilling(task, layers, file).run(runStage, written);
        if (written.triangles == 0) {
            refuseEmpty(task, written.work.undefinedSamples);
        }
        warnOfUndefined(task, written.work.undefinedSamples, warn);
        spillColors(task, mesh, runStage);
        writeSpilled(std::move(target), format, mesh,
                     {.mesh = nothing(),
                      .unit = task.unit,
                      .title = task.title,
                      .beams = task.beams ? &*task.beams : nullptr,
                      .threads = task.settings.threads},
                     runStage);
        return written;
    });
}

zrk::SurfaceTiles surfaceTiles(const std::string& index, const std::string& digest, const SurfaceTask& task)
{
    zrk::SurfaceTiles tiles(index, digest);
    tiles.layers = zrk::allLayers(task.settings).end;
    tiles.hasColors = task.colors.has_value();
    tiles.unit = task.unit;
    tiles.title = task.title;
    tiles.place = task.place;
    return tiles;
}

zrk::Result<WrittenSurface> writeSurfaceTile(const zrk::SurfaceTiles& tiles, std::int32_t tile,
                                             const SurfaceTask& task, const StageRunner& runStage,
                                             const std::function<void(const zrk::Fault&)>& warn)
{
    const std::string file = tiles.fileOf(tile);
    return zrk::attempt(file, [&] {
        zrk::AtomicFile target = zrk::valueOrThrow(zrk::AtomicFile::create(file));
        runStage("estimating", [&](zrk::ProgressMonitor& monitor) {
            checkPiecesSize(task.field, task.settings, file, tiles.count(), monitor);
        });
        WrittenSurface written;
        zrk::SpilledMesh mesh = Spilling(task, tiles.layersOf(tile), file).run(runStage, written);
        warnOfUndefined(task, written.work.undefinedSamples, warn);
        spillColors(task, mesh, runStage);
        const zrk::PartBeams* beams = tile == 0 && task.beams ? &*task.beams : nullptr;
        runStage("writing", [&](zrk::ProgressMonitor& monitor) {
            zrk::SparingMonitor sparing(mesh, monitor);
            zrk::valueOrThrow(zrk::writeTile(std::move(target), tiles, tile, mesh, beams, &sparing));
        });
        return written;
    });
}

zrk::Result<WrittenSurface> joinSurface(const zrk::SurfaceTiles& tiles, const std::string& file,
                                        const StageRunner& runStage)
{
    return zrk::attempt(file, [&] {
        const zrk::PartFormat format = zrk::valueOrThrow(zrk::partFormat(file));
        if (format == zrk::PartFormat::Vdb) {
            throw zrk::FaultError({file, "a level set, which is made of the whole mesh in memory",
                                   "a .3mf, .stl, .ply or .obj file", "write it by `zrk surface`"});
        }
        zrk::valueOrThrow(checkSurfaceFormat(file, format, tiles.hasColors, false));
        runStage("checking", [&](zrk::ProgressMonitor& monitor) {
            zrk::valueOrThrow(zrk::checkTiles(tiles, zrk::followedBy(&monitor)));
        });
        zrk::AtomicFile target = zrk::valueOrThrow(zrk::AtomicFile::create(file));
        std::optional<zrk::JoinedSurface> joined;
        runStage("joining", [&](zrk::ProgressMonitor& monitor) {
            joined.emplace(zrk::valueOrThrow(zrk::joinTiles(tiles, file, zrk::followedBy(&monitor))));
        });
        const zrk::MeshView view = joined->mesh.mesh();
        if (view.triangles.empty()) {
            throw zrk::FaultError({tiles.place, "no surface in any tile", "a surface in the bounds",
                                   kOtherBounds, zrk::FaultKind::FailedWork});
        }
        writeSpilled(std::move(target), format, joined->mesh,
                     {.mesh = nothing(),
                      .unit = tiles.unit,
                      .title = tiles.title,
                      .beams = joined->beams ? &*joined->beams : nullptr},
                     runStage);
        return WrittenSurface{view.triangles.size(), view.vertices.size()};
    });
}

std::string titleOf(const std::string& document)
{
    const std::string name = std::filesystem::path(document).filename().string();
    return name.substr(0, name.find(".zrk.json"));
}

} // namespace zrkmodel
