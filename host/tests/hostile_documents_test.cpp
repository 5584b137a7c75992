#include "testing/document_mutation.h"
#include "testing/document_use.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

namespace zrkmodel {
namespace {

/// Beside the small files that the examples' paths then lead to.
const std::string kHostileName = zrktest::sourceFolder() / "fuzz" / "fixtures" / "case.zrk.json";
constexpr double kHostileBytes = 512e6;

// What the fuzz target for documents does for as long as one likes, here with the same numbers every time
// and in the value types of this build.
TEST(HostileDocuments, AreRefusedOrGoTogether)
{
    zrktest::DocumentMutation mutation(zrktest::smallExamples());
    const zrktest::DocumentTrial trial(kHostileName, std::chrono::seconds(2), kHostileBytes);
    std::string text;
    int readCount = 0;
    std::size_t sampled = 0;
    ::testing::internal::CaptureStdout(); // what importers and solvers tell
    for (std::uint32_t seed = 1; seed <= 1000; ++seed) {
        text = mutation.changed(text, seed);
        const zrktest::DocumentUse use = trial(text);
        readCount += use.isRead ? 1 : 0;
        sampled += use.sampled;
        EXPECT_EQ(use.wrong, "") << "seed " << seed << ", document\n" << text;
        if (!use.isRead) {
            text.clear(); // go on from an example
        }
    }
    ::testing::internal::GetCapturedStdout();
    // Else it's the first line of the reader alone that is tried.
    EXPECT_GT(readCount, 300);
    EXPECT_GT(sampled, 300u);
}

// What the fuzz target found once, and what the tests of the command line refuse.
TEST(HostileDocuments, OfTheCorpusAreRefusedOrGoTogether)
{
    const zrktest::DocumentTrial trial(kHostileName, std::chrono::seconds(20), kHostileBytes);
    std::size_t count = 0;
    ::testing::internal::CaptureStdout();
    for (const auto& entry :
         std::filesystem::directory_iterator(zrktest::sourceFolder() / "fuzz" / "corpus" / "document")) {
        std::ifstream file(entry.path(), std::ios::binary);
        const zrktest::DocumentUse use = trial({std::istreambuf_iterator<char>(file), {}});
        EXPECT_EQ(use.wrong, "") << entry.path();
        EXPECT_FALSE(use.isStopped) << entry.path();
        ++count;
    }
    ::testing::internal::GetCapturedStdout();
    EXPECT_GT(count, 50u);
}

TEST(HostileDocuments, ExamplesGoTogether)
{
    const zrktest::DocumentTrial trial(kHostileName, std::chrono::seconds(20), kHostileBytes);
    ::testing::internal::CaptureStdout();
    for (const ZRKJson& example : zrktest::smallExamples()) {
        const zrktest::DocumentUse use = trial(example.dump());
        EXPECT_TRUE(use.isRead && use.sampled > 0 && !use.isStopped) << example.dump(1);
        EXPECT_EQ(use.wrong, "") << example.dump(1);
    }
    ::testing::internal::GetCapturedStdout();
}

} // namespace
} // namespace zrkmodel
