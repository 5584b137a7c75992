#pragma once

#include "core/values/export.h"
#include "core/values/fault.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <vector>

namespace zrk {

class ProgressMonitor;

/// The bytes of an ordinary file. Refuses one that is missing, unreadable, longer than `limit`, or no
/// ordinary file, such as a folder or a pipe.
/// @param monitor  asked every few milliseconds; may be null.
ZRK_API Result<std::vector<std::uint8_t>> readFileBytes(const std::filesystem::path& path, std::size_t limit,
                                                        ProgressMonitor* monitor = nullptr);

} // namespace zrk
