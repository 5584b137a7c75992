#include "apps/cli/commands.h"
#include "apps/cli/messages.h"
#include "apps/cli/options.h"
#include "apps/cli/progress_bar.h"
#include "apps/cli/ranks.h"
#include "apps/cli/shard_options.h"
#include "core/engine/keep_going.h"
#include "core/engine/prepared_field.h"
#include "formats/digest.h"
#include "formats/points.h"
#include "formats/vdb.h"
#include "formats/volume.h"
#include "formats/volume_tiles.h"
#include "host/field_grid.h"
#include "host/field_remarks.h"
#include "host/field_volume.h"
#include "host/narrow_band.h"
#include "host/percent.h"
#include "host/volume_file.h"

#include <fmt/core.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <limits>
#include <memory>
#include <optional>
#include <span>
#include <string>
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
    std::optional<double> band; ///< in nodes
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
    // A .vdb file needs the rest of the memory itself.
    constexpr double kBesideVdb = 32 << 20;
    const bool isVdb = *zrk::volumeFormat(file) == zrk::VolumeFormat::Vdb;
    const double most = zrkmodel::pieceBytes(options.memory.has_value(), options.threads);
    const double bytes = isVdb ? std::min(most, kBesideVdb) : most;
    return withProgress("sampling", options.quiet, [&](ProgressBar& bar) {
        const auto summary = zrk::valueOrThrow(zrkmodel::samplePieces(
            output.field, bounds, dims, {0, dims[2] - 1}, bytes,
            [&](std::span<const double> values) { return writer.write(values); }, &bar, options.threads));
        zrk::valueOrThrow(writer.commit(zrk::followedBy(&bar)));
        return summary;
    });
}

/// Writes the values near where the output is 0 as a level set.
void sampleBand(const SampleOptions& options, const Job& job, const zrkmodel::OutputField& output,
                const zrk::BBox<double>& bounds, const std::string& file)
{
    if (output.tag != zrkmodel::Tag::Scalar || output.isDensity) {
        throw zrk::FaultError(
            {"--band",
             output.isDensity ? "a density, which has no distances"
                              : fmt::format("a pin with the tag {}", output.tag.name()),
             "an output with distances, negative inside",
             "choose one with --pin; `zrk surface -o NAME.vdb` makes a level set of a density"});
    }
    const int nodes = options.resolution > 0 ? options.resolution : kDefaultResolution;
    const double longest = std::max({bounds.size[0], bounds.size[1], bounds.size[2]});
    const zrkmodel::NarrowBand band{.field = zrk::PreparedField(output.field),
                                    .bounds = bounds,
                                    .voxel = longest / std::max(1, nodes - 1),
                                    .width = *options.band,
                                    .type = zrk::valueOrThrow(zrk::numberType(options.type)),
                                    .name = output.name,
                                    .unit = job.document.unit(),
                                    .threads = options.threads};
    const zrkmodel::BandSummary summary = withProgress("sampling", options.quiet, [&](ProgressBar& bar) {
        return zrk::valueOrThrow(zrkmodel::writeNarrowBand(file, band, &bar));
    });
    if (!options.quiet) {
        tell("{}: {} nodes in the band; sampled {} of {} boxes of 8^3 nodes\n", zrk::printable(file),
             summary.activeNodes, zrkmodel::percent(summary.sampledBoxes, summary.boxes), summary.boxes);
    }
}

/// What all values of a volume come from: its work, the output and the grid.
std::string digestOf(const SampleOptions& options, const Job& job, const zrkmodel::OutputField& output,
                     const zrk::Volume& v, const Files& named)
{
    zrk::Digest digest;
    addWork(digest, job, options.document, named);
    digest.add(fmt::format("\noutput {}:{}, {} x {} x {} nodes, {}, unit {}", output.address.node,
                           output.address.output, v.dims[0], v.dims[1], v.dims[2], options.type, v.unit));
    digest.add(fmt::format("\nfrom {},{},{} to {},{},{}", v.lower[0], v.lower[1], v.lower[2], v.upper[0],
                           v.upper[1], v.upper[2]));
    return digest.hex();
}

