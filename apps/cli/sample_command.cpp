#include "apps/cli/commands.h"
#include "apps/cli/messages.h"
#include "apps/cli/options.h"
#include "apps/cli/progress_bar.h"
#include "apps/cli/shard_options.h"
#include "formats/digest.h"
#include "formats/points.h"
#include "formats/vdb.h"
#include "formats/volume.h"
#include "formats/volume_tiles.h"
#include "host/field_grid.h"
#include "host/field_remarks.h"
#include "host/field_volume.h"
#include "host/volume_file.h"

#include <fmt/core.h>

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
    const zrk::Volume volume = zrkmodel::volumeOf(
        output, bounds, n, zrk::valueOrThrow(zrk::numberType(options.type)), job.document.unit());
    if (options.shard) {
        const zrk::VolumeTiles tiles(file, volume, digestOf(options, job, output, volume, files));
        writeTiles(tiles, Shard::parse(*options.shard), options.quiet,
                   [&](std::int32_t tile, const std::string& title) {
                       withProgress(title, options.quiet, [&](ProgressBar& bar) {
                           sampleTile(options, output, bounds, tiles, tile, bar);
                       });
                   });
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
        Shard::parse(*options.shard);
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
    addShardOption(*command, options->shard, "NAME.pvti");
    command->get_option("--memory")
        ->description("most memory to take, e.g. 500M or 2G; without it three quarters of what is free, and "
                      "a quarter of it for the "
                      "samples, which are written as they come");
    command->callback([&work = program.work, options] { work = [options] { sample(*options); }; });
}

} // namespace zrkcli
