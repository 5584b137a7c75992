#include "formats/input_file.h"

#include "core/engine/progress.h"
#include "formats/line_reader.h"
#include "testing/temporary_folder.h"

#include <gmock/gmock.h>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>

namespace zrk {
namespace {

using ::testing::HasSubstr;

class InputFiles : public zrktest::TemporaryFolder {
protected:
    std::string pipe() const
    {
        EXPECT_EQ(::mkfifo(path("pipe").c_str(), 0600), 0);
        return path("pipe");
    }
};

/// Interrupts when it is asked so often.
struct SoonTired final : ProgressMonitor {
    int asked = 0;
    void progress(double) override {}
    bool interruptRequested() override { return ++asked > 3; }
};

TEST_F(InputFiles, TellWhatIsThereInPlaceOfAFile)
{
    const std::string fifo = pipe();
    const int listener = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    path("socket").copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(::bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    const auto found = [](const std::string& name, InputFile::Accepted accepted) {
        const auto file = InputFile::open(name, accepted);
        return file ? "a file" : file.error().found;
    };
    EXPECT_EQ(found(path(""), InputFile::Accepted::Files), "a folder");
    EXPECT_EQ(found(fifo, InputFile::Accepted::Files), "a pipe");
    EXPECT_EQ(found("/dev/zero", InputFile::Accepted::Files), "a device");
    EXPECT_EQ(found(path("socket"), InputFile::Accepted::Files), "a socket");
    EXPECT_EQ(found(path(""), InputFile::Accepted::FilesAndStreams), "a folder");
    EXPECT_EQ(found(fifo, InputFile::Accepted::FilesAndStreams), "a file") << "without a wait for a writer";
    EXPECT_THAT(found(path("none"), InputFile::Accepted::Files), HasSubstr("No such file"));
    EXPECT_THAT(found(std::string(300, 'n'), InputFile::Accepted::Files), HasSubstr("too long"));
    ::close(listener);
}

TEST_F(InputFiles, AWaitForAPipeAsksTheMonitor)
{
    const std::string fifo = pipe();
    SoonTired monitor;
    LineReader lines(InputFile::open(fifo, InputFile::Accepted::FilesAndStreams), &monitor);
    const int writer = ::open(fifo.c_str(), O_WRONLY);
    ASSERT_EQ(::write(writer, "one\ntw", 6), 6);
    ASSERT_TRUE(lines.next());
    EXPECT_EQ(lines.line(), "one");
    const auto begun = std::chrono::steady_clock::now();
    EXPECT_FALSE(lines.next()) << "half a line is none";
    EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(2));
    ASSERT_TRUE(lines.fault());
    EXPECT_EQ(lines.fault()->kind, FaultKind::Interrupted);
    EXPECT_TRUE(monitor.isInterruptAcknowledged());
    ::close(writer);
}

TEST_F(InputFiles, ReadPipesToTheEnd)
{
    const std::string fifo = pipe();
    LineReader lines(InputFile::open(fifo, InputFile::Accepted::FilesAndStreams));
    const int writer = ::open(fifo.c_str(), O_WRONLY);
    ASSERT_EQ(::write(writer, "one\n\nthree", 10), 10);
    ::close(writer);
    for (const char* expected : {"one", "", "three"}) {
        ASSERT_TRUE(lines.next());
        EXPECT_EQ(lines.line(), expected);
    }
    EXPECT_FALSE(lines.next());
    EXPECT_FALSE(lines.fault());
}

TEST_F(InputFiles, ThatBecomeShorterAreNoWholeOnes)
{
    // Cut between two lines, where nothing else tells.
    const std::string line(63, 'v');
    std::string text;
    for (int i = 0; i < 4096; ++i) {
        text += line + '\n';
    }
    put("cut.obj", text);
    LineReader lines(path("cut.obj"), text.size());
    ASSERT_TRUE(lines.next());
    std::filesystem::resize_file(path("cut.obj"), text.size() / 2);
    while (lines.next()) {
        EXPECT_EQ(lines.line(), line);
    }
    ASSERT_TRUE(lines.fault());
    EXPECT_THAT(lines.fault()->found, HasSubstr("changed or broke off"));
}

} // namespace
} // namespace zrk
