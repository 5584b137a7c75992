#pragma once

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

} // namespace zrkmodel
