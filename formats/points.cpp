#include "formats/points.h"

#include "core/values/stop.h"
#include "formats/line_reader.h"
#include "formats/text_words.h"

#include <algorithm>
#include <utility>

namespace zrk {

namespace {

using Points = std::vector<Tensor<3, double>>;

/// What some editors put before a text in UTF-8.
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

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

Result<Points> pointsOf(LineReader& lines, const std::string& place, std::size_t most)
{
    Points points;
    StopLookout lookout;
    while (lines.next()) {
        lookout.step();
        std::string_view line = lines.line();
        if (lines.number() == 1 && line.starts_with(kByteOrderMark)) {
            line.remove_prefix(kByteOrderMark.size());
        }
        const std::string_view text = trimmed(line);
        if (text.empty() || text.front() == '#') {
            continue;
        }
        const auto numbers = lines.isWhole() ? parseNumbers(text, 3) : std::nullopt;
        if (!numbers) {
            return refused({place + ", line " + std::to_string(lines.number()), quotation(lines.line()),
                            "three finite numbers x,y,z",
                            "write one position a line, e.g. 0.5,-1,2; lines that begin with # are skipped"});
        }
        if (points.size() == most) {
            return refused({place, "more positions than the limit", "at most " + std::to_string(most),
                            "divide the list", FaultKind::FailedWork});
        }
        points.push_back({(*numbers)[0], (*numbers)[1], (*numbers)[2]});
    }
    if (lines.fault()) {
        return refused(*lines.fault());
    }
    return points;
}

} // namespace

std::optional<std::vector<double>> parseNumbers(std::string_view text, std::size_t count)
{
    std::vector<double> numbers;
    std::size_t start = 0;
    while (start <= text.size() && numbers.size() <= count) {
        const std::size_t comma = std::min(text.find(',', start), text.size());
        const auto number = finiteNumber(trimmed(text.substr(start, comma - start)));
        if (!number) {
            return std::nullopt;
        }
        numbers.push_back(*number);
        start = comma + 1;
    }
    return numbers.size() == count ? std::optional(std::move(numbers)) : std::nullopt;
}

Result<Points> readPoints(Result<InputFile> file, const std::string& place, std::size_t most,
                          ProgressMonitor* monitor)
{
    return attempt(place, [&] {
        LineReader lines(std::move(file), monitor);
        return pointsOf(lines, place, most);
    });
}

} // namespace zrk
