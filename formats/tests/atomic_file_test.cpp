#include "formats/atomic_file.h"

#include "testing/temporary_folder.h"

#include <gmock/gmock.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <functional>

namespace zrk {
namespace {

using zrktest::TemporaryFolder;

namespace fs = std::filesystem;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::StartsWith;

class AtomicFileTest : public TemporaryFolder {};

Result<void> save(const std::string& path, const std::string& text)
{
    return AtomicFile::create(path).and_then([&text](AtomicFile file) {
        file.write(text.data(), text.size());
        return file.commit();
    });
}

// The message of the failure that saving must end in.
std::string failureOf(const std::string& path, const std::string& text)
{
    const Result<void> saved = save(path, text);
    EXPECT_TRUE(!saved && saved.error().kind == FaultKind::FailedWork);
    return saved ? "no failure" : messageOf(saved.error());
}

mode_t modeOf(const std::string& path)
{
    struct stat status = {};
    EXPECT_EQ(::stat(path.c_str(), &status), 0);
    return status.st_mode & 07777;
}

// Pieces below, at and above the buffer's size, so that a lost flush or a swapped order shows.
TEST_F(AtomicFileTest, KeepsEveryByteInOrder)
{
    std::string expected;
    AtomicFile file = valueOrThrow(AtomicFile::create(path("out")));
    for (const std::size_t size : {1u, 100'000u, 262'144u, 0u, 7u, 1'000'000u, 262'143u, 2u}) {
        const std::string piece(size, static_cast<char>('a' + expected.size() % 26));
        file.write(piece.data(), piece.size());
        expected += piece;
    }
    EXPECT_FALSE(fs::exists(path("out")));
    EXPECT_TRUE(file.commit());
    EXPECT_TRUE(content("out") == expected);
    EXPECT_EQ(entryCount(), 1);
}

TEST_F(AtomicFileTest, WithoutCommitNothingChanges)
{
    put("out", "old");
    {
        AtomicFile file = valueOrThrow(AtomicFile::create(path("out")));
        const std::string large(1'000'000, 'x');
        file.write(large.data(), large.size());
        EXPECT_EQ(content("out"), "old");
    }
    EXPECT_EQ(content("out"), "old");
    EXPECT_EQ(entryCount(), 1);
}

TEST_F(AtomicFileTest, TellsAFailedWriteAtOnceAndAtTheEnd)
{
    const int descriptor = ::open("/dev/full", O_WRONLY);
    if (descriptor < 0) {
        GTEST_SKIP() << "no /dev/full here";
    }
    AtomicFile file = valueOrThrow(AtomicFile::create("/proc/self/fd/" + std::to_string(descriptor)));
    const std::string large(1'000'000, 'x');
    EXPECT_TRUE(file.write("text", 4)) << "waits in the buffer";
    EXPECT_FALSE(file.write(large.data(), large.size()));
    EXPECT_FALSE(file.write("text", 4));
    EXPECT_FALSE(file.commit());
    ::close(descriptor);
}

TEST_F(AtomicFileTest, RefusesPlacesThatCantHoldAFile)
{
    fs::create_directory(path("folder"));
    put("plain", "old");
    fs::create_symlink("ring2", path("ring1"));
    fs::create_symlink("ring1", path("ring2"));
    struct Case {
        const char* name;
        std::string path;
        const char* found;
        const char* remedy;
    };
    const Case cases[] = {
        {"folder missing", path("missing/out"), "No such file or directory", "create the folder"},
        {"file as folder", path("plain/out"), "Not a directory", "create the folder"},
        {"a folder that takes none", "/proc/out", "No such file or directory", "write to another folder"},
        {"a folder", path("folder"), "found a folder", "name a file inside it"},
        {"a folder to be", path("new/"), "found a folder", "name a file inside it"},
        {"links in a circle", path("ring1"), "links in a circle", "remove the link"},
        {"name too long", path(std::string(300, 'n')), "name too long", "shorter name"},
    };
    const std::ptrdiff_t before = entryCount();
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_THAT(failureOf(c.path, "new"), AllOf(StartsWith(c.path + ": found"), HasSubstr(c.found),
                                                    HasSubstr("\n  remedy: "), HasSubstr(c.remedy)));
        EXPECT_EQ(entryCount(), before);
    }
    EXPECT_EQ(content("plain"), "old");
    EXPECT_THAT(failureOf("", "new"), HasSubstr("empty name"));
}

TEST_F(AtomicFileTest, RefusesAReadOnlyTarget)
{
    if (::geteuid() == 0) {
        GTEST_SKIP() << "root may write everywhere";
    }
    put("out", "old");
    fs::permissions(path("out"), fs::perms::owner_read);
    EXPECT_THAT(failureOf(path("out"), "new"), HasSubstr("Permission denied"));
    EXPECT_EQ(content("out"), "old");
}

// A limit on file size stands for a full disk: it strikes in the midst of the work and at its end.
TEST_F(AtomicFileTest, KeepsTheOldFileWhenTheDiskIsFull)
{
    put("out", "old");
    rlimit before = {};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
    const auto oldHandler = std::signal(SIGXFSZ, SIG_IGN);
    const rlimit small = {1000, before.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
    std::string failures[2];
    for (const int i : {0, 1}) {
        const std::string text(i == 0 ? 1'000'000 : 1001, 'x');
        failures[i] = failureOf(path("out"), text);
    }
    ::setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, oldHandler);
    for (const std::string& failure : failures) {
        EXPECT_THAT(failure, AllOf(StartsWith(path("out")), HasSubstr("File too large"),
                                   HasSubstr("free some space")));
    }
    EXPECT_EQ(content("out"), "old");
    EXPECT_EQ(entryCount(), 1);
}

// The device is reached through a descriptor, never by its name: a fault that replaces what it
// should write to must not replace a device of the machine when the tests run as root.
TEST_F(AtomicFileTest, ReportsAFullDevice)
{
    const int descriptor = ::open("/dev/full", O_WRONLY);
    if (descriptor < 0) {
        GTEST_SKIP() << "no /dev/full here";
    }
    const std::string full = "/proc/self/fd/" + std::to_string(descriptor);
    for (const std::size_t size : {10u, 1'000'000u}) { // at the end, in the midst
        EXPECT_THAT(failureOf(full, std::string(size, 'x')),
                    AllOf(StartsWith(full + ": "), HasSubstr("No space left"), HasSubstr("free some space")));
    }
    ::close(descriptor);
}

TEST_F(AtomicFileTest, WritesStraightIntoAPipe)
{
    ASSERT_EQ(::mkfifo(path("pipe").c_str(), 0600), 0);
    const int reader = ::open(path("pipe").c_str(), O_RDONLY | O_NONBLOCK);
    ASSERT_GE(reader, 0);
    EXPECT_TRUE(save(path("pipe"), "text"));
    char read[8] = {};
    EXPECT_EQ(::read(reader, read, sizeof read), 4);
    ::close(reader);
    EXPECT_STREQ(read, "text");
    EXPECT_TRUE(fs::is_fifo(path("pipe")));
    EXPECT_EQ(entryCount(), 1);
}

// What /dev/stdout is to a shell that redirected it: a descriptor into a file that holds something.
TEST_F(AtomicFileTest, AppendsToAnOpenDescriptor)
{
    put("log", "before ");
    const int descriptor = ::open(path("log").c_str(), O_WRONLY | O_APPEND);
    ASSERT_GE(descriptor, 0);
    const std::string alias = "/proc/self/fd/" + std::to_string(descriptor);
    fs::create_symlink(alias, path("stdout"));
    EXPECT_TRUE(save(path("stdout"), "after"));
    EXPECT_EQ(::write(descriptor, "!", 1), 1);
    ::close(descriptor);
    EXPECT_EQ(content("log"), "before after!");
}

TEST_F(AtomicFileTest, ReplacesWhatALinkPointsTo)
{
    fs::create_directory(path("folder"));
    put("folder/old", "old");
    fs::create_symlink("folder/old", path("link"));
    fs::create_symlink("folder/new", path("dangling"));
    EXPECT_TRUE(save(path("link"), "1"));
    EXPECT_TRUE(save(path("dangling"), "2"));
    EXPECT_TRUE(fs::is_symlink(path("link")));
    EXPECT_TRUE(fs::is_symlink(path("dangling")));
    EXPECT_EQ(content("folder/old"), "1");
    EXPECT_EQ(content("folder/new"), "2");
}

TEST_F(AtomicFileTest, GivesTheUsualPermissions)
{
    const mode_t oldMask = ::umask(027);
    EXPECT_TRUE(save(path("new"), "1"));
    put("kept", "old");
    ::chmod(path("kept").c_str(), 0604);
    EXPECT_TRUE(save(path("kept"), "1"));
    ::umask(oldMask);
    EXPECT_EQ(modeOf(path("new")), 0640u);
    EXPECT_EQ(modeOf(path("kept")), 0604u);
}

TEST_F(AtomicFileTest, TwoWritersOfOneTargetDontMeet)
{
    AtomicFile first = valueOrThrow(AtomicFile::create(path("out")));
    AtomicFile second = valueOrThrow(AtomicFile::create(path("out")));
    first.write("first", 5);
    second.write("second", 6);
    EXPECT_TRUE(first.commit());
    EXPECT_EQ(content("out"), "first");
    EXPECT_TRUE(second.commit());
    EXPECT_EQ(content("out"), "second");
}

// What a program leaves that is killed between the naming and the renaming of a file; what others hold stays.
TEST_F(AtomicFileTest, RemovesWhatKilledProgramsLeft)
{
    put("out.zrk-4711-0.tmp", "left");
    put("out.zrk-4711-12.tmp", "left");
    put("out.zrk-4712-0.tmp", "in work");
    const char* foreign[] = {"out.zrk-4711-.tmp", "out.zrk-4711-0.tmp2", "out.zrk-a-0.tmp",
                             "other.zrk-4711-0.tmp"};
    for (const char* name : foreign) {
        put(name, "foreign");
    }
    fs::create_symlink("other.zrk-4711-0.tmp", path("out.zrk-4713-0.tmp"));
    const int held = ::open(path("out.zrk-4712-0.tmp").c_str(), O_RDONLY);
    ASSERT_EQ(::flock(held, LOCK_EX), 0);
    EXPECT_TRUE(save(path("out"), "1"));
    EXPECT_FALSE(fs::exists(path("out.zrk-4711-0.tmp")));
    EXPECT_FALSE(fs::exists(path("out.zrk-4711-12.tmp")));
    EXPECT_EQ(content("out.zrk-4712-0.tmp"), "in work");
    EXPECT_EQ(entryCount(), 1 + 1 + 4 + 1);
    ::close(held);
    EXPECT_TRUE(save(path("out"), "2"));
    EXPECT_FALSE(fs::exists(path("out.zrk-4712-0.tmp")));
}

// Two that write one target at the same time: the one may begin while the other is about to finish.
TEST_F(AtomicFileTest, LeavesTheTemporaryFilesOfProgramsThatRun)
{
    AtomicFile first = valueOrThrow(AtomicFile::create(path("out")));
    for (const auto& entry : fs::directory_iterator(path(""))) {
        ADD_FAILURE() << entry.path() << " has a name before it is finished";
    }
    first.write("first", 5);
    EXPECT_TRUE(save(path("out"), "second"));
    EXPECT_TRUE(first.commit());
    EXPECT_EQ(content("out"), "first");
    EXPECT_EQ(entryCount(), 1);
}

TEST_F(AtomicFileTest, ALongNameFits)
{
    const std::string name(250, 'n');
    EXPECT_TRUE(save(path(name), "1"));
    EXPECT_EQ(content(name), "1");
}

} // namespace
} // namespace zrk
