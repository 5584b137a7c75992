#include "apps/cli/commands.h"
#include "apps/cli/messages.h"
#include "apps/cli/options.h"
#include "apps/cli/progress_bar.h"
#include "core/values/stop.h"
#include "formats/points.h"
#include "formats/sha256.h"
#include "formats/vdb.h"
#include "formats/volume.h"
#include "formats/volume_tiles.h"
#include "host/build_information.h"
#include "host/field_grid.h"
#include "host/field_remarks.h"
#include "host/field_volume.h"
#include "host/volume_file.h"

#include <fmt/core.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <limits>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <system_error>
#include <vector>

namespace zrkcli {

namespace {

constexpr int kDefaultResolution = 64;

struct SampleOptions : SamplingOptions {
    std::string file;
    int resolution = 0;
    std::optional<std::string> dims;
    std::optional<std::string> bounds;
    std::string type = "float64";
    std::optional<std::string> shard;
};

using Files = std::vector<std::filesystem::path>;

std::array<std::int32_t, 3> parseDims(const std::string& text)
{
    const auto n = zrk::parseNumbers(text, 3);
    constexpr double kMost = std::numeric_limits<std::int32_t>::max();
    std::array<std::int32_t, 3> dims{};
    for (std::size_t i = 0; i < 3; ++i) {
        if (!n || (*n)[i] != std::floor((*n)[i]) || (*n)[i] < 2 || (*n)[i] > kMost) {
            throw zrk::FaultError({"--dims", zrk::quotation(text),
                                   fmt::format("three whole numbers from 2 to {}", kMost),
                                   "write the node counts as NX,NY,NZ, e.g. --dims 64,64,32"});
        }
        dims[i] = static_cast<std::int32_t>((*n)[i]);
    }
    return dims;
}

using GridDims = std::array<std::int32_t, 3>;

/// Samples while it writes.
zrkmodel::FieldSummary samplePieces(const SampleOptions& options, const zrkmodel::OutputField& output,
                                    const zrk::BBox<double>& bounds, const GridDims& dims,
                                    const std::string& file, const zrk::Volume& volume)
{
    zrk::VolumeWriter writer = zrk::valueOrThrow(zrk::VolumeWriter::create(file, volume));
    const double bytes = zrkmodel::pieceBytes(options.memory.has_value(), options.threads);
    return withProgress("sampling", options.quiet, [&](ProgressBar& bar) {
        const auto summary = zrk::valueOrThrow(zrkmodel::samplePieces(
            output.field, bounds, dims, {0, dims[2] - 1}, bytes,
            [&](std::span<const double> values) { return writer.write(values); }, &bar, options.threads));
        zrk::valueOrThrow(writer.commit());
        return summary;
    });
}

/// Samples all before it writes.
zrkmodel::FieldSummary sampleAtOnce(const SampleOptions& options, const zrkmodel::OutputField& output,
                                    const zrk::BBox<double>& bounds, const GridDims& dims,
                                    const std::string& file, const zrk::Volume& header)
{
    const zrk::Region<3, 3, double, 1> region(bounds.min, bounds.max, dims[0], dims[1], dims[2]);
    const auto values = withProgress("sampling", options.quiet, [&](ProgressBar& bar) {
        return zrk::valueOrThrow(zrkmodel::sampleField(output.field, region, &bar, options.threads));
    });
    zrk::Volume volume = header;
    volume.values = values;
    withProgress("writing", options.quiet, [&](ProgressBar& bar) {
        zrk::valueOrThrow(zrk::writeVolume(file, volume, zrk::followedBy(&bar)));
    });
    return values.summary;
}

/// One of several equal parts of the work.
struct Shard {
    std::int32_t number; ///< from 1 on
    std::int32_t count;
};

Shard parseShard(const std::string& text)
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

void addContent(zrk::Sha256& digest, const std::filesystem::path& path)
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

/// What all values of a volume come from: the program, the document as it is after --set, what stands in the
/// files that it names, the output and the grid. Where the document lies makes no difference.
std::string digestOf(const SampleOptions& options, const Job& job, const zrkmodel::OutputField& output,
                     const zrk::Volume& v, const Files& named)
{
    zrk::Sha256 digest;
    digest.add(fmt::format("zrk {}\n{}", zrkmodel::version(), job.document.toText()));
    for (const std::filesystem::path& path : named) {
        for (const std::filesystem::path& file : filesAt(path)) {
            std::error_code error;
            if (file != options.document && std::filesystem::is_regular_file(file, error)) {
                digest.add(fmt::format("\nfile of {}\n", std::filesystem::file_size(file, error)));
                addContent(digest, file);
            }
        }
    }
    digest.add(fmt::format("\noutput {}:{}, {} x {} x {} nodes, {}, unit {}", output.address.node,
                           output.address.output, v.dims[0], v.dims[1], v.dims[2], options.type, v.unit));
    digest.add(fmt::format("\nfrom {},{},{} to {},{},{}", v.lower[0], v.lower[1], v.lower[2], v.upper[0],
                           v.upper[1], v.upper[2]));
    return digest.hex();
}

/// Whether a tile is written already. Throws where something else stands in its place.
bool isWritten(const zrk::VolumeTiles& tiles, std::int32_t tile)
{
    const zrk::TileReport report = zrk::lookAtTile(tiles, tile);
    const bool isOther = report.state == zrk::TileState::Other;
    if (isOther || report.state == zrk::TileState::Foreign) {
        throw zrk::FaultError(
            {tiles.fileOf(tile),
             isOther ? fmt::format("a tile of another document, grid or type, with the digest {}",
                                   zrk::printable(report.digest, zrk::kMaxQuotation + 4))
                     : "a file that is no tile",
             fmt::format("a tile with the digest {}, or no file", tiles.digest),
             "give another name after -o, or remove what isn't needed any more", zrk::FaultKind::FailedWork});
    }
    return report.state == zrk::TileState::Complete;
}

/// Writes the tiles of a shard that aren't there yet.
void sampleShard(const SampleOptions& options, const zrkmodel::OutputField& output,
                 const zrk::BBox<double>& bounds, const GridDims& dims, const zrk::VolumeTiles& tiles)
{
    const Shard shard = parseShard(*options.shard);
    int written = 0;
    int there = 0;
    for (std::int64_t next = shard.number - 1; next < tiles.count(); next += shard.count) {
        const auto tile = static_cast<std::int32_t>(next);
        if (isWritten(tiles, tile)) {
            ++there;
            continue;
        }
        zrk::VolumeWriter writer = zrk::valueOrThrow(zrk::createTile(tiles, tile));
        const double bytes = zrkmodel::pieceBytes(options.memory.has_value(), options.threads);
        withProgress(fmt::format("tile {} of {}", tile + 1, tiles.count()), options.quiet,
                     [&](ProgressBar& bar) {
                         zrk::valueOrThrow(zrkmodel::samplePieces(
                             output.field, bounds, dims, {tiles.firstLayer(tile), tiles.lastLayer(tile)},
                             bytes, [&](std::span<const double> values) { return writer.write(values); },
                             &bar, options.threads));
                         zrk::valueOrThrow(writer.commit());
                     });
        ++written;
    }
    if (!options.quiet) {
        tell("{}: shard {} of {}: {} of {} tiles written, {} were there\n", zrk::printable(tiles.index),
             shard.number, shard.count, written, tiles.count(), there);
    }
}

void sampleOutput(const SampleOptions& options, const Job& job, const zrkmodel::OutputField& output,
                  const zrk::BBox<double>& bounds, const GridDims& n, const Files& files)
{
    const std::string file = job.fileOf(output, options.file);
    const zrk::Volume volume = zrkmodel::volumeOf(
        output, bounds, n, zrk::valueOrThrow(zrk::numberType(options.type)), job.document.unit());
    if (options.shard) {
        sampleShard(options, output, bounds, n,
                    {file, volume, digestOf(options, job, output, volume, files)});
        return;
    }
    const bool isVdb = zrk::valueOrThrow(zrk::volumeFormat(file)) == zrk::VolumeFormat::Vdb;
    const zrkmodel::FieldSummary summary =
        (isVdb ? sampleAtOnce : samplePieces)(options, output, bounds, n, file, volume);
    tellRemarks(zrkmodel::remarksOn(summary, output, job.document.name()), options.quiet);
    if (!options.quiet) {
        tell("{}: {} x {} x {} nodes, {}\n", zrk::printable(file), n[0], n[1], n[2],
             summary.counted > 0 ? fmt::format("values from {:.4g} to {:.4g}, mean {:.4g}", summary.least,
                                               summary.greatest, summary.mean)
                                 : "no values (all are NaN)");
    }
}

/// Refuses names and types of files that don't go together.
void checkOutput(const SampleOptions& options)
{
    const bool isIndex = options.file.ends_with(".pvti");
    if (isIndex != options.shard.has_value()) {
        throw zrk::FaultError(
            {"-o", zrk::quotation(options.file),
             isIndex ? "--shard with the index of tiles" : "the index of tiles, .pvti, with --shard",
             "write --shard 1/1 -o part.pvti for all tiles, then `zrk join part.pvti`"});
    }
    const zrk::NumberType type = zrk::valueOrThrow(zrk::numberType(options.type));
    // Tiles are .vti files.
    zrk::valueOrThrow(zrk::checkNumberType(isIndex ? options.file + ".vti" : options.file, type));
    if (options.shard) {
        parseShard(*options.shard);
    }
}

void sample(const SampleOptions& options)
{
    checkOutput(options); // throws before any work is done
    Files files;
    const Job job(options, &files);
    const zrk::BBox<double> bounds = boundsToSample(options.bounds, job.document);
    const auto dims = options.dims ? parseDims(*options.dims)
                                   : zrkmodel::gridDims(bounds, options.resolution > 0 ? options.resolution
                                                                                       : kDefaultResolution);
    for (const zrkmodel::OutputField& output : job.outputs) {
        sampleOutput(options, job, output, bounds, dims, files);
    }
}

} // namespace

void addSampleCommand(const Program& program)
{
    CLI::App* command =
        program.app.add_subcommand("sample", "sample a field over a grid and write the volume");
    auto options = std::make_shared<SampleOptions>();
    options->addWithSeveralPinsTo(*command);
    command
        ->add_option("-o,--output", options->file,
                     zrk::canWriteVdb() ? "volume to write: .npy, .nrrd, .vti or .vdb"
                                        : "volume to write: .npy, .nrrd or .vti")
        ->required();
    auto* resolution =
        command->add_option("--resolution", options->resolution,
                            fmt::format("nodes along the longest side (default {})", kDefaultResolution));
    resolution->check(CLI::Range(1, 1000000));
    command->add_option("--dims", options->dims, "node counts NX,NY,NZ")->excludes(resolution);
    command->add_option(
        "--bounds", options->bounds,
        "corners x0,y0,z0,x1,y1,z1; without them the document's modelBounds, or the unit cube");
    command
        ->add_option(
            "--type", options->type,
            "numbers in the file: float64 (default), float32 or float16, rounded to the nearest, or uint8, "
            "which has 0 to 1 as 0 to 255")
        ->check(CLI::IsMember({"float64", "float32", "float16", "uint8"}));
    command->add_option("--shard", options->shard,
                        "K/N: write the K-th of N parts of the tiles of -o NAME.pvti, those that aren't "
                        "there yet; `zrk join` "
                        "then writes the index or one file");
    command->get_option("--memory")
        ->description("most memory to take, e.g. 500M or 2G; without it three quarters of what is free, and "
                      "a quarter of it for the "
                      "samples, which are written as they come");
    command->callback([&work = program.work, options] { work = [options] { sample(*options); }; });
}

} // namespace zrkcli
