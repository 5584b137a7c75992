#include "host/free_memory.h"

#include "testing/temporary_folder.h"

#include <utility>
#include <vector>

namespace zrkmodel {
namespace {

using zrktest::TemporaryFolder;

class FreeMemory : public TemporaryFolder {
protected:
    using Files = std::vector<std::pair<std::string, std::string>>;

    std::string system(const std::string& name, const Files& files) const
    {
        for (const auto& [file, text] : files) {
            std::filesystem::create_directories((folder / name / file).parent_path());
            put(name + "/" + file, text);
        }
        return path(name);
    }
};

TEST_F(FreeMemory, IsTheLeastOfMachineAndControlGroups)
{
    const std::pair<std::string, std::string> machine{
        "proc/meminfo", "MemTotal:  9000 kB\nHugePages_Total:   0\nMemAvailable:    1000 kB\nCached: 7 kB\n"};
    const auto inGroups = [](const char* lines) {
        return std::pair<std::string, std::string>("proc/self/cgroup", lines);
    };
    const std::string v1 = "sys/fs/cgroup/memory/";
    const std::string v2 = "sys/fs/cgroup/";
    struct Case {
        const char* name;
        Files files;
        std::optional<double> expected;
    };
    const Case cases[] = {
        {"a system that tells nothing", {}, std::nullopt},
        {"the machine alone", {machine}, 1024000},
        {"groups without limits",
         {machine,
          inGroups("0::/a/b\n"),
          {v2 + "a/b/memory.max", "max\n"},
          {v2 + "a/b/memory.current", "999999999\n"}},
         1024000},
        {"a group with a limit",
         {machine,
          inGroups("0::/a\n"),
          {v2 + "a/memory.max", "500000\n"},
          {v2 + "a/memory.current", "300000\n"}},
         200000},
        {"a group that holds copies of files",
         {machine,
          inGroups("0::/a\n"),
          {v2 + "a/memory.max", "500000\n"},
          {v2 + "a/memory.current", "300000\n"},
          {v2 + "a/memory.stat", "anon 5\nactive_file 50\ninactive_file 100000\nslab 7\n"}},
         300000},
        {"a limit above the machine's memory",
         {machine,
          inGroups("0::/a\n"),
          {v2 + "a/memory.max", "9000000000\n"},
          {v2 + "a/memory.current", "1\n"}},
         1024000},
        {"a limit and a machine that doesn't tell",
         {inGroups("0::/a\n"), {v2 + "a/memory.max", "500000\n"}},
         500000},
        {"more used than the limit allows now",
         {machine,
          inGroups("0::/a\n"),
          {v2 + "a/memory.max", "500000\n"},
          {v2 + "a/memory.current", "600000\n"}},
         0},
        {"a smaller limit of the group around",
         {machine,
          inGroups("0::/a/b/c\n"),
          {v2 + "a/memory.max", "400000\n"},
          {v2 + "a/memory.current", "100000\n"},
          {v2 + "a/b/memory.max", "max\n"},
          {v2 + "a/b/c/memory.max", "900000\n"}},
         300000},
        {"a container that doesn't see its own group",
         {machine,
          inGroups("0::/docker/123\n"),
          {v2 + "memory.max", "500000\n"},
          {v2 + "memory.current", "1000\n"}},
         499000},
        {"another group's limit",
         {machine, inGroups("0::/a\n"), {v2 + "b/memory.max", "10\n"}, {v2 + "a/b/memory.max", "10\n"}},
         1024000},
        {"version 1, with a controller beside memory's",
         {machine,
          inGroups("5:name=memory:/b\n4:cpu,memory:/a:1\n3:cpuset:/b\n0::/b\n"),
          {v1 + "a:1/memory.limit_in_bytes", "500000\n"},
          {v1 + "a:1/memory.usage_in_bytes", "300000\n"},
          {v1 + "a:1/memory.stat", "inactive_file 1\ntotal_inactive_file 50000\n"},
          {v1 + "b/memory.limit_in_bytes", "10\n"}},
         250000},
        {"version 1 without a limit",
         {machine,
          inGroups("4:memory:/\n"),
          {v1 + "memory.limit_in_bytes", "9223372036854771712\n"},
          {v1 + "memory.usage_in_bytes", "300000\n"}},
         1024000},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(freeMemory(system(c.name, c.files)), c.expected);
    }
}

} // namespace
} // namespace zrkmodel
