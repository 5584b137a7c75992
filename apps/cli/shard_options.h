#pragma once

#include "apps/cli/options.h"
#include "formats/digest.h"
#include "formats/tile_set.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace zrkcli {

/// How the name after -o ends that stands for the tiles of a surface.
inline constexpr const char* kSurfaceIndex = ".zrk-tiles";

/// Adds --shard to a command.
/// @param index  what a name after -o must be, such as "NAME.pvti".
void addShardOption(CLI::App& command, std::optional<std::string>& shard, const char* index);

/// Whether tiles are written: one shard of them, or all of them by the ranks of a run.
bool writesTiles(const std::optional<std::string>& shard);
/// Throws FaultError where a file's name isn't that of tiles though they are written, or the other way round,
/// and for a shard that isn't one.
/// @param ending  of names of tiles.
void checkTileNames(const std::optional<std::string>& shard, const std::string& file, const char* ending);

/// Digests what all tiles of a document's result come from: the program, the document as it is after --set,
/// and what stands in the files that it names. Where the document lies makes no difference.
void addWork(zrk::Digest& digest, const Job& job, const std::string& document,
             const std::vector<std::filesystem::path>& files);

/// Writes one tile of a set; the title tells which it is. Quiet where something else tells of the progress.
using TileWriter = std::function<void(std::int32_t tile, const std::string& title, bool quiet)>;

/// Writes the tiles of a shard that aren't there yet, one after the other, or those that this rank of a run
/// is given, and tells how many. Throws FaultError where something else stands in the place of one. Returns
/// whether all tiles are there now and this process is the one to say so.
bool writeTiles(const zrk::TileSet& tiles, const std::optional<std::string>& shard, bool quiet,
                const TileWriter& write);

} // namespace zrkcli
