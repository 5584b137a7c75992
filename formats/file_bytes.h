#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace zrk {

/// The bytes of an ordinary file. Nothing for one that is missing, unreadable, longer than `limit`, or no
/// ordinary file, such as a folder or a pipe; then `fault`, if there is one, gets "found X, expected Y".
std::optional<std::vector<std::uint8_t>> readFileBytes(const std::filesystem::path& path, std::size_t limit,
                                                       std::string* fault = nullptr);

/// Writes a fault where a place for it is given; always nothing, to be returned.
inline std::nullopt_t refused(std::string* fault, std::string text)
{
    if (fault) {
        *fault = std::move(text);
    }
    return std::nullopt;
}

} // namespace zrk
