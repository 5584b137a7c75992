#pragma once

#include "core/engine/keep_going.h"
#include "core/values/export.h"
#include "core/values/fault.h"
#include "formats/digest.h"
#include "formats/input_file.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace zrk {

enum class TileState {
    Missing,
    Cut,     ///< its beginning alone
    Longer,  ///< with bytes behind its end
    Damaged, ///< with other bytes than were written, as its checksum tells
    Complete,
    Other,   ///< made from something else: another digest
    Foreign, ///< no tile
};

struct TileReport {
    TileState state;
    std::string digest{}; ///< that of another one
};

/// A large result in several files, its tiles, which can be written in any order and by several programs. The
/// same tiles come of every division of the work.
struct ZRK_API TileSet {
    std::string
        index; ///< what the set is named by; tiles lie beside it: part.pvti has part_0000.vti and so on
    std::string digest; ///< of what the tiles are made from

    virtual ~TileSet() = default;
    virtual std::int32_t count() const = 0;
    /// With its point, such as ".vti".
    virtual const char* extension() const = 0;
    /// What stands in the place of a tile. Reads all of it.
    virtual TileReport lookAt(std::int32_t tile) const = 0;

    std::string fileOf(std::int32_t tile) const;

protected:
    TileSet() = default;
    TileSet(std::string index, std::string digest) : index(std::move(index)), digest(std::move(digest)) {}
    TileSet(const TileSet&) = default;
    TileSet(TileSet&&) = default;
    TileSet& operator=(const TileSet&) = default;
    TileSet& operator=(TileSet&&) = default;
};

/// Refuses tiles that aren't all complete, with a list of what is wrong (FailedWork). Reads all of them.
ZRK_API Result<void> checkTiles(const TileSet& tiles, const KeepGoing& keepGoing);

/// What stands in the place of a tile that is to be written: Complete, then there is nothing to do, Missing,
/// or one of this work that isn't good and may be written over. Refuses anything else, with both digests
/// where it is a tile of other work (FailedWork).
ZRK_API Result<TileState> stateOfTile(const TileSet& tiles, std::int32_t tile);

/// A state in words, such as "cut short".
ZRK_API const char* wordsFor(TileState state);

/// The file of the first tile of a set that is there. Refused where there is none (FailedWork).
/// @param command  that writes such tiles, for the message.
Result<std::string> firstTileOf(const std::string& index, const char* extension, const char* command);

/// What the head of a tile says of the whole: lines "key: value" between two marks.
using TileHead = std::map<std::string, std::string>;
inline constexpr std::size_t kMostTileHead = 1 << 16;

/// The lines of a file's head after `mark`; empty where they aren't there.
TileHead tileHead(const std::string& path, const std::string& mark, const std::string& end);
/// What stands in a tile's file as far as its beginning tells; none where that is the expected one.
/// @param mark, end  around the lines of its head, which have the digest.
std::optional<TileReport> lookAtHead(const std::string& path, const std::string& expected,
                                     const std::string& mark, const std::string& end);
/// The end of a tile: a checksum (see digest.h) of all bytes before it stands between two texts.
struct TileEnd {
    std::string_view before;
    std::string_view after;

    std::size_t size() const { return before.size() + Digest::kDigits + after.size(); }
    std::string with(const Digest& checksum) const;
};

/// What a file whose head is good is by its end and its checksum.
/// @param place  where the end begins in a complete tile.
TileReport lookAtEnd(const std::string& path, std::uint64_t place, const TileEnd& end);
/// The first bytes of a file; none of what can't be read.
std::string beginningOf(const std::string& path, std::size_t most);
/// What is told of a tile that is shorter, when it is read, than when it was looked at.
Fault brokenOff(const std::string& path);
/// Reads exactly so many bytes of a tile.
Result<void> readWhole(InputFile& file, const std::string& path, void* bytes, std::size_t size);

/// @{ Any text as digits and letters, and back.
std::string hexOf(const std::string& text);
std::string fromHex(const std::string& hex);
/// @}

} // namespace zrk
