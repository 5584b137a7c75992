#include "host/free_memory.h"

#include "core/engine/worker_team.h"
#include "core/values/memory_budget.h"

#include <sys/resource.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace zrkmodel {

namespace {

/// The number that a file holds; nothing for a missing file and for the word "max".
std::optional<double> readNumber(const std::string& file)
{
    std::ifstream in(file);
    double number = 0;
    return in >> number ? std::optional(number) : std::nullopt;
}

/// The number behind a word at the beginning of a line.
std::optional<double> readNumber(const std::string& file, const std::string& word)
{
    std::ifstream in(file);
    std::string line;
    while (std::getline(in, line)) {
        std::istringstream words(line);
        std::string first;
        double number = 0;
        if (words >> first >> number && first == word) {
            return number;
        }
    }
    return std::nullopt;
}

std::optional<double> least(std::optional<double> a, std::optional<double> b)
{
    return a && b ? std::min(*a, *b) : a ? a : b;
}

/// Where a version of control groups keeps what it knows about memory.
struct GroupFiles {
    const char* mount;
    const char* limit; ///< version 1 writes a number beyond every machine's memory for none
    const char* used;  ///< copies of files included
    const char* cache; ///< in memory.stat: copies of files that weren't needed lately
};

constexpr GroupFiles kVersion1{"/sys/fs/cgroup/memory", "memory.limit_in_bytes", "memory.usage_in_bytes",
                               "total_inactive_file"};
constexpr GroupFiles kVersion2{"/sys/fs/cgroup", "memory.max", "memory.current", "inactive_file"};

std::optional<double> freeInGroup(const std::string& folder, const GroupFiles& files)
{
    const std::optional<double> limit = readNumber(folder + files.limit);
    if (!limit) {
        return std::nullopt;
    }
    const double used = readNumber(folder + files.used).value_or(0);
    const double cache = readNumber(folder + "memory.stat", files.cache).value_or(0);
    return std::max(0.0, *limit - std::max(0.0, used - cache));
}

/// The folders of a group and of those around it, with a slash at the end, the outermost first.
std::vector<std::string> groupFolders(const std::string& mount, const std::string& group)
{
    std::vector<std::string> folders{mount + "/"};
    std::istringstream names(group);
    for (std::string name; std::getline(names, name, '/');) {
        if (name == ".." && folders.size() > 1) {
            folders.pop_back();
        } else if (!name.empty() && name != "." && name != "..") {
            folders.push_back(folders.back() + name + "/");
        }
    }
    return folders;
}

/// Of a group and those around it, whose limits hold too. In a container the group's own folder may be out of
/// sight, and the container's limit be that of the outermost folder.
std::optional<double> freeInGroups(const std::string& root, const std::string& group, const GroupFiles& files)
{
    std::optional<double> free;
    for (const std::string& folder : groupFolders(root + files.mount, group)) {
        free = least(free, freeInGroup(folder, files));
    }
    return free;
}

} // namespace

// Paths are joined as texts: where memory fails, the library's own operator for paths crashes.
std::optional<double> freeMemory(const std::filesystem::path& rootFolder)
{
    const std::string root = rootFolder == "/" ? "" : rootFolder.string();
    std::optional<double> free = readNumber(root + "/proc/meminfo", "MemAvailable:");
    if (free) {
        *free *= 1024; // it counts in kB
    }
    // Lines of number:controllers:group; version 2 names no controllers.
    std::ifstream groups(root + "/proc/self/cgroup");
    std::string number;
    std::string controllers;
    std::string group;
    while (std::getline(groups, number, ':') && std::getline(groups, controllers, ':') &&
           std::getline(groups, group)) {
        if (controllers.empty()) {
            free = least(free, freeInGroups(root, group, kVersion2));
        } else if (("," + controllers + ",").find(",memory,") != std::string::npos) {
            free = least(free, freeInGroups(root, group, kVersion1));
        }
    }
    return free;
}

std::optional<double> memoryToUse()
{
    const double budget = zrk::memoryBudget();
    return std::isinf(budget) ? freeMemory()
                              : least(freeMemory(), std::max(0.0, budget - zrk::memoryInUse()));
}

void limitMemory(std::optional<double> bytes)
{
    constexpr double kShare = 0.75;
    if (!bytes) {
        const std::optional<double> free = freeMemory();
        if (!free) {
            return;
        }
        bytes = zrk::memoryInUse() + kShare * *free;
    }
    zrk::setMemoryBudget(*bytes);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    // Sanitizers take address space by the terabyte.
    const double stacks = double{32 << 20} + double{9 << 20} * static_cast<double>(zrk::workerCount(0));
    rlimit limit = {};
    if (::getrlimit(RLIMIT_DATA, &limit) == 0) {
        const double most = *bytes + stacks;
        if (most < static_cast<double>(limit.rlim_max)) {
            limit.rlim_cur = static_cast<rlim_t>(most);
            (void)::setrlimit(RLIMIT_DATA, &limit);
        }
    }
#endif
}

} // namespace zrkmodel
