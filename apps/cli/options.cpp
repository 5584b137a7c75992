#include "apps/cli/options.h"
#include "apps/cli/messages.h"

#include "apps/cli/progress_bar.h"
#include "apps/cli/ranks.h"
#include "formats/atomic_file.h"
#include "formats/file_name.h"
#include "formats/points.h"
#include "formats/text_words.h"
#include "host/document_json.h"
#include "host/document_values.h"
#include "host/free_memory.h"
#include "model/graph.h"

#include <fmt/core.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <string_view>
#include <utility>

namespace zrkcli {

namespace {

/// Refuses a box that a grid can't be laid over: flat, or so large that lengths can't be told.
void checkExtents(const std::string& place, const zrk::Tensor<3, double>& a, const zrk::Tensor<3, double>& b,
                  const char* remedy)
{
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const double extent = std::abs(b[axis] - a[axis]);
        if (!std::isnormal(extent) || !std::isfinite(1 / extent)) {
            const char* what = extent > 1   ? "an extent beyond all numbers"
                               : extent > 0 ? "an extent too small for numbers"
                                            : "no extent";
            throw zrk::FaultError(
                {place, fmt::format("{} along {} (from {:g} to {:g})", what, "xyz"[axis], a[axis], b[axis]),
                 "two opposite corners, so far apart that a grid has room", remedy});
        }
    }
}

/// The most memory to take: what was asked for or, of a run of several ranks, a share of three quarters of
/// what is free.
std::optional<double> memoryOf(const std::optional<std::uint64_t>& bytes)
{
    constexpr double kShare = 0.75;
    const Ranks* ranks = ranksOfRun();
    if (bytes || !ranks) {
        return bytes ? std::optional(static_cast<double>(*bytes)) : std::nullopt;
    }
    const std::optional<double> free = zrkmodel::memoryToUse();
    return free ? std::optional(kShare * *free / ranks->countHere()) : std::nullopt;
}

/// Whether a text is a whole number with a unit of bytes or none.
bool isSize(const std::string& text)
{
    const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
    const auto unit = std::find_if_not(text.begin(), text.end(), isDigit);
    const auto last = std::find_if_not(unit, text.end(), [](char c) {
        return std::string_view("bkmgtpeiBKMGTPEI ").find(c) != std::string_view::npos;
    });
    return unit != text.begin() && last == text.end();
}

/// Makes what stands after --set.
void makeChange(zrkmodel::GraphDocument& document, const std::string& change,
                zrkmodel::DocumentWarnings& warnings)
{
    const auto [target, value] = parseAssignment("--set", change);
    zrk::valueOrThrow(document.setValue(target.node, target.key, value).map_error([](zrk::Fault fault) {
        return zrk::within("--set", std::move(fault));
    }));
    const auto node = document.graph()->getNodePtr(target.node);
    if (auto warning = zrkmodel::unlistedChoice(*node->object, target.key, "--set " + change)) {
        warnings.push_back(std::move(*warning));
    }
}

std::optional<std::uint16_t> nodeId(const std::string& text)
{
    const auto id = zrk::wholeNumber<std::uint16_t>(text);
    return id && *id <= zrkmodel::kMaxNodeId ? id : std::nullopt;
}

} // namespace

zrk::BBox<double> boundsToSample(const std::optional<std::string>& text,
                                 const zrkmodel::GraphDocument& document)
{
    if (!text) {
        const zrk::BBox<double> box = document.samplingBounds();
        checkExtents(document.name() + ", \"context\", \"modelBounds\"", box.min, box.max,
                     "write \"modelBounds\": [[x0, y0, z0], [x1, y1, z1]], or give --bounds where a command "
                     "takes it");
        return box;
    }
    constexpr const char* kRemedy = "write the two corners as x0,y0,z0,x1,y1,z1";
    const auto n = zrk::parseNumbers(*text, 6);
    if (!n) {
        throw zrk::FaultError({"--bounds", zrk::quotation(*text), "six finite numbers", kRemedy});
    }
    const std::vector<double>& c = *n;
    checkExtents("--bounds", {c[0], c[1], c[2]}, {c[3], c[4], c[5]}, kRemedy);
    return {{c[0], c[1], c[2]}, {c[3], c[4], c[5]}};
}

void checkFinite(const std::string& option, double value)
{
    if (!std::isfinite(value)) {
        throw zrk::FaultError(
            {option, fmt::format("{}", value), "a finite number", "write it with digits, e.g. 0.5"});
    }
}

void checkPictureName(const std::string& file)
{
    if (!file.ends_with(".png")) {
        throw zrk::FaultError({"-o", zrk::quotation(file), "a file name ending in .png",
                               "pictures are written as PNG; `zrk sample` writes volumes"});
    }
}

