#pragma once

#include "core/engine/prepared_field.h"
#include "core/surface/surface.h"
#include "core/values/export.h"
#include "core/values/fault.h"
#include "core/values/interval.h"
#include "formats/part.h"
#include "formats/surface_tiles.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace zrk {
class ProgressMonitor;
}

namespace zrkmodel {

/// Does the stages of a long work one after the other: called with the title of each, and with what it does
/// under a monitor, which must be called once.
using StageRunner =
    std::function<void(const char* title, const std::function<void(zrk::ProgressMonitor&)>& stage)>;

/// A surface to be written, and what its file says beside the triangles.
struct SurfaceTask {
    zrk::PreparedField field;
    zrk::SurfaceSettings settings;
    std::string place;                        ///< of the output, for messages
    std::optional<zrk::PreparedField> colors; ///< of the vertices: colours, or values that are shown by such
    std::optional<zrk::PartBeams> beams;      ///< that the solid consists of
    std::optional<zrk::LengthUnit> unit;
    std::string title;
    /// Values at the ends of the colours; without it those of the vertices, for colours that are values.
    std::optional<zrk::Interval<double>> colorRange{};
    /// Told of that range; may be empty.
    std::function<void(const zrk::Interval<double>&)> tellRange{};
    std::string remedy{}; ///< where the bounds hold no surface; empty for that of the commands
};

/// Refuses what a format has no place for: colours, or an open surface.
ZRK_API zrk::Result<void> checkSurfaceFormat(const std::string& file, zrk::PartFormat format, bool hasColors,
                                             bool isOpen);

/// Extracts a surface as writeSurface() does and writes nothing: to report on it. Its stages are "estimating"
/// and "surface", its faults those of writeSurface().
ZRK_API zrk::Result<zrk::SurfaceMesh> makeSurface(const SurfaceTask& task, const StageRunner& runStage,
                                                  const std::function<void(const zrk::Fault&)>& warn = {});

/// Extracts a surface, writes it in the format of the file's name, and returns it. Its stages are
/// "estimating", "surface", "colours" where there are any, and "writing". After a fault a file that was there
/// stays as it was: BadInput for a name or a format that can't be used, FailedWork where there is no surface,
/// no memory or no way to write, Interrupted when a monitor stopped the work.
/// @param warn  told of values that are NaN; may be empty.
ZRK_API zrk::Result<zrk::SurfaceMesh> writeSurface(const std::string& file, const SurfaceTask& task,
                                                   const StageRunner& runStage,
                                                   const std::function<void(const zrk::Fault&)>& warn = {});

/// Whether a surface can be written without being held in memory: not where it is open, thinned or a level
/// set, all of which are made of the whole mesh.
ZRK_API bool isWrittenInPieces(const zrk::SurfaceSettings& settings, zrk::PartFormat format);

/// What became of a surface.
struct WrittenSurface {
    std::uint64_t triangles = 0;
    std::uint64_t vertices = 0;
    zrk::SurfaceWork work{};
};

/// Writes what writeSurface() does, the same bytes, without holding it: the mesh goes to files without names
/// beside the target first, which take 24 bytes a vertex and 12 a triangle. Refused, too, where the disk has
/// no room for both. Memory: what zrk::extractSurfacePieces() needs, and in 3MF 4 bytes for each vertex that
/// has a colour.
///
/// Precondition: isWrittenInPieces().
ZRK_API zrk::Result<WrittenSurface>
writeSurfaceInPieces(const std::string& file, const SurfaceTask& task, const StageRunner& runStage,
                     const std::function<void(const zrk::Fault&)>& warn = {});

/// Writes a tile of a surface, which joinSurface() joins. Its stages are those of writeSurface(). Refused
/// where the field's bounds are wrong in it, as only the whole can be found then.
///
/// Precondition: isWrittenInPieces().
ZRK_API zrk::Result<WrittenSurface> writeSurfaceTile(const zrk::SurfaceTiles& tiles, std::int32_t tile,
                                                     const SurfaceTask& task, const StageRunner& runStage,
                                                     const std::function<void(const zrk::Fault&)>& warn = {});

/// The tiles that a surface is divided into.
/// @param index   names them, see zrk::TileSet.
/// @param digest  of all that the surface comes from.
ZRK_API zrk::SurfaceTiles surfaceTiles(const std::string& index, const std::string& digest,
                                       const SurfaceTask& task);

/// Writes the surface of tiles, in the format of the file's name: the bytes that writeSurface() gives.
/// Refused where tiles aren't complete, as writeSurface() is where there is no surface, and for a level set.
/// Its stages are "checking", "joining" and "writing".
ZRK_API zrk::Result<WrittenSurface> joinSurface(const zrk::SurfaceTiles& tiles, const std::string& file,
                                                const StageRunner& runStage);

/// The name of a document's file without its endings.
ZRK_API std::string titleOf(const std::string& document);

} // namespace zrkmodel
