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

/// What the names of the tiles of a surface end in, as told after -o.
inline constexpr const char* kSurfaceIndex = ".zrk-tiles";

/// One of several equal parts of the work on tiles.
struct Shard {
    std::int32_t number = 1; ///< from 1 on
    std::int32_t count = 1;

    /// Of the text after --shard, K/N. Throws FaultError for any other.
    static Shard parse(const std::string& text);
};

/// Adds --shard to a command.
/// @param index  what a name after -o must be, such as "NAME.pvti".
void addShardOption(CLI::App& command, std::optional<std::string>& shard, const char* index);

/// Digests what all tiles of a document's result come from: the program, the document as it is after --set,
/// and what stands in the files that it names. Where the document lies makes no difference.
void addWork(zrk::Digest& digest, const Job& job, const std::string& document,
             const std::vector<std::filesystem::path>& files);

/// Writes one tile of a set; the text tells which it is.
using TileWriter = std::function<void(std::int32_t tile, const std::string& title)>;

/// Writes the tiles of a shard that aren't there yet, one after the other, and tells how many. Throws
/// FaultError where something else stands in the place of one.
void writeTiles(const zrk::TileSet& tiles, const Shard& shard, bool quiet, const TileWriter& write);

} // namespace zrkcli
