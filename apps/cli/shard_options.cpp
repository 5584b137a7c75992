#include "apps/cli/shard_options.h"

#include "apps/cli/messages.h"
#include "apps/cli/progress_bar.h"
#include "apps/cli/ranks.h"
#include "core/values/fault.h"
#include "core/values/stop.h"
#include "formats/points.h"
#include "host/build_information.h"

#include <fmt/core.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <fstream>
#include <system_error>

namespace zrkcli {

namespace {

using Files = std::vector<std::filesystem::path>;

/// One of several equal parts of the work on tiles.
struct Shard {
    std::int32_t number = 1; ///< from 1 on
    std::int32_t count = 1;

    /// Of the text after --shard, K/N. Throws FaultError for any other.
    static Shard parse(const std::string& text);
};

void addContent(zrk::Digest& digest, const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    std::vector<char> piece(1 << 20);
    do {
        zrk::stopIfAsked();
        file.read(piece.data(), static_cast<std::streamsize>(piece.size()));
        digest.add(piece.data(), static_cast<std::size_t>(file.gcount()));
    } while (file);
}

/// A file itself, or those of a folder in the order of their names.
Files filesAt(const std::filesystem::path& path)
{
    namespace fs = std::filesystem;
    std::error_code error;
    if (!fs::is_directory(path, error)) {
        return {path};
    }
    Files all;
    for (fs::directory_iterator entry(path, error), end; !error && entry != end; entry.increment(error)) {
        all.push_back(entry->path());
    }
    std::sort(all.begin(), all.end());
    return all;
}

Shard Shard::parse(const std::string& text)
{
    constexpr double kMost = 1000000;
    const std::size_t slash = text.find('/');
    const auto number = zrk::parseNumbers(text.substr(0, slash), 1);
    const auto count = zrk::parseNumbers(slash == std::string::npos ? "" : text.substr(slash + 1), 1);
    const auto isWhole = [](const auto& n, double most) {
        return n && (*n)[0] == std::floor((*n)[0]) && (*n)[0] >= 1 && (*n)[0] <= most;
    };
    if (!isWhole(count, kMost) || !isWhole(number, (*count)[0])) {
        throw zrk::FaultError({"--shard", zrk::quotation(text), "K/N, the K-th of N parts, K from 1 to N",
                               "write it as --shard 3/8"});
    }
    return {static_cast<std::int32_t>((*number)[0]), static_cast<std::int32_t>((*count)[0])};
}

/// Says how far the ranks of a run have come: on a terminal by a bar, else by a line now and then.
class RankProgress {
public:
    RankProgress(const zrk::TileSet& tiles, bool quiet) : _tiles(tiles), _quiet(quiet), _bar("tiles", quiet)
    {}

    void tell(std::int64_t done)
    {
        constexpr std::chrono::seconds kInterval{10};
        _bar.progress(static_cast<double>(done) / _tiles.count());
        const auto now = std::chrono::steady_clock::now();
        if (!_quiet && now - _told >= kInterval) {
            _told = now;
            zrkcli::tell("{}: {} of {} tiles\n", zrk::printable(_tiles.index), done, _tiles.count());
        }
    }

private:
    const zrk::TileSet& _tiles;
    bool _quiet;
    ProgressBar _bar;
    std::chrono::steady_clock::time_point _told = std::chrono::steady_clock::now();
};

} // namespace

void addShardOption(CLI::App& command, std::optional<std::string>& shard, const char* index)
{
    command.add_option("--shard", shard,
                       fmt::format("K/N: write the K-th of N parts of the tiles of -o {}, those that aren't "
                                   "there yet; `zrk join` puts them together",
                                   index));
}

void addWork(zrk::Digest& digest, const Job& job, const std::string& document, const Files& files)
{
    digest.add(fmt::format("zrk {}\n{}", zrkmodel::version(), job.document.toText()));
    for (const std::filesystem::path& path : files) {
        for (const std::filesystem::path& file : filesAt(path)) {
            std::error_code error;
            if (file != document && std::filesystem::is_regular_file(file, error)) {
                digest.add(fmt::format("\nfile of {}\n", std::filesystem::file_size(file, error)));
                addContent(digest, file);
            }
        }
    }
}

bool writesTiles(const std::optional<std::string>& shard) { return shard || ranksOfRun(); }

void checkTileNames(const std::optional<std::string>& shard, const std::string& file, const char* ending)
{
    const bool isIndex = file.ends_with(ending);
    if (shard && ranksOfRun()) {
        throw zrk::FaultError({"--shard", "it and --mpi", "one of them: ranks are handed tiles by themselves",
                               "leave --shard out"});
    }
    if (isIndex != writesTiles(shard)) {
        const char* option = ranksOfRun() ? "--mpi" : "--shard";
        throw zrk::FaultError(
            {"-o", zrk::quotation(file),
             isIndex ? "--shard with the name of tiles"
                     : fmt::format("the name of tiles, {}, with {}", ending, option),
             fmt::format("write --shard 1/1 -o part{0} for all tiles, then `zrk join part{0}`", ending)});
    }
    if (shard) {
        Shard::parse(*shard);
    }
}

bool writeTiles(const zrk::TileSet& tiles, const std::optional<std::string>& shardText, bool quiet,
                const TileWriter& write)
{
    const auto writeOne = [&](std::int64_t number, bool isQuiet) {
        const auto tile = static_cast<std::int32_t>(number);
        const zrk::TileState state = zrk::valueOrThrow(zrk::stateOfTile(tiles, tile));
        if (state == zrk::TileState::Complete) {
            return false;
        }
        if (state != zrk::TileState::Missing && !quiet) {
            tellOwnFault(MessageKind::Warning,
                         {tiles.fileOf(tile), fmt::format("a tile that is {}", zrk::wordsFor(state)),
                          "a complete one", "nothing is needed: it is written again"});
        }
        write(tile, fmt::format("tile {} of {}", tile + 1, tiles.count()), isQuiet);
        return true;
    };
    if (Ranks* ranks = ranksOfRun()) {
        noteSharedWork();
        RankProgress progress(tiles, quiet || isOtherRank());
        const std::int64_t written = ranks->handOut(
            tiles.count(), [&](std::int64_t tile) { return writeOne(tile, true); },
            [&](std::int64_t done) { progress.tell(done); });
        if (!quiet) {
            tell("{}: {} ranks: {} of {} tiles written, {} were there\n", zrk::printable(tiles.index),
                 ranks->count(), written, tiles.count(), tiles.count() - written);
        }
        return !isOtherRank();
    }
    const Shard shard = Shard::parse(*shardText);
    int written = 0;
    int there = 0;
    for (std::int64_t tile = shard.number - 1; tile < tiles.count(); tile += shard.count) {
        ++(writeOne(tile, quiet) ? written : there);
    }
    if (!quiet) {
        tell("{}: shard {} of {}: {} of {} tiles written, {} were there\n", zrk::printable(tiles.index),
             shard.number, shard.count, written, tiles.count(), there);
    }
    return false;
}

} // namespace zrkcli
