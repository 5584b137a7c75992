#include "formats/surface_tiles.h"

#include "formats/input_file.h"
#include "formats/piece_writer.h"
#include "formats/points.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <limits>
#include <system_error>
#include <vector>

namespace zrk {

namespace {

namespace fs = std::filesystem;

using VertexNumbers = std::array<std::uint32_t, 3>;

/// Two layers beneath a tile are built for it once more: one leaf in eight, where there are so many.
constexpr std::int32_t kLayersOfTile = 16;
constexpr const char* kSurfaceMark = "zrk tile of a surface\n";
constexpr const char* kSurfaceMarkEnd = "\n---\n";
constexpr TileEnd kSurfaceEnd{"checksum: ", "\nend of tile\n"};
constexpr std::size_t kValuesAtOnce = 1 << 15;

/// How much a tile holds.
struct TileCounts {
    std::uint64_t vertices = 0;
    std::uint64_t triangles = 0;
    std::uint64_t beamNodes = 0;
    std::uint64_t beams = 0;

    std::uint64_t bytes(bool hasColors) const
    {
        return vertices * (sizeof(Tensor<3, double>) + (hasColors ? sizeof(VertexColor) : 0)) +
               triangles * sizeof(VertexNumbers) + beamBytes();
    }
    std::uint64_t beamBytes() const
    {
        return beams == 0 ? 0
                          : sizeof(double) + beamNodes * sizeof(Tensor<3, double>) +
                                beams * sizeof(std::array<std::uint32_t, 2>);
    }
};

/// What the head says before the counts: the same whenever the tile is made.
std::string headOf(const SurfaceTiles& tiles, std::int32_t tile)
{
    return kSurfaceMark + fmt::format("digest: {}\ntile: {} of {}\nlayers: {}\ncolors: {}\nunit: {}\n"
                                      "title: {}\nplace: {}\n",
                                      tiles.digest, tile, tiles.count(), tiles.layers,
                                      tiles.hasColors ? 1 : 0, tiles.unit ? nameOf(*tiles.unit) : "",
                                      hexOf(tiles.title), hexOf(tiles.place));
}

std::string countsIn(const TileCounts& counts)
{
    return fmt::format("vertices: {}\ntriangles: {}\nbeamNodes: {}\nbeams: {}", counts.vertices,
                       counts.triangles, counts.beamNodes, counts.beams) +
           kSurfaceMarkEnd;
}

/// A whole number of a head; nothing where it isn't one.
std::optional<std::uint64_t> countIn(const TileHead& head, const char* key)
{
    constexpr double kMost = 9007199254740992.0;
    const auto member = head.find(key);
    const auto n = member == head.end() ? std::nullopt : parseNumbers(member->second, 1);
    return n && (*n)[0] >= 0 && (*n)[0] < kMost ? std::optional(static_cast<std::uint64_t>((*n)[0]))
                                                : std::nullopt;
}

std::optional<TileCounts> countsOf(const TileHead& head)
{
    const auto vertices = countIn(head, "vertices");
    const auto triangles = countIn(head, "triangles");
    const auto beamNodes = countIn(head, "beamNodes");
    const auto beams = countIn(head, "beams");
    return vertices && triangles && beamNodes && beams
               ? std::optional(TileCounts{*vertices, *triangles, *beamNodes, *beams})
               : std::nullopt;
}

/// The whole that a tile belongs to; its index isn't known.
Result<SurfaceTiles> surfaceOf(const std::string& path)
{
    TileHead head = tileHead(path, kSurfaceMark, kSurfaceMarkEnd);
    const auto layers = countIn(head, "layers");
    const std::string unit = head["unit"];
    if (!layers || *layers < 1 || *layers > std::numeric_limits<std::int32_t>::max()) {
        return refused({path, "no tile of a surface", "a file that `zrk surface --shard` has written",
                        "move it away, or give the index another name"});
    }
    SurfaceTiles tiles("", head["digest"]);
    tiles.layers = static_cast<std::int32_t>(*layers);
    tiles.hasColors = head["colors"] == "1";
    if (!unit.empty()) {
        const Result<LengthUnit> named = lengthUnit(path, unit);
        if (!named) {
            return refused(named.error());
        }
        tiles.unit = *named;
    }
    tiles.title = fromHex(head["title"]);
    tiles.place = fromHex(head["place"]);
    return tiles;
}

/// Reads what tiles hold, front to back.
class TileFile {
public:
    static Result<TileFile> open(const SurfaceTiles& tiles, std::int32_t tile)
    {
        const std::string path = tiles.fileOf(tile);
        const TileCounts counts =
            countsOf(tileHead(path, kSurfaceMark, kSurfaceMarkEnd)).value_or(TileCounts{});
        const std::string expected = headOf(tiles, tile) + countsIn(counts);
        return InputFile::open(path).and_then([&](InputFile file) -> Result<TileFile> {
            std::string head(expected.size(), '\0');
            const Result<void> read = readWhole(file, path, head.data(), head.size());
            if (!read || head != expected) {
                return read ? refused(brokenOff(path)) : refused(read.error());
            }
            return TileFile(path, counts, std::move(file));
        });
    }

