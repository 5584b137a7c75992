#include "formats/file_bytes.h"

#include "formats/npy.h"
#include "formats/png.h"
#include "testing/source_folder.h"

#include <gmock/gmock.h>

namespace zrk {
namespace {

const std::filesystem::path kCorpus = zrktest::sourceFolder() / "fuzz" / "corpus";

TEST(FileReaders, SayWhatIsWrongWithAPath)
{
    const Fault missing = readPngFile(kCorpus / "missing.png").error();
    EXPECT_EQ(missing.place, (kCorpus / "missing.png").string());
    EXPECT_THAT(missing.found, ::testing::StartsWith("no file"));
    EXPECT_THAT(readPngFile(kCorpus).error().found, ::testing::StartsWith("a folder"));
    EXPECT_FALSE(readNpyFile("/dev/zero")) << "never ends";
    EXPECT_EQ(readFileBytes(kCorpus / "png_reader/grey8.png", 10).error().expected, "at most 10");
    EXPECT_TRUE(readPngFile(kCorpus / "png_reader/grey8.png"));
}

} // namespace
} // namespace zrk
