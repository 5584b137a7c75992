#include "apps/cli/commands.h"
#include "apps/cli/options.h"
#include "apps/cli/progress_bar.h"
#include "core/engine/field_sampler.h"
#include "host/error.h"

#include <fmt/format.h>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <limits>
#include <memory>

namespace zrkcli {

using zrkmodel::hostError;
using zrkmodel::HostError;

namespace {

struct ProbeOptions : SamplingOptions {
    std::vector<std::string> at;
    std::string pointsFile;
};

zrk::Tensor<3, double> toPoint(const std::vector<double>& numbers)
{
    return {numbers[0], numbers[1], numbers[2]};
}

std::vector<zrk::Tensor<3, double>> readPoints(std::istream& stream, const std::string& name)
{
    std::vector<zrk::Tensor<3, double>> points;
    std::string line;
    for (std::size_t number = 1; std::getline(stream, line); ++number) {
        const std::size_t start = line.find_first_not_of(" \t\r");
        if (start == std::string::npos || line[start] == '#') {
            continue;
        }
        const auto numbers = parseNumbers(line, 3);
        if (!numbers) {
            throw hostError(
                HostError::kBadInput, fmt::format("{}, line {}", name, number),
                fmt::format("found \"{}\", expected three finite numbers x,y,z", line.substr(0, 80)),
                "write one position a line, e.g. 0.5,-1,2; lines that begin with # are skipped");
        }
        points.push_back(toPoint(*numbers));
    }
    if (stream.bad()) {
        throw hostError(HostError::kFailedWork, name, "reading failed part of the way",
                        "check that the file is readable and isn't a folder");
    }
    return points;
}

std::vector<zrk::Tensor<3, double>> readPointsFile(const std::string& path)
{
    if (path == "-") {
        return readPoints(std::cin, "standard input");
    }
    std::ifstream file(path);
    if (!file) {
        throw hostError(HostError::kBadInput, path, "found no readable file, expected a list of positions",
                        "check the path given to --points; - reads standard input");
    }
    return readPoints(file, path);
}

std::vector<zrk::Tensor<3, double>> positions(const ProbeOptions& options)
{
    if (!options.pointsFile.empty()) {
        return readPointsFile(options.pointsFile);
    }
    std::vector<zrk::Tensor<3, double>> points;
    for (const std::string& text : options.at) {
        const auto numbers = parseNumbers(text, 3);
        if (!numbers) {
            throw hostError(HostError::kBadInput, "--at",
                            fmt::format("found \"{}\", expected three finite numbers", text),
                            "write a position as X,Y,Z without blanks, e.g. --at 0.5,-1,2");
        }
        points.push_back(toPoint(*numbers));
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
            std::fwrite(out.data(), 1, out.size(), stdout);
            out.clear();
        }
    }
}

int probe(const ProbeOptions& options)
{
    if (options.at.empty() == options.pointsFile.empty()) {
        throw hostError(HostError::kBadInput, "probe",
                        options.at.empty() ? "found no positions, expected --at or --points"
                                           : "found both --at and --points, expected one of them",
                        "give positions, e.g. --at 0,0,0, or a file of them, --points FILE");
    }
    const Job job(options);
    std::vector<zrk::Tensor<3, double>> points = positions(options);
    if (points.size() > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max())) {
        throw hostError(HostError::kFailedWork, "probe",
                        fmt::format("found {} positions, expected at most 2147483647", points.size()),
                        "divide the list");
    }
    zrk::FieldSampler sampler(job.output.field.generator(),
                              std::make_shared<zrk::PointListDomain>(std::move(points)));
    if (options.threads > 0) {
        sampler.threadCount = options.threads;
    }
    bool finished = false;
    {
        ProgressBar bar("probing", options.quiet);
        finished = sampler.run(&bar);
    }
    if (!finished) {
        return kInterruptedStatus;
    }
    printRecords(*sampler.targetNode.sampleBuffer);
    return 0;
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
    command->callback([&work = program.work, options] { work = [options] { return probe(*options); }; });
}

} // namespace zrkcli
