#include "core/values/processor.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace zrk {
namespace {

std::string complaint(ProcessorFeatures offered, ProcessorFeatures required)
{
    char text[512];
    const std::size_t length = describeProcessorFault(offered, required, text, sizeof text);
    EXPECT_EQ(length, std::strlen(text));
    return text;
}

TEST(Processor, TellsWhatIsMissingOfWhatIsRequired)
{
    constexpr ProcessorFeatures kAvx = 1u << 0;
    constexpr ProcessorFeatures kAvx2 = 1u << 1;
    constexpr ProcessorFeatures kFma = 1u << 5;
    constexpr ProcessorFeatures kAvx512f = 1u << 8;
    struct Case {
        const char* name;
        ProcessorFeatures offered;
        ProcessorFeatures required;
        const char* found; ///< empty for no message
    };
    const Case cases[] = {
        {"all is there", kAvx | kAvx2 | kFma, kAvx | kFma, ""},
        {"nothing is required", 0, 0, ""},
        {"more is there", kAvx | kAvx512f, kAvx, ""},
        {"one is missing", kAvx, kAvx | kAvx2, "the instructions AVX2, expected"},
        {"two are missing, one is there", kAvx2, kAvx | kAvx2 | kAvx512f,
         "the instructions AVX, AVX512F, expected"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string text = complaint(c.offered, c.required);
        EXPECT_EQ(text.empty(), *c.found == '\0');
        EXPECT_NE(text.find(c.found), std::string::npos) << text;
        EXPECT_EQ(text.empty(), text.find("\n  remedy: ") == std::string::npos);
    }
}

TEST(Processor, CutsTextThatHasNoRoom)
{
    char text[16];
    EXPECT_EQ(describeProcessorFault(0, ~0u, text, sizeof text), 15u);
    EXPECT_EQ(std::string(text), "zrk: processor,");
}

// This machine runs the test, so that it has what the test was compiled for.
TEST(Processor, OfThisMachineHasWhatTheCodeNeeds)
{
    EXPECT_EQ(requiredProcessorFeatures() & ~processorFeatures(), 0u);
}

} // namespace
} // namespace zrk