void sampleTile(const SampleOptions& options, const zrkmodel::OutputField& output,
                const zrk::BBox<double>& bounds, const zrk::VolumeTiles& tiles, std::int32_t tile,
                ProgressBar& bar)
{
    const auto& n = tiles.volume.dims;
    zrk::VolumeWriter writer = zrk::valueOrThrow(zrk::createTile(tiles, tile));
    const double bytes = zrkmodel::pieceBytes(options.memory.has_value(), options.threads);
    zrk::valueOrThrow(zrkmodel::samplePieces(
        output.field, bounds, {n[0], n[1], n[2]}, {tiles.firstLayer(tile), tiles.lastLayer(tile)}, bytes,
        [&](std::span<const double> values) { return writer.write(values); }, &bar, options.threads));
    zrk::valueOrThrow(writer.commit());
}

void sampleOutput(const SampleOptions& options, const Job& job, const zrkmodel::OutputField& output,
                  const zrk::BBox<double>& bounds, const GridDims& n, const Files& files)
{
    const std::string file = job.fileOf(output, options.file);
    if (options.band) {
        sampleBand(options, job, output, bounds, file);
        return;
    }
    const zrk::Volume volume = zrkmodel::volumeOf(
        output, bounds, n, zrk::valueOrThrow(zrk::numberType(options.type)), job.document.unit());
    if (writesTiles(options.shard)) {
        const zrk::VolumeTiles tiles(file, volume, digestOf(options, job, output, volume, files));
        const auto write = [&](std::int32_t tile, const std::string& title, bool quiet) {
            withProgress(title, quiet,
                         [&](ProgressBar& bar) { sampleTile(options, output, bounds, tiles, tile, bar); });
        };
        if (writeTiles(tiles, options.shard, options.quiet, write)) {
            zrk::valueOrThrow(zrk::writeIndex(tiles));
        }
        return;
    }
    const zrkmodel::FieldSummary summary = samplePieces(options, output, bounds, n, file, volume);
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
    checkTileNames(options.shard, options.file, ".pvti");
    const zrk::NumberType type = zrk::valueOrThrow(zrk::numberType(options.type));
    if (options.band) {
        if (!options.file.ends_with(".vdb") || options.dims) {
            throw zrk::FaultError({"--band", options.dims ? "it with --dims" : zrk::quotation(options.file),
                                   "a .vdb file and --resolution, as nodes are equally far apart",
                                   "write for example --resolution 512 --band 3 -o part.vdb"});
        }
        if (!(*options.band >= 1 && *options.band <= 1000)) {
            throw zrk::FaultError({"--band", fmt::format("{}", *options.band), "a number from 1 to 1000",
                                   "give the nodes on each side of the surface, usually 3"});
        }
    }
    // Tiles are .vti files.
    zrk::valueOrThrow(
        zrk::checkNumberType(writesTiles(options.shard) ? options.file + ".vti" : options.file, type));
}

void sample(const SampleOptions& options)
{
    checkOutput(options); // throws before any work is done
    Files files;
    auto sharing = shareBuilding();
    const Job job(options, &files);
    if (sharing) {
        // What the outputs need is built here, and not tile by tile.
        for (const zrkmodel::OutputField& output : job.outputs) {
            const zrk::PreparedField built(output.field);
        }
        sharing.reset();
    }
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
    if (zrk::canWriteVdb()) {
        command->add_option(
            "--band", options->band,
            "write a level set (.vdb): only the nodes within so many of where the output is 0, "
            "without sampling what surely lies further away");
    }
    addShardOption(*command, options->shard, "NAME.pvti");
    command->get_option("--memory")
        ->description("most memory to take, e.g. 500M or 2G; without it three quarters of what is free, and "
                      "a quarter of it for the "
                      "samples, which are written as they come");
    command->callback([&work = program.work, options] { work = [options] { sample(*options); }; });
}

} // namespace zrkcli
