#include "apps/cli/commands.h"
#include "apps/cli/messages.h"
#include "apps/cli/options.h"
#include "apps/cli/progress_bar.h"
#include "formats/points.h"
#include "formats/vdb.h"
#include "formats/volume.h"
#include "host/field_grid.h"
#include "host/field_remarks.h"
#include "host/volume_file.h"

#include <fmt/core.h>

#include <cmath>
#include <limits>
#include <memory>
#include <optional>

namespace zrkcli {

namespace {

constexpr int kDefaultResolution = 64;

struct SampleOptions : SamplingOptions {
    std::string file;
    int resolution = 0;
    std::optional<std::string> dims;
    std::optional<std::string> bounds;
    std::string type = "float64";
};

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

void sampleOutput(const SampleOptions& options, const Job& job, const zrkmodel::OutputField& output,
                  const zrk::Region<3, 3, double, 1>& region)
{
    const std::string file = job.fileOf(output, options.file);
    const auto values = withProgress("sampling", options.quiet, [&](ProgressBar& bar) {
        return zrk::valueOrThrow(zrkmodel::sampleField(output.field, region, &bar, options.threads));
    });
    const auto& n = region.dimensions();
    const auto type = options.type == "float32" ? zrk::NumberType::Float32 : zrk::NumberType::Float64;
    const zrk::Volume volume = zrkmodel::volumeOf(values, output, region, type, job.document.unit());
    withProgress("writing", options.quiet, [&](ProgressBar& bar) {
        zrk::valueOrThrow(zrk::writeVolume(file, volume, zrk::followedBy(&bar)));
    });
    tellRemarks(zrkmodel::remarksOn(values.summary, output, job.document.name()), options.quiet);
    if (!options.quiet) {
        tell("{}: {} x {} x {} nodes, values from {:.4g} to {:.4g}, mean {:.4g}\n", zrk::printable(file),
             n[0], n[1], n[2], values.summary.least, values.summary.greatest, values.summary.mean);
    }
}

void sample(const SampleOptions& options)
{
    zrk::valueOrThrow(
        zrk::volumeFormat(options.file)); // throws before any work is done if the format is unknown
    const Job job(options);
    const zrk::BBox<double> bounds = boundsToSample(options.bounds, job.document);
    const auto dims = options.dims ? parseDims(*options.dims)
                                   : zrkmodel::gridDims(bounds, options.resolution > 0 ? options.resolution
                                                                                       : kDefaultResolution);
    const zrk::Region<3, 3, double, 1> region(bounds.min, bounds.max, dims[0], dims[1], dims[2]);

    for (const zrkmodel::OutputField& output : job.outputs) {
        sampleOutput(options, job, output, region);
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
        ->add_option("--type", options->type,
                     "numbers in the file: float64 (default), or float32, rounded to the nearest")
        ->check(CLI::IsMember({"float64", "float32"}));
    command->callback([&work = program.work, options] { work = [options] { sample(*options); }; });
}

} // namespace zrkcli
