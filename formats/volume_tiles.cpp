#include "formats/volume_tiles.h"

#include "formats/atomic_file.h"
#include "formats/points.h"
#include "formats/vti.h"
#include "formats/xml_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <utility>

namespace zrk {

namespace {

namespace fs = std::filesystem;

constexpr double kTileBytes = 8 << 20;
/// What neighbours share is computed twice: at most one layer in so many.
constexpr double kLeastLayers = 16;
constexpr double kMostSamples = 1e18; ///< of a whole; their bytes can be counted
constexpr const char* kTileMark = "<!-- zrk tile\n";
constexpr const char* kTileMarkEnd = "\n-->\n";
constexpr TileEnd kTileEnd{"\n  </AppendedData>\n<!-- zrk checksum: ", " -->\n</VTKFile>\n"};
constexpr std::string_view kIndexMark = "<!-- zrk index of tiles -->\n";

/// Layers of cells in a tile.
std::int32_t cellLayers(const Volume& volume)
{
    const double layer = static_cast<double>(volume.dims[0]) * volume.dims[1] * volume.components *
                         static_cast<double>(bytesOf(volume.type));
    return static_cast<std::int32_t>(std::clamp(kTileBytes / layer, kLeastLayers, 1e6));
}

const char* nameOf(NumberType type)
{
    constexpr const char* kNames[] = {"float64", "float32", "float16", "uint8"};
    return kNames[static_cast<std::size_t>(type)];
}

/// What the head of a tile tells, by which the whole is found again.
std::string commentOn(const VolumeTiles& tiles, std::int32_t tile)
{
    const Volume& v = tiles.volume;
    return std::string(kTileMark) +
           fmt::format("digest: {}\ntile: {} of {}\nnodes: {},{},{}\ncomponents: {}\ntype: {}\n",
                       tiles.digest, tile, tiles.count(), v.dims[0], v.dims[1], v.dims[2], v.components,
                       nameOf(v.type)) +
           fmt::format("lower: {},{},{}\nupper: {},{},{}\ndensity: {}\nunit: {}\nname: {}\n-->\n", v.lower[0],
                       v.lower[1], v.lower[2], v.upper[0], v.upper[1], v.upper[2], v.isDensity ? 1 : 0,
                       hexOf(v.unit), hexOf(v.name));
}

/// The whole that a tile belongs to; its index isn't known.
Result<VolumeTiles> wholeOf(const std::string& path)
{
    auto members = tileHead(path, kTileMark, kTileMarkEnd);
    const auto numbers = [&](const char* key, std::size_t count) {
        return parseNumbers(members[key], count).value_or(std::vector<double>{});
    };
    const auto nodes = numbers("nodes", 3);
    const auto lower = numbers("lower", 3);
    const auto upper = numbers("upper", 3);
    const auto components = numbers("components", 1);
    const auto type = numberType(members["type"]);
    const bool isGood =
        nodes.size() == 3 && lower.size() == 3 && upper.size() == 3 && components.size() == 1 && type &&
        std::all_of(nodes.begin(), nodes.end(), [](double n) { return n >= 2 && n < 2147483648.0; }) &&
        components[0] >= 1 && components[0] <= 4 &&
        nodes[0] * nodes[1] * nodes[2] * components[0] <= kMostSamples;
    if (!isGood) {
        return refused({path, "no tile of a volume", "a file that `zrk sample --shard` has written",
                        "move it away, or give the index another name"});
    }
    VolumeTiles tiles("", {}, members["digest"]);
    for (std::size_t i = 0; i < 3; ++i) {
        tiles.volume.dims[i] = static_cast<std::int32_t>(nodes[i]);
        tiles.volume.lower[i] = lower[i];
        tiles.volume.upper[i] = upper[i];
    }
    tiles.volume.components = static_cast<int>(components[0]);
    tiles.volume.type = *type;
    tiles.volume.isDensity = members["density"] == "1";
    tiles.volume.unit = fromHex(members["unit"]);
    tiles.volume.name = fromHex(members["name"]);
    return tiles;
}

} // namespace

std::int32_t VolumeTiles::count() const
{
    const std::int32_t cells = volume.dims[2] - 1;
    const std::int32_t layers = cellLayers(volume);
    return (cells - 1) / layers + 1;
}

std::int32_t VolumeTiles::firstLayer(std::int32_t tile) const { return tile * cellLayers(volume); }

std::int32_t VolumeTiles::lastLayer(std::int32_t tile) const
{
    return static_cast<std::int32_t>(
        std::min<std::int64_t>((std::int64_t{tile} + 1) * cellLayers(volume), volume.dims[2] - 1));
}

VolumeFrame VolumeTiles::frameOf(std::int32_t tile) const
{
    VolumeFrame frame = vtiFrame(volume, firstLayer(tile), lastLayer(tile), commentOn(*this, tile));
    frame.tail = kTileEnd.before;
    frame.end = kTileEnd.after;
    return frame;
}

std::uint64_t VolumeTiles::bytesOf(std::int32_t tile) const
{
    Volume slab = volume;
    slab.dims[2] = lastLayer(tile) - firstLayer(tile) + 1;
    return slab.bytesInFile();
}

Result<VolumeTiles> VolumeTiles::find(const std::string& index)
{
    return firstTileOf(index, ".vti", "zrk sample").and_then(wholeOf).map([&](VolumeTiles tiles) {
        tiles.index = index;
        return tiles;
    });
}

TileReport VolumeTiles::lookAt(std::int32_t tile) const
{
    const std::string path = fileOf(tile);
    const VolumeFrame frame = frameOf(tile);
    // The length of the values stands at the end of the head, and isn't text.
    const auto other = lookAtHead(path, frame.head, kTileMark, kTileMarkEnd);
    return other ? *other : lookAtEnd(path, frame.head.size() + bytesOf(tile), kTileEnd);
}

Result<VolumeWriter> createTile(const VolumeTiles& tiles, std::int32_t tile)
{
    return VolumeWriter::create(tiles.fileOf(tile), static_cast<double>(tiles.bytesOf(tile)),
                                tiles.volume.type, tiles.frameOf(tile));
}

Result<void> writeIndex(const VolumeTiles& tiles)
{
    std::error_code error;
    if (fs::exists(tiles.index, error) &&
        beginningOf(tiles.index, 1024).find(kIndexMark) == std::string::npos) {
        return refused({tiles.index, "a file that is no index of tiles", "an index, or no file",
                        "move it away", FaultKind::FailedWork});
    }
    const Volume& v = tiles.volume;
    const auto extent = [&](std::int32_t from, std::int32_t to) {
        return fmt::format("0 {} 0 {} {} {}", v.dims[0] - 1, v.dims[1] - 1, from, to);
    };
    const VtiNames names = vtiNames(v);
    std::string text = "<?xml version=\"1.0\"?>\n" + std::string(kIndexMark) +
                       "<VTKFile type=\"PImageData\" version=\"1.0\" byte_order=\"LittleEndian\" "
                       "header_type=\"UInt64\">\n";
    text += fmt::format(
        "  <PImageData WholeExtent=\"{}\" GhostLevel=\"0\" Origin=\"{} {} {}\" Spacing=\"{} {} {}\">\n",
        extent(0, v.dims[2] - 1), v.lower[0], v.lower[1], v.lower[2], v.spacing(0), v.spacing(1),
        v.spacing(2));
    text += fmt::format("    <PPointData {}=\"{}\">\n      <PDataArray type=\"{}\" Name=\"{}\" "
                        "NumberOfComponents=\"{}\"/>\n    </PPointData>\n",
                        names.role, names.name, names.type, names.name, v.components);
    for (std::int32_t tile = 0; tile < tiles.count(); ++tile) {
        text += fmt::format("    <Piece Extent=\"{}\" Source=\"{}\"/>\n",
                            extent(tiles.firstLayer(tile), tiles.lastLayer(tile)),
                            xmlText(fs::path(tiles.fileOf(tile)).filename().string()));
    }
    text += "  </PImageData>\n</VTKFile>\n";
    return writeFile(tiles.index, text);
}

Result<void> joinTiles(const VolumeTiles& tiles, const std::string& path, const KeepGoing& keepGoing)
{
    return VolumeWriter::create(path, tiles.volume).and_then([&](VolumeWriter writer) -> Result<void> {
        Volume layer = tiles.volume;
        layer.dims[2] = 1;
        std::vector<char> piece(1 << 20);
        for (std::int32_t tile = 0; tile < tiles.count(); ++tile) {
            Result<InputFile> file = InputFile::open(tiles.fileOf(tile));
            if (!file) {
                return refused(file.error());
            }
            // The first layer is the last one of the tile before.
            std::uint64_t skipped = tiles.frameOf(tile).head.size() + (tile > 0 ? layer.bytesInFile() : 0);
            std::uint64_t left = tiles.frameOf(tile).head.size() + tiles.bytesOf(tile);
            while (left > 0) {
                if (keepGoing && !keepGoing(static_cast<double>(tile) / tiles.count())) {
                    return refused(interruptedAt(path));
                }
                const std::uint64_t size =
                    std::min<std::uint64_t>(skipped > 0 ? skipped : left, piece.size());
                if (Result<void> read = readWhole(*file, tiles.fileOf(tile), piece.data(), size); !read) {
                    return read;
                }
                left -= size;
                if (skipped > 0) {
                    skipped -= size;
                    continue;
                }
                if (!writer.writeEncoded(piece.data(), size)) {
                    return writer.commit(); // tells why
                }
            }
        }
        return writer.commit();
    });
}

} // namespace zrk