zrk::Interval<double> parseRange(const std::string& text)
{
    const auto n = zrk::parseNumbers(text, 2);
    if (!n || !((*n)[0] < (*n)[1])) {
        throw zrk::FaultError({"--range", zrk::quotation(text), "two finite numbers, the smaller one first",
                               "write it as LO,HI, e.g. --range -1,1"});
    }
    return {(*n)[0], (*n)[1]};
}

zrkmodel::PinAddress parsePin(const std::string& option, const std::string& text)
{
    const std::size_t colon = text.find(':');
    const auto node = nodeId(text.substr(0, colon));
    const auto output =
        colon == std::string::npos ? std::nullopt : zrk::wholeNumber<std::uint8_t>(text.substr(colon + 1));
    if (!node || !output) {
        throw zrk::FaultError(
            {option, zrk::quotation(text), "NODE:OUT",
             "give a node's id and the index of one of its outputs, e.g. " + option + " 2:0"});
    }
    return {*node, *output};
}

NodeKey parseNodeKey(const std::string& option, const std::string& text)
{
    const std::size_t dot = text.find('.');
    const auto node = nodeId(text.substr(0, dot));
    if (!node || dot == std::string::npos || dot + 1 == text.size()) {
        throw zrk::FaultError({option, zrk::quotation(text), "NODE.KEY",
                               "give a node's id and one of its values, e.g. " + option + " 2.contour"});
    }
    return {*node, text.substr(dot + 1)};
}

Assignment parseAssignment(const std::string& place, const std::string& text)
{
    const std::size_t dot = text.find('.');
    const std::size_t equals = text.find('=', dot == std::string::npos ? 0 : dot);
    const auto node = nodeId(text.substr(0, dot));
    if (!node || dot == std::string::npos || equals == std::string::npos || equals == dot + 1) {
        throw zrk::FaultError({place, zrk::quotation(text), "NODE.KEY=VALUE",
                               "give a node's id, a key of its values and the new value, e.g. 2.radius=0.4"});
    }
    const std::string value = text.substr(equals + 1);
    // As a member of a document, so that it is refused for the same reasons.
    auto read = zrkmodel::parseDocumentJson("{\"value\": " + value + "}", text);
    const bool isWhole = read && read->size() == 1;
    return {{*node, text.substr(dot + 1, equals - dot - 1)},
            isWhole ? std::move((*read)["value"]) : zrkmodel::ZRKJson(value)};
}

void addMemoryOption(CLI::App& command, std::optional<std::uint64_t>& bytes)
{
    command
        .add_option("--memory", bytes,
                    "most memory to take, e.g. 500M or 2G; without it three quarters of what is free")
        ->transform(CLI::AsSizeValue(false))
        // Comes before the one above, which takes -1 for a very large number, and leaves nothing to quote of
        // what it refuses.
        ->transform([](const std::string& text) {
            return isSize(text) ? text : throw CLI::ValidationError("--memory", "no size");
        });
}

void limitMemory(const std::optional<std::uint64_t>& bytes) { zrkmodel::limitMemory(memoryOf(bytes)); }

void DocumentOptions::addTo(CLI::App& command)
{
    command
        .add_option("DOC", document, "graph document (.zrk.json), a pipe with one, or - for standard input")
        ->required();
    command.add_flag("--confine", isConfined,
                     "refuse a document whose paths lead out of its folder, also by way of links");
    command.add_flag("--strict", isStrict, "refuse a document that there are warnings of");
    command
        .add_option(
            "--set", changes,
            "another value of a node for this run, NODE.KEY=VALUE, as the document would have it; may repeat")
        ->expected(1, 1000000);
    addMemoryOption(command, memory);
}

void SamplingOptions::addTo(CLI::App& command)
{
    addWithSeveralPinsTo(command);
    command.get_option("--pin")->expected(1);
}

void SamplingOptions::addWithSeveralPinsTo(CLI::App& command)
{
    DocumentOptions::addTo(command);
    command.add_option("--pin", pins, "output to sample, NODE:OUT; without it the document's \"output\"")
        ->expected(1, 1000000);
    command.add_option("--threads", threads, "number of workers; without it all processors")
        ->check(CLI::Range(std::size_t{1}, std::size_t{1024}));
    command.add_flag("--quiet", quiet, "no progress, no warnings");
}

