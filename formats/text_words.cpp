#include "formats/text_words.h"

#include <charconv>
#include <cmath>
#include <locale>
#include <sstream>
#include <string>

namespace zrk {

namespace {

/// Of a number that is nearer to 0 than any double, 0; nothing of one beyond all doubles.
std::optional<double> numberOutOfRange(std::string_view word)
{
    std::istringstream text{std::string(word)};
    text.imbue(std::locale::classic());
    double value = 0;
    return text >> value ? std::optional(value) : std::nullopt;
}

} // namespace

std::optional<double> finiteNumber(std::string_view word)
{
    if (word.size() > 1 && word.front() == '+' && word[1] != '-') {
        word.remove_prefix(1);
    }
    double value = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
    if (end != word.data() + word.size()) {
        return std::nullopt;
    }
    if (error == std::errc::result_out_of_range) {
        return numberOutOfRange(word);
    }
    if (error != std::errc() || !std::isfinite(value)) {
        return std::nullopt;
    }
    return value;
}

} // namespace zrk
