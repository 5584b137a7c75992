#pragma once

#include "core/values/export.h"
#include "core/values/fault.h"
#include "formats/volume.h"

#include <cstdint>
#include <string>
#include <vector>

namespace zrk {

/// A volume in several files, its tiles, which can be written in any order and by several programs: slabs
/// across z, each a VTI file, and an index (.pvti) that readers open. Tiles of one volume are the same for
/// every division of the work. Neighbours share a layer of nodes, as readers expect of pieces.
struct ZRK_API VolumeTiles {
    std::string index;  ///< name of the index; tiles lie beside it: part.pvti has part_0000.vti and so on
    Volume volume;      ///< the whole; its values aren't used
    std::string digest; ///< of what the values were made from

    std::int32_t count() const;
    /// @{ The layers of nodes of a tile, from 0 on.
    std::int32_t firstLayer(std::int32_t tile) const;
    std::int32_t lastLayer(std::int32_t tile) const;
    /// @}
    std::string fileOf(std::int32_t tile) const;
    /// What stands around a tile's values. The head holds the digest and all that the whole is known by.
    VolumeFrame frameOf(std::int32_t tile) const;
    std::uint64_t bytesOf(std::int32_t tile) const; ///< of its values

    /// The tiles of an index, by the head of the first that is there. Refused where there is none, and where
    /// it isn't a tile.
    static Result<VolumeTiles> find(const std::string& index);
};

enum class TileState {
    Missing,
    Cut,      ///< its beginning alone
    Complete, ///< its head, as many bytes as it must have, and its tail
    Other,    ///< made from something else: another digest
    Foreign,  ///< no tile
};

struct TileReport {
    TileState state;
    std::string digest{}; ///< that of another one
};

/// What stands in the place of a tile. Reads its head and tail.
ZRK_API TileReport lookAtTile(const VolumeTiles& tiles, std::int32_t tile);

/// Where a tile is written; refused as VolumeWriter::create is.
ZRK_API Result<VolumeWriter> createTile(const VolumeTiles& tiles, std::int32_t tile);

/// Refuses tiles that aren't all complete, with a list of what is wrong (FailedWork).
ZRK_API Result<void> checkTiles(const VolumeTiles& tiles);

/// Writes the index of tiles that are complete. An index that is there is replaced, another file isn't.
ZRK_API Result<void> writeIndex(const VolumeTiles& tiles);

/// Writes the values of all tiles as one volume, in the format of the file name; the same bytes as those of a
/// volume that was sampled at once.
ZRK_API Result<void> joinTiles(const VolumeTiles& tiles, const std::string& path, const KeepGoing& keepGoing);

} // namespace zrk