zrkmodel::GraphDocument loadDocument(const DocumentOptions& options, bool quiet,
                                     std::vector<std::filesystem::path>* files,
                                     zrkmodel::DocumentWarnings* told)
{
    limitMemory(options.memory);
    zrkmodel::DocumentWarnings warnings;
    auto document = withProgress("loading", quiet, [&](ProgressBar& bar) {
        zrkmodel::LoadSettings settings(&bar);
        settings.isConfined = options.isConfined;
        settings.files = files;
        return zrk::valueOrThrow(zrkmodel::GraphDocument::load(options.document, warnings, settings));
    });
    for (const std::string& change : options.changes) {
        makeChange(document, change, warnings);
    }
    for (const zrk::Fault& warning : warnings) {
        if (told) {
            told->push_back(warning);
        } else if (!quiet || options.isStrict) {
            tellFault(MessageKind::Warning, warning);
        }
    }
    if (options.isStrict && !warnings.empty()) {
        throw zrk::FaultError({options.document,
                               fmt::format("{} warning{}", warnings.size(), warnings.size() == 1 ? "" : "s"),
                               "none with --strict", "mend what they tell, or leave --strict out"});
    }
    return document;
}

void tellWarning(const zrk::Fault& warning, bool isStrict, bool quiet)
{
    if (isStrict) {
        zrk::Fault refused = warning;
        refused.kind = zrk::FaultKind::BadInput;
        throw zrk::FaultError(std::move(refused));
    }
    if (!quiet) {
        tellFault(MessageKind::Warning, warning);
    }
}

void tellRemarks(const std::vector<zrk::Fault>& remarks, bool quiet)
{
    for (const zrk::Fault& remark : remarks) {
        if (!quiet) {
            tellFault(MessageKind::Note, remark);
        }
    }
}

void checkIsNotRead(const std::string& file, const std::vector<std::filesystem::path>& inputs)
{
    const std::filesystem::path path(file);
    const std::filesystem::path folder = path.has_parent_path() ? path.parent_path() : ".";
    const bool isPicture = zrk::extensionOf(file) == ".png";
    for (const std::filesystem::path& input : inputs) {
        std::error_code isMissing;
        const bool isSlice = isPicture && std::filesystem::is_directory(input, isMissing) &&
                             std::filesystem::equivalent(folder, input, isMissing);
        if (isSlice || std::filesystem::equivalent(path, input, isMissing)) {
            throw zrk::FaultError({file,
                                   isSlice ? "a picture among the slices that are read"
                                           : "a file that the document is read from",
                                   "another file to write", "give it another name"});
        }
    }
}

void checkCanBeWritten(const std::string& file)
{
    std::error_code isMissing;
    if (!std::filesystem::exists(file, isMissing) || std::filesystem::is_regular_file(file, isMissing)) {
        zrk::valueOrThrow(zrk::AtomicFile::create(file)); // goes again
    }
}

Job::Job(const SamplingOptions& options, std::vector<std::filesystem::path>* files)
    : document(loadDocument(options, options.quiet, files ? files : &inputs))
{
    if (files) {
        inputs = *files;
    }
    inputs.emplace_back(options.document);
    for (const std::string& pin : options.pins) {
        zrkmodel::OutputField output = zrk::valueOrThrow(document.outputField(parsePin("--pin", pin)));
        const bool isTwice = std::any_of(outputs.begin(), outputs.end(), [&](const auto& other) {
            return other.address.node == output.address.node && other.address.output == output.address.output;
        });
        if (isTwice) {
            throw zrk::FaultError({"--pin", zrk::quotation(pin) + " a second time", "each output once",
                                   "leave out all but one"});
        }
        outputs.push_back(std::move(output));
    }
    if (outputs.empty()) {
        outputs.push_back(zrk::valueOrThrow(document.outputField()));
    }
}

std::string Job::fileOf(const zrkmodel::OutputField& output, const std::string& file) const
{
    std::string target = file;
    if (outputs.size() > 1) {
        const std::filesystem::path path(file);
        const std::string name = fmt::format("{}_{}_{}{}", path.stem().string(), output.address.node,
                                             output.address.output, path.extension().string());
        target = (path.parent_path() / name).string();
    }
    checkTarget(target);
    return target;
}

void Job::checkTarget(const std::string& file) const
{
    checkIsNotRead(file, inputs);
    checkCanBeWritten(file);
}

std::vector<std::string> argumentsInParsingOrder(int argc, char** argv)
{
    std::vector<std::string> arguments(argv + 1, argv + argc);
    for (std::string& argument : arguments) {
        const bool isDigit = argument.size() > 2 && argument[2] >= '0' && argument[2] <= '9';
        if (isDigit && argument.starts_with("-.")) {
            argument.insert(1, "0");
        }
    }
    std::reverse(arguments.begin(), arguments.end());
    return arguments;
}

} // namespace zrkcli
