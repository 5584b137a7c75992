#pragma once

#include "core/engine/keep_going.h"
#include "core/surface/surface.h"
#include "core/values/export.h"
#include "core/values/fault.h"
#include "formats/part.h"
#include "formats/spilled_mesh.h"
#include "formats/tile_set.h"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

namespace zrk {

/// A surface in several files: slabs of its leaves across z, and no index. A tile holds the vertices and
/// triangles of its slab; corners are counted from its own first vertex, so those below 0 stand at the end of
/// the tile before.
struct ZRK_API SurfaceTiles final : TileSet {
    std::int32_t layers = 1; ///< of leaves, see SurfaceLayers
    bool hasColors = false;
    std::optional<LengthUnit> unit;
    std::string title;
    std::string place; ///< the output, for messages

    SurfaceTiles(std::string index, std::string digest) : TileSet(std::move(index), std::move(digest)) {}

    std::int32_t count() const override;
    const char* extension() const override { return ".zrk-tile"; }
    TileReport lookAt(std::int32_t tile) const override;

    SurfaceLayers layersOf(std::int32_t tile) const;

    /// The tiles of an index, by the head of the first that is there. Refused where there is none, and where
    /// it isn't a tile.
    static Result<SurfaceTiles> find(const std::string& index);
};

/// Writes a tile, its mesh finished: the corners' numbers are those of signed numbers with 32 bits.
/// @param beams  go with the first tile; may be null.
ZRK_API Result<void> writeTile(AtomicFile file, const SurfaceTiles& tiles, std::int32_t tile,
                               const SpilledMesh& mesh, const PartBeams* beams, ProgressMonitor* monitor);

/// What tiles hold together.
struct JoinedSurface {
    SpilledMesh mesh;
    std::optional<PartBeams> beams;
};

/// The mesh of tiles that are all complete: that of the surface which is extracted at once. Refuses more
/// vertices than 4294967295 (FailedWork).
/// @param target  what it is on its way into, see SpilledMesh.
ZRK_API Result<JoinedSurface> joinTiles(const SurfaceTiles& tiles, const std::string& target,
                                        const KeepGoing& keepGoing);

} // namespace zrk