    const TileCounts& counts() const { return _counts; }

    template <class T>
    Result<void> read(T* values, std::size_t count)
    {
        return readWhole(_file, _path, values, count * sizeof(T));
    }

    Fault wrongNumbers() const
    {
        return {_path, "numbers that no surface has", "a tile that `zrk surface --shard` has written",
                "run its shard again", FaultKind::FailedWork};
    }

    /// Hands over so many values, some at a time; hand(values) is false when they can't be taken.
    template <class T, class Hand>
    Result<void> pass(std::uint64_t count, const Hand& hand)
    {
        std::vector<T> values;
        for (std::uint64_t left = count; left > 0; left -= values.size()) {
            values.resize(static_cast<std::size_t>(std::min<std::uint64_t>(left, kValuesAtOnce)));
            if (const Result<void> done = read(values.data(), values.size()); !done) {
                return done;
            }
            if (!hand(std::span<T>(values))) {
                return {};
            }
        }
        return {};
    }

private:
    TileFile(std::string path, const TileCounts& counts, InputFile file)
        : _path(std::move(path)), _counts(counts), _file(std::move(file))
    {}

    std::string _path;
    TileCounts _counts;
    InputFile _file;
};

bool isPosition(const Tensor<3, double>& p)
{
    return std::isfinite(p[0]) && std::isfinite(p[1]) && std::isfinite(p[2]);
}

/// A checksum tells accidents, not what somebody else has made.
bool areGood(const PartBeams& beams)
{
    return std::isfinite(beams.radius) && std::all_of(beams.nodes.begin(), beams.nodes.end(), isPosition) &&
           std::all_of(beams.beams.begin(), beams.beams.end(), [&](const auto& ends) {
               return ends[0] < beams.nodes.size() && ends[1] < beams.nodes.size();
           });
}

Result<void> readBeams(TileFile& file, std::optional<PartBeams>& beams)
{
    const TileCounts& counts = file.counts();
    if (counts.beams == 0) {
        return {};
    }
    beams.emplace();
    beams->nodes.resize(counts.beamNodes);
    beams->beams.resize(counts.beams);
    return file.read(&beams->radius, 1)
        .and_then([&] { return file.read(beams->nodes.data(), beams->nodes.size()); })
        .and_then([&] { return file.read(beams->beams.data(), beams->beams.size()); })
        .and_then([&] { return areGood(*beams) ? Result<void>() : refused(file.wrongNumbers()); });
}

} // namespace

std::int32_t SurfaceTiles::count() const { return (layers - 1) / kLayersOfTile + 1; }

SurfaceLayers SurfaceTiles::layersOf(std::int32_t tile) const
{
    return {tile * kLayersOfTile, std::min((tile + 1) * kLayersOfTile, layers)};
}

TileReport SurfaceTiles::lookAt(std::int32_t tile) const
{
    const std::string path = fileOf(tile);
    const std::string head = headOf(*this, tile);
    if (const auto other = lookAtHead(path, head, kSurfaceMark, kSurfaceMarkEnd)) {
        return *other;
    }
    const auto counts = countsOf(tileHead(path, kSurfaceMark, kSurfaceMarkEnd));
    return counts ? lookAtEnd(path, head.size() + countsIn(*counts).size() + counts->bytes(hasColors),
                              kSurfaceEnd)
                  : TileReport{TileState::Cut};
}

Result<SurfaceTiles> SurfaceTiles::find(const std::string& index)
{
    return firstTileOf(index, ".zrk-tile", "zrk surface").and_then(surfaceOf).map([&](SurfaceTiles tiles) {
        tiles.index = index;
        return tiles;
    });
}

Result<void> writeTile(AtomicFile file, const SurfaceTiles& tiles, std::int32_t tile, const SpilledMesh& mesh,
                       const PartBeams* beams, ProgressMonitor* monitor)
{
    const MeshView view = mesh.mesh();
    TileCounts counts{view.vertices.size(), view.triangles.size()};
    if (beams) {
        counts.beamNodes = beams->nodes.size();
        counts.beams = beams->beams.size();
    }
    Digest checksum;
    const auto sink = [&](const void* bytes, std::size_t size) {
        checksum.add(bytes, size);
        return file.write(bytes, size);
    };
    PieceWriter out(sink, monitor, counts.vertices + counts.triangles);
    const std::string head = headOf(tiles, tile) + countsIn(counts);
    out.append(head.data(), head.size());
    bool goesOn = true;
    for (std::size_t i = 0; goesOn && i < view.vertices.size(); ++i) {
        out.append(&view.vertices[i], sizeof view.vertices[i]);
        goesOn = out.step();
    }
    for (std::size_t i = 0; goesOn && i < view.triangles.size(); ++i) {
        out.appendValue(view.triangles[i]);
        goesOn = out.step();
    }
    if (goesOn) {
        out.append(mesh.colors().data(), mesh.colors().size_bytes());
    }
    if (goesOn && counts.beams > 0) {
        out.appendValue(beams->radius);
        out.append(beams->nodes.data(), beams->nodes.size() * sizeof beams->nodes[0]);
        out.append(beams->beams.data(), beams->beams.size() * sizeof beams->beams[0]);
    }
    return out.finish().and_then([&] {
        const std::string end = kSurfaceEnd.with(checksum);
        file.write(end.data(), end.size());
        return file.commit();
    });
}

Result<JoinedSurface> joinTiles(const SurfaceTiles& tiles, const std::string& target,
                                const KeepGoing& keepGoing)
{
    return SpilledMesh::create(target).and_then([&](SpilledMesh mesh) -> Result<JoinedSurface> {
        std::optional<PartBeams> beams;
        bool isStopped = false;
        bool hasWrongNumbers = false;
        for (std::int32_t tile = 0; tile < tiles.count(); ++tile) {
            Result<TileFile> opened = TileFile::open(tiles, tile);
            if (!opened) {
                return refused(opened.error());
            }
            TileFile& file = *opened;
            const std::uint64_t first = mesh.vertexCount();
            const std::uint64_t vertices = first + file.counts().vertices;
            if (vertices > std::numeric_limits<std::uint32_t>::max()) {
                return refused({tiles.index, fmt::format("{} vertices until tile {}", vertices, tile),
                                "at most 4294967295", "ask for fewer cells or smaller bounds",
                                FaultKind::FailedWork});
            }
            const auto asked = [&](bool isTaken) {
                isStopped = isTaken && !goesOn(keepGoing, static_cast<double>(tile) / tiles.count());
                return isTaken && !isStopped;
            };
            const auto take = [&]<class T>(std::span<T> values) {
                return asked(mesh.add(std::span<const T>(values)));
            };
            const auto takeVertices = [&](std::span<Tensor<3, double>> positions) {
                hasWrongNumbers = !std::all_of(positions.begin(), positions.end(), isPosition);
                return !hasWrongNumbers && take(positions);
            };
            const auto takeShifted = [&](std::span<VertexNumbers> triangles) {
                for (VertexNumbers& corners : triangles) {
                    for (std::uint32_t& corner : corners) {
                        corner += static_cast<std::uint32_t>(first); // also of numbers below 0
                        hasWrongNumbers |= corner >= vertices;
                    }
                }
                return !hasWrongNumbers && take(triangles);
            };
            const TileCounts& counts = file.counts();
            const Result<void> taken =
                file.pass<Tensor<3, double>>(counts.vertices, takeVertices)
                    .and_then([&] { return file.pass<VertexNumbers>(counts.triangles, takeShifted); })
                    .and_then(
                        [&] { return file.pass<VertexColor>(tiles.hasColors ? counts.vertices : 0, take); })
                    .and_then([&] { return readBeams(file, beams); });
            if (!taken || isStopped || hasWrongNumbers) {
                return refused(isStopped         ? interruptedAt(target)
                               : hasWrongNumbers ? file.wrongNumbers()
                                                 : taken.error());
            }
        }
        const Result<void> finished = mesh.finish().and_then([&] { return mesh.finishColors(); });
        if (!finished) {
            return refused(finished.error());
        }
        return JoinedSurface{std::move(mesh), std::move(beams)};
    });
}

} // namespace zrk
