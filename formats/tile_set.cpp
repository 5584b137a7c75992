#include "formats/tile_set.h"

#include "core/values/stop.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <sstream>
#include <system_error>

namespace zrk {

namespace {

namespace fs = std::filesystem;

std::string foundIn(const TileReport& report, const TileSet& tiles)
{
    return report.state != TileState::Other ? "a file that is no tile"
           : report.digest == tiles.digest  ? "another tile of this work"
                                            : fmt::format("a tile of other work, with the digest {}",
                                                          printable(report.digest, kMaxQuotation + 4));
}

} // namespace

std::string TileSet::fileOf(std::int32_t tile) const
{
    const fs::path path(index);
    return (path.parent_path() / fmt::format("{}_{:04}{}", path.stem().string(), tile, extension())).string();
}

const char* wordsFor(TileState state)
{
    switch (state) {
    case TileState::Missing:
        return "missing";
    case TileState::Cut:
        return "cut short";
    case TileState::Longer:
        return "with bytes behind its end";
    case TileState::Damaged:
        return "damaged (its checksum is another one)";
    case TileState::Complete:
        return "complete";
    case TileState::Other:
        return "of other work";
    case TileState::Foreign:
        break;
    }
    return "no tile";
}

Result<void> checkTiles(const TileSet& tiles, const KeepGoing& keepGoing)
{
    constexpr int kMostTold = 20;
    std::string wrong;
    int count = 0;
    for (std::int32_t tile = 0; tile < tiles.count(); ++tile) {
        if (!goesOn(keepGoing, static_cast<double>(tile) / tiles.count())) {
            return refused(interruptedAt(tiles.index));
        }
        const TileReport report = tiles.lookAt(tile);
        if (report.state == TileState::Complete) {
            continue;
        }
        const std::string what = report.state != TileState::Other ? wordsFor(report.state)
                                 : report.digest == tiles.digest
                                     ? "under the name of another one"
                                     : fmt::format("of other work (digest {}, not {})",
                                                   printable(report.digest, 64), tiles.digest);
        if (++count <= kMostTold) {
            wrong += fmt::format("{}tile {} {}", wrong.empty() ? "" : ", ", tile, what);
        }
    }
    if (count == 0) {
        return {};
    }
    wrong += count > kMostTold ? fmt::format(" and {} more", count - kMostTold) : "";
    return refused({tiles.index, wrong, fmt::format("all {} tiles complete", tiles.count()),
                    "run the shards again that have these tiles: what is complete isn't computed again; tile "
                    "T is in shard "
                    "T modulo N plus 1 of N",
                    FaultKind::FailedWork});
}

Result<TileState> stateOfTile(const TileSet& tiles, std::int32_t tile)
{
    const TileReport report = tiles.lookAt(tile);
    if (report.state == TileState::Other || report.state == TileState::Foreign) {
        return refused({tiles.fileOf(tile), foundIn(report, tiles),
                        fmt::format("a tile with the digest {}, or no file", tiles.digest),
                        "give another name after -o, or remove what isn't needed any more",
                        FaultKind::FailedWork});
    }
    return report.state;
}

Result<std::string> firstTileOf(const std::string& index, const char* extension, const char* command)
{
    const fs::path path(index);
    const std::string stem = path.stem().string() + "_";
    const std::string ending = extension;
    const fs::path folder = path.parent_path().empty() ? fs::path(".") : path.parent_path();
    std::error_code error;
    std::string first;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
        const std::string name = entry->path().filename().string();
        const bool isTile = name.size() >= stem.size() + 4 + ending.size() && name.starts_with(stem) &&
                            name.ends_with(ending) &&
                            name.find_first_not_of("0123456789", stem.size()) == name.size() - ending.size();
        if (isTile && (first.empty() || name < first)) {
            first = name;
        }
    }
    if (first.empty()) {
        return refused({index, "no tiles beside it", fmt::format("files such as {}0000{}", stem, ending),
                        fmt::format("write them with `{} --shard`", command), FaultKind::FailedWork});
    }
    return (path.parent_path() / first).string();
}

