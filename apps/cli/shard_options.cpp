#include "apps/cli/shard_options.h"

#include "apps/cli/messages.h"
#include "core/values/fault.h"
#include "core/values/stop.h"
#include "formats/points.h"
#include "host/build_information.h"

#include <fmt/core.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <system_error>

namespace zrkcli {

namespace {

using Files = std::vector<std::filesystem::path>;

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

} // namespace

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

void writeTiles(const zrk::TileSet& tiles, const Shard& shard, bool quiet, const TileWriter& write)
{
    int written = 0;
    int there = 0;
    for (std::int64_t next = shard.number - 1; next < tiles.count(); next += shard.count) {
        const auto tile = static_cast<std::int32_t>(next);
        if (zrk::valueOrThrow(zrk::isTileWritten(tiles, tile))) {
            ++there;
            continue;
        }
        write(tile, fmt::format("tile {} of {}", tile + 1, tiles.count()));
        ++written;
    }
    if (!quiet) {
        tell("{}: shard {} of {}: {} of {} tiles written, {} were there\n", zrk::printable(tiles.index),
             shard.number, shard.count, written, tiles.count(), there);
    }
}

} // namespace zrkcli
