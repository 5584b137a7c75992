#pragma once

#include "core/values/export.h"
#include "core/values/fault.h"
#include "formats/tile_set.h"
#include "formats/volume.h"

#include <cstdint>
#include <string>
#include <utility>

namespace zrk {

/// A volume in several files: slabs across z, each a VTI file, and an index (.pvti) that readers open.
/// Neighbours share a layer of nodes, as readers expect of pieces.
struct ZRK_API VolumeTiles final : TileSet {
    Volume volume; ///< the whole; its values aren't used

    VolumeTiles(std::string index, Volume volume, std::string digest)
        : TileSet(std::move(index), std::move(digest)), volume(std::move(volume))
    {}

    std::int32_t count() const override;
    const char* extension() const override { return ".vti"; }
    TileReport lookAt(std::int32_t tile) const override;

    /// @{ The layers of nodes of a tile, from 0 on.
    std::int32_t firstLayer(std::int32_t tile) const;
    std::int32_t lastLayer(std::int32_t tile) const;
    /// @}
    /// What stands around a tile's values. The head holds the digest and all that the whole is known by.
    VolumeFrame frameOf(std::int32_t tile) const;
    std::uint64_t bytesOf(std::int32_t tile) const; ///< of its values

    /// The tiles of an index, by the head of the first that is there. Refused where there is none, and where
    /// it isn't a tile.
    static Result<VolumeTiles> find(const std::string& index);
};

/// Where a tile is written; refused as VolumeWriter::create is.
ZRK_API Result<VolumeWriter> createTile(const VolumeTiles& tiles, std::int32_t tile);

/// Writes the index of tiles that are complete. An index that is there is replaced, another file isn't.
ZRK_API Result<void> writeIndex(const VolumeTiles& tiles);

/// Writes the values of all tiles as one volume, in the format of the file name; the same bytes as those of a
/// volume that was sampled at once.
ZRK_API Result<void> joinTiles(const VolumeTiles& tiles, const std::string& path, const KeepGoing& keepGoing);

} // namespace zrk
