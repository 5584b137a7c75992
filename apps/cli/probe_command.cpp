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
#include <string_view>

namespace zrkcli {

namespace {

struct ProbeOptions : SamplingOptions {
    std::vector<std::string> at;
    std::string pointsFile;
    bool json = false;
};

/// As many positions as there is memory for, with their records, and for a list that moves to a larger place.
std::size_t mostPoints(std::size_t outputs)
{
    constexpr double kBytesAPoint = 150;
    const double most =
        zrkmodel::memoryToUse().value_or(1e18) / (kBytesAPoint * static_cast<double>(outputs));
    return static_cast<std::size_t>(std::min(most, static_cast<double>(zrk::kMaxPoints)));
}

std::vector<zrk::Tensor<3, double>> positionsOf(const ProbeOptions& options)
{
    if (!options.pointsFile.empty()) {
        const bool isStandardInput = options.pointsFile == "-";
        auto listed = withProgress("reading positions", options.quiet, [&](ProgressBar& bar) {
            return zrk::readPoints(
                isStandardInput
                    ? zrk::InputFile::standardInput()
                    : zrk::InputFile::open(options.pointsFile, zrk::InputFile::Accepted::FilesAndStreams),
                isStandardInput ? "standard input" : options.pointsFile,
                mostPoints(std::max<std::size_t>(options.pins.size(), 1)), &bar);
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

/// The records of one output at all positions.
struct Probed {
    const zrkmodel::OutputField& output;
    std::unique_ptr<zrk::FieldSampler> sampler;

    const zrk::SampleBufferData<double>& records() const { return *sampler->targetNode.sampleBuffer; }
};

/// Appends the components and the weight of each output's record, with commas between them.
void appendLine(fmt::memory_buffer& out, const std::vector<Probed>& probed, std::uint64_t i)
{
    for (const Probed& each : probed) {
        for (std::uint64_t c = 0; c < each.records().stride; ++c) {
            if (&each != probed.data() || c > 0) {
                out.push_back(',');
            }
            appendNumber(out, each.records().record(i)[c]);
        }
    }
}

void append(fmt::memory_buffer& out, std::string_view text) { out.append(text); }

/// A number as JSON, which has no other word for what is none or infinite than a text.
void appendJsonNumber(fmt::memory_buffer& out, double value)
{
    const char* quote = std::isfinite(value) ? "" : "\"";
    append(out, quote);
    appendNumber(out, value);
    append(out, quote);
}

void appendJsonNumbers(fmt::memory_buffer& out, const double* numbers, std::uint64_t count)
{
    out.push_back('[');
    for (std::uint64_t i = 0; i < count; ++i) {
        append(out, i > 0 ? ", " : "");
        appendJsonNumber(out, numbers[i]);
    }
    out.push_back(']');
}

/// Appends {"position": [x, y, z], "NODE:OUT": {"value": V, "weight": W}, ...}.
void appendJson(fmt::memory_buffer& out, const zrk::Tensor<4, double>& position,
                const std::vector<Probed>& probed, std::uint64_t i)
{
    append(out, "{\"position\": ");
    appendJsonNumbers(out, &position[0], 3);
    for (const Probed& each : probed) {
        fmt::format_to(std::back_inserter(out), ", \"{}:{}\": {{\"value\": ", each.output.address.node,
                       each.output.address.output);
        const double* record = each.records().record(i);
        const std::uint64_t components = each.records().stride - 1;
        if (components == 1) {
            appendJsonNumber(out, record[0]);
        } else {
            appendJsonNumbers(out, record, components);
        }
        append(out, ", \"weight\": ");
        appendJsonNumber(out, record[components]);
        append(out, "}");
    }
    append(out, "}");
}

void printRecords(const zrk::PointListDomain& positions, const std::vector<Probed>& probed, bool json)
{
    fmt::memory_buffer out;
    const auto print = [&] {
        zrk::stopIfAsked();
        const bool isPrinted = std::fwrite(out.data(), 1, out.size(), stdout) == out.size();
        out.clear();
        return isPrinted; // else the status tells it
    };
    const std::int32_t count = positions.sampleCount();
    for (std::int32_t i = 0; i < count; ++i) {
        const auto record = static_cast<std::uint64_t>(i);
        if (json) {
            append(out, i == 0 ? "[" : " ");
            appendJson(out, positions.position(i), probed, record);
            append(out, i + 1 < count ? "," : "]");
        } else {
            appendLine(out, probed, record);
        }
        out.push_back('\n');
        if (out.size() > 1 << 16 && !print()) {
            return;
        }
    }
    if (json && count == 0) {
        append(out, "[]\n");
    }
    print();
}

void probe(const ProbeOptions& options)
{
    if (options.at.empty() == options.pointsFile.empty()) {
        throw zrk::FaultError({"probe", options.at.empty() ? "no positions" : "both --at and --points",
                               options.at.empty() ? "--at or --points" : "one of them",
                               "give positions, e.g. --at 0,0,0, or a file of them, --points FILE"});
    }
    if (options.document == "-" && options.pointsFile == "-") {
        throw zrk::FaultError({"--points", "standard input, which the document is read from", "another file",
                               "name a file for the document or for the positions"});
    }
    const Job job(options);
    const auto positions = std::make_shared<zrk::PointListDomain>(positionsOf(options));
    std::vector<Probed> probed;
    for (const zrkmodel::OutputField& output : job.outputs) {
        probed.push_back({output, std::make_unique<zrk::FieldSampler>(output.field.generator(), positions)});
        zrk::FieldSampler& sampler = *probed.back().sampler;
        if (options.threads > 0) {
            sampler.threadCount = options.threads;
        }
        withProgress("probing", options.quiet, [&](ProgressBar& bar) {
            if (!sampler.run(&bar)) {
                throw zrk::FaultError(zrk::interruptedAt("probe"));
            }
        });
    }
    printRecords(*positions, probed, options.json);
}

} // namespace

void addProbeCommand(const Program& program)
{
    CLI::App* command = program.app.add_subcommand("probe", "print a field's records at positions");
    auto options = std::make_shared<ProbeOptions>();
    options->addWithSeveralPinsTo(*command);
    command->add_option("--at", options->at, "positions X,Y,Z; may repeat");
    command->add_option("--points", options->pointsFile,
                        "file of positions, one x,y,z a line; - reads standard input");
    command->add_flag("--json", options->json, "print JSON");
    command->callback([&work = program.work, options] { work = [options] { probe(*options); }; });
}

} // namespace zrkcli
