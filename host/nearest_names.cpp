#include "host/nearest_names.h"

#include <fmt/core.h>

#include <algorithm>
#include <numeric>
#include <set>
#include <utility>

namespace zrkmodel {

std::size_t editDistance(std::string_view text, std::string_view name)
{
    const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
    std::vector<std::size_t> row(name.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < text.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i + 1;
        for (std::size_t j = 0; j < name.size(); ++j) {
            const std::size_t replaced = diagonal + (lower(text[i]) == lower(name[j]) ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({row[j] + 1, diagonal + 1, replaced});
        }
    }
    return *std::min_element(row.begin(), row.end());
}

std::string nearestNames(std::string_view text, const std::vector<std::string>& known, std::size_t count)
{
    std::set<std::pair<std::size_t, std::string>> ranked;
    for (const std::string& name : known) {
        ranked.emplace(editDistance(text, name), name);
    }
    std::string names;
    for (const auto& [distance, name] : ranked) {
        if (count-- == 0) {
            break;
        }
        names += fmt::format("{}\"{}\"", names.empty() ? "" : ", ", name);
    }
    return names;
}

} // namespace zrkmodel
