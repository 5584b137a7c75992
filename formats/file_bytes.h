#pragma once

#include "core/values/fault.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <vector>

namespace zrk {

/// The bytes of an ordinary file. Refuses one that is missing, unreadable, longer than `limit`, or no
/// ordinary file, such as a folder or a pipe.
Result<std::vector<std::uint8_t>> readFileBytes(const std::filesystem::path& path, std::size_t limit);

} // namespace zrk