std::string beginningOf(const std::string& path, std::size_t most)
{
    std::string text(most, '\0');
    const Result<std::size_t> read =
        InputFile::open(path).and_then([&](InputFile file) { return file.read(text.data(), most); });
    text.resize(read.value_or(0));
    return text;
}

Fault brokenOff(const std::string& path)
{
    return {path, "an end before its time", "the whole tile", "run its shard again", FaultKind::FailedWork};
}

Result<void> readWhole(InputFile& file, const std::string& path, void* bytes, std::size_t size)
{
    return file.read(bytes, size).and_then([&](std::size_t count) -> Result<void> {
        return count == size ? Result<void>() : refused(brokenOff(path));
    });
}

TileHead tileHead(const std::string& path, const std::string& mark, const std::string& endMark)
{
    const std::string head = beginningOf(path, kMostTileHead);
    TileHead members;
    const std::size_t begin = head.find(mark);
    const std::size_t end = begin == std::string::npos ? begin : head.find(endMark, begin);
    if (end == std::string::npos) {
        return members;
    }
    std::istringstream lines(head.substr(begin + mark.size(), end + 1 - begin - mark.size()));
    for (std::string line; std::getline(lines, line);) {
        const std::size_t colon = line.find(": ");
        if (colon != std::string::npos) {
            members[line.substr(0, colon)] = line.substr(colon + 2);
        }
    }
    return members;
}

std::optional<TileReport> lookAtHead(const std::string& path, const std::string& expected,
                                     const std::string& mark, const std::string& end)
{
    std::error_code error;
    if (!fs::exists(fs::symlink_status(path, error))) {
        return TileReport{TileState::Missing};
    }
    if (!fs::is_regular_file(path, error)) {
        return TileReport{TileState::Foreign};
    }
    const std::string beginning = beginningOf(path, expected.size());
    if (beginning == expected) {
        return std::nullopt;
    }
    if (beginning.size() < expected.size() && expected.starts_with(beginning)) {
        return TileReport{TileState::Cut};
    }
    TileHead head = tileHead(path, mark, end);
    const auto hasMember = [&](const char* key) {
        return expected.find(fmt::format("{}: {}\n", key, head[key])) != std::string::npos;
    };
    // Other bytes in the head of this very tile.
    if (hasMember("digest") && hasMember("tile")) {
        return TileReport{TileState::Damaged};
    }
    return head["digest"].empty() ? TileReport{TileState::Foreign}
                                  : TileReport{TileState::Other, head["digest"]};
}

std::string TileEnd::with(const Digest& checksum) const
{
    return std::string(before) + checksum.hex() + std::string(after);
}

TileReport lookAtEnd(const std::string& path, std::uint64_t place, const TileEnd& end)
{
    constexpr std::size_t kPieceBytes = 1 << 20;
    std::error_code isMissing;
    const std::uint64_t size = fs::file_size(path, isMissing);
    if (isMissing || size < place + end.size()) {
        return {TileState::Cut};
    }
    if (size > place + end.size()) {
        return {TileState::Longer};
    }
    Result<InputFile> file = InputFile::open(path);
    Digest checksum;
    std::string piece;
    bool isRead = file.has_value();
    for (std::uint64_t left = place; isRead && left > 0; left -= piece.size()) {
        stopIfAsked();
        piece.resize(static_cast<std::size_t>(std::min<std::uint64_t>(left, kPieceBytes)));
        isRead = readWhole(*file, path, piece.data(), piece.size()).has_value();
        checksum.add(piece);
    }
    std::string found(end.size(), '\0');
    isRead = isRead && readWhole(*file, path, found.data(), found.size()).has_value();
    return {isRead && found == end.with(checksum) ? TileState::Complete : TileState::Damaged};
}

std::string hexOf(const std::string& text)
{
    std::string hex;
    for (const char c : text) {
        hex += fmt::format("{:02x}", static_cast<unsigned char>(c));
    }
    return hex;
}

std::string fromHex(const std::string& hex)
{
    std::string text;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
        unsigned value = 0;
        std::from_chars(hex.data() + i, hex.data() + i + 2, value, 16);
        text += static_cast<char>(value);
    }
    return text;
}

} // namespace zrk
