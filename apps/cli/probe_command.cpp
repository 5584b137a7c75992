#include "apps/cli/commands.h"
#include "apps/cli/options.h"
#include "apps/cli/progress_bar.h"
#include "core/engine/field_sampler.h"
#include "core/values/stop.h"
#include "formats/points.h"
#include "host/free_memory.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>

namespace zrkcli {

namespace {

struct ProbeOptions : SamplingOptions {
    std::vector<std::string> at;
    std::string pointsFile;
};

/// As many positions as there is memory for, with their records, and for a list that moves to a larger place.
std::size_t mostPoints()
{
    constexpr double kBytesAPoint = 150;
    const double most = zrkmodel::memoryToUse().value_or(1e18) / kBytesAPoint;
    return static_cast<std::size_t>(std::min(most, static_cast<double>(zrk::kMaxPoints)));
}

std::vector<zrk::Tensor<3, double>> positions(const ProbeOptions& options)
{
    if (!options.pointsFile.empty()) {
        const bool isStandardInput = options.pointsFile == "-";
        auto listed = withProgress("reading positions", options.quiet, [&](ProgressBar& bar) {
            return zrk::readPointsFile(
                isStandardInput
                    ? zrk::InputFile::standardInput()
                    : zrk::InputFile::open(options.pointsFile, zrk::InputFile::Accepted::FilesAndStreams),
                isStandardInput ? "standard input" : options.pointsFile, mostPoints(), &bar);
        });
        return zrk::valueOrThrow(std::move(listed).map_error(
            [](zrk::Fault fault) { return zrk::within("--points", std::move(fault)); }));
    }
    std::vector<zrk::Tensor<3, double>> points;
    for (const std::string& text : options.at) {
        const auto numbers = zrk::parseNumbers(text, 3);
        if (!numbers) {
            throw zrk::FaultError({"--at", zrk::quotation(text), "three finite numbers",
                                   "write a position as X,Y,Z without blanks, e.g. --at 0.5,-1,2"});
        }
        points.push_back({(*numbers)[0], (*numbers)[1], (*numbers)[2]});
    }
    return points;
}

void appendNumber(fmt::memory_buffer& out, double value)
{
    if (std::isnan(value)) {
        fmt::format_to(std::back_inserter(out), "nan");
    } else {
        fmt::format_to(std::back_inserter(out), "{:.17g}", value);
    }
}

/// Returns the records as text, a line for each: its components and its weight with commas between them.
void printRecords(const zrk::SampleBufferData<double>& records)
{
    fmt::memory_buffer out;
    for (std::uint64_t i = 0; i < records.count; ++i) {
        for (std::uint64_t c = 0; c < records.stride; ++c) {
            if (c > 0) {
                out.push_back(',');
            }
            appendNumber(out, records.record(i)[c]);
        }
        out.push_back('\n');
        if (out.size() > 1 << 16 || i + 1 == records.count) {
            zrk::stopIfAsked();
            if (std::fwrite(out.data(), 1, out.size(), stdout) != out.size()) {
                return; // which the status tells
            }
            out.clear();
        }
    }
}

void probe(const ProbeOptions& options)
{
    if (options.at.empty() == options.pointsFile.empty()) {
        throw zrk::FaultError({"probe", options.at.empty() ? "no positions" : "both --at and --points",
                               options.at.empty() ? "--at or --points" : "one of them",
                               "give positions, e.g. --at 0,0,0, or a file of them, --points FILE"});
    }
    const Job job(options);
    zrk::FieldSampler sampler(job.output.field.generator(),
                              std::make_shared<zrk::PointListDomain>(positions(options)));
    if (options.threads > 0) {
        sampler.threadCount = options.threads;
    }
    withProgress("probing", options.quiet, [&](ProgressBar& bar) {
        if (!sampler.run(&bar)) {
            throw zrk::FaultError(zrk::interruptedAt("probe"));
        }
    });
    printRecords(*sampler.targetNode.sampleBuffer);
}

} // namespace

void addProbeCommand(const Program& program)
{
    CLI::App* command = program.app.add_subcommand("probe", "print a field's records at positions");
    auto options = std::make_shared<ProbeOptions>();
    options->addTo(*command);
    command->add_option("--at", options->at, "positions X,Y,Z; may repeat");
    command->add_option("--points", options->pointsFile,
                        "file of positions, one x,y,z a line; - reads standard input");
    command->callback([&work = program.work, options] { work = [options] { probe(*options); }; });
}

} // namespace zrkcli
