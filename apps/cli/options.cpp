#include "apps/cli/options.h"
#include "apps/cli/messages.h"

#include "apps/cli/progress_bar.h"
#include "formats/points.h"

#include <fmt/core.h>

#include <algorithm>
#include <charconv>
#include <cstdio>

namespace zrkcli {

zrk::BBox<double> parseBounds(const std::string& text)
{
    const auto n = zrk::parseNumbers(text, 6);
    if (!n) {
        throw zrk::FaultError({"--bounds", zrk::quotation(text), "six finite numbers",
                               "write the two corners as x0,y0,z0,x1,y1,z1"});
    }
    return {{(*n)[0], (*n)[1], (*n)[2]}, {(*n)[3], (*n)[4], (*n)[5]}};
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
    unsigned node = 0;
    unsigned output = 0;
    const std::size_t colon = text.find(':');
    const char* begin = text.data();
    const char* end = begin + text.size();
    bool isPin = colon != std::string::npos;
    if (isPin) {
        const char* middle = begin + colon;
        const auto first = std::from_chars(begin, middle, node);
        const auto second = std::from_chars(middle + 1, end, output);
        isPin =
            first.ec == std::errc() && first.ptr == middle && second.ec == std::errc() && second.ptr == end;
    }
    if (!isPin || node > zrkmodel::kMaxNodeId || output > 255) {
        throw zrk::FaultError(
            {option, zrk::quotation(text), "NODE:OUT",
             "give a node's id and the index of one of its outputs, e.g. " + option + " 2:0"});
    }
    return {static_cast<std::uint16_t>(node), static_cast<std::uint8_t>(output)};
}

void SamplingOptions::addTo(CLI::App& command)
{
    command.add_option("DOC", document, "graph document (.zrk.json)")->required();
    command.add_option("--pin", pin, "output to sample, NODE:OUT; without it the document's \"output\"");
    command.add_option("--threads", threads, "number of workers; without it all processors")
        ->check(CLI::Range(std::size_t{1}, std::size_t{1024}));
    command.add_flag("--quiet", quiet, "no progress");
}

zrkmodel::GraphDocument loadDocument(const std::string& path, bool quiet)
{
    zrkmodel::DocumentWarnings warnings;
    auto document = withProgress("loading", quiet, [&](ProgressBar& bar) {
        return zrk::valueOrThrow(zrkmodel::GraphDocument::load(path, warnings, &bar));
    });
    for (const zrk::Fault& warning : warnings) {
        tell("warning: {}\n", zrk::messageOf(warning));
    }
    return document;
}

Job::Job(const SamplingOptions& options)
    : document(loadDocument(options.document, options.quiet)),
      output(zrk::valueOrThrow(options.pin.empty() ? document.outputField()
                                                   : document.outputField(parsePin("--pin", options.pin))))
{}

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
