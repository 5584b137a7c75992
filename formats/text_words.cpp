#include "formats/text_words.h"

#include <charconv>
#include <cmath>

namespace zrk {

std::optional<double> finiteNumber(std::string_view word)
{
    if (word.size() > 1 && word.front() == '+' && word[1] != '-') {
        word.remove_prefix(1);
    }
    double value = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
    if (error != std::errc() || end != word.data() + word.size() || !std::isfinite(value)) {
        return std::nullopt;
    }
    return value;
}

} // namespace zrk
