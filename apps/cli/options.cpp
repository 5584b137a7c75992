#include "apps/cli/options.h"

#include "apps/cli/progress_bar.h"
#include "host/error.h"

#include <fmt/core.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <string_view>

namespace zrkcli {

using zrkmodel::hostError;
using zrkmodel::HostError;

namespace {

std::string_view trimmed(std::string_view text)
{
    const auto isBlank = [](char c) { return c == ' ' || c == '\t' || c == '\r'; };
    while (!text.empty() && isBlank(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && isBlank(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

std::optional<double> parseNumber(std::string_view text)
{
    text = trimmed(text);
    if (text.size() > 1 && text.front() == '+' && text[1] != '-') {
        text.remove_prefix(1);
    }
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || !std::isfinite(value)) {
        return std::nullopt;
    }
    return value;
}

zrkmodel::PinAddress parsePin(const std::string& text)
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
        throw hostError(HostError::kBadInput, "--pin", fmt::format("found \"{}\", expected NODE:OUT", text),
                        "give a node's id and the index of one of its outputs, e.g. --pin 2:0");
    }
    return {static_cast<std::uint16_t>(node), static_cast<std::uint8_t>(output)};
}

} // namespace

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
    auto document = [&] {
        ProgressBar bar("loading", quiet);
        return zrkmodel::GraphDocument::load(path, warnings, &bar);
    }();
    printWarnings(warnings);
    return document;
}

Job::Job(const SamplingOptions& options)
    : document(loadDocument(options.document, options.quiet)),
      output(options.pin.empty() ? document.outputField() : document.outputField(parsePin(options.pin)))
{}

std::optional<std::vector<double>> parseNumbers(const std::string& text, std::size_t count)
{
    std::vector<double> numbers;
    std::size_t start = 0;
    while (start <= text.size()) {
        const std::size_t comma = std::min(text.find(',', start), text.size());
        const auto number = parseNumber(std::string_view(text).substr(start, comma - start));
        if (!number) {
            return std::nullopt;
        }
        numbers.push_back(*number);
        start = comma + 1;
    }
    return numbers.size() == count ? std::optional(std::move(numbers)) : std::nullopt;
}

void printWarnings(const std::vector<std::string>& warnings)
{
    for (const std::string& warning : warnings) {
        fmt::print(stderr, "warning: {}\n", warning);
    }
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
