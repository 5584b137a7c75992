#pragma once

#include <fmt/core.h>

#include <cstdint>
#include <string>

namespace zrkmodel {

/// A share for people, e.g. "12.3 %"; of nothing it is "0 %".
inline std::string percent(std::uint64_t part, std::uint64_t whole)
{
    return fmt::format("{:.3g} %",
                       whole > 0 ? 100 * static_cast<double>(part) / static_cast<double>(whole) : 0.0);
}

} // namespace zrkmodel
