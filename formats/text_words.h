#pragma once

#include <charconv>
#include <cstddef>
#include <optional>
#include <string_view>
#include <system_error>

namespace zrk {

/// The blanks of the C locale.
inline bool isBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
inline bool isDigit(char c) { return c >= '0' && c <= '9'; }

inline void skipBlanks(std::string_view& text)
{
    std::size_t i = 0;
    while (i < text.size() && isBlank(text[i])) {
        ++i;
    }
    text.remove_prefix(i);
}

/// Takes the first word off the text and returns it; empty at the end.
inline std::string_view takeWord(std::string_view& text)
{
    skipBlanks(text);
    std::size_t i = 0;
    while (i < text.size() && !isBlank(text[i])) {
        ++i;
    }
    const std::string_view word = text.substr(0, i);
    text.remove_prefix(i);
    return word;
}

/// The finite number that a word is; nothing for any other. A plus sign may stand before it.
std::optional<double> finiteNumber(std::string_view word);

/// The whole number that a word is, without a plus sign; nothing for any other word, and for a number beyond
/// those of the type.
template <class Integer>
std::optional<Integer> wholeNumber(std::string_view word, int base = 10)
{
    Integer value{};
    const char* const behind = word.data() + word.size();
    const auto [end, error] = std::from_chars(word.data(), behind, value, base);
    return error == std::errc() && end == behind ? std::optional(value) : std::nullopt;
}

} // namespace zrk
