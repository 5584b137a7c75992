#pragma once

#include "core/values/export.h"

#include <filesystem>
#include <optional>

namespace zrkmodel {

/// Bytes that this process may still take without swapping: the least of what the machine has and of what
/// the limits of its control groups (a container's, for example) leave. Memory that only holds copies of
/// files and can be given up counts as free. Nothing where the system doesn't tell.
///
/// Linux: reads proc/meminfo, proc/self/cgroup and the groups of version 1 or 2 below sys/fs/cgroup.
///
/// @param root  of the file system; another one for tests.
std::optional<double> freeMemory(const std::filesystem::path& root = "/");

/// The same, or what the budget of this process leaves of it (see core/values/memory_budget.h).
ZRK_API std::optional<double> memoryToUse();

/// Sets the budget of this process.
///
/// @param bytes  for all that it has; nothing for what it has and three quarters of what is free.
///
/// The system, too, is told to refuse more, with room for stacks: lack of memory then is a message instead of
/// the end of a process that the system picks.
ZRK_API void limitMemory(std::optional<double> bytes);

} // namespace zrkmodel
