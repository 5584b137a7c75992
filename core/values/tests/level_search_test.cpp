#include "core/values/level_search.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace zrk {
namespace {

TEST(LevelSearch, FindsWhereAFunctionHasAValue)
{
    struct Case {
        const char* name;
        double (*function)(double);
        double level;
        double start;
        double x;
        int mostCalls; ///< each may take seconds
    };
    const Case cases[] = {
        {"line", [](double x) { return 3 * x - 1; }, 5, 0, 2, 11},
        {"falling, far below the start", [](double x) { return -x; }, 40, 1, -40, 20},
        {"steep at one end", [](double x) { return std::exp(x); }, 1000, 0, std::log(1000), 33},
        {"flat at the crossing", [](double x) { return x * x * x; }, 0, 1.7, 0, 42},
        {"the start itself", [](double x) { return x; }, 2, 2, 2, 1},
        {"nothing on one side", [](double x) { return std::sqrt(x); }, 3, 1, 9, 19},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        int calls = 0;
        const LevelSearch found = findLevel(
            [&](double x) {
                ++calls;
                return c.function(x);
            },
            c.level, c.start, 0.1, 1e-9);
        EXPECT_TRUE(found.isFound);
        EXPECT_NEAR(found.value, c.level, 1e-9);
        EXPECT_NEAR(c.function(found.x), c.level, 1e-9);
        EXPECT_NEAR(found.x, c.x, 2e-3);
        EXPECT_LE(calls, c.mostCalls);
    }
}

TEST(LevelSearch, TellsWhatItSawOfAValueThatIsNeverReached)
{
    const LevelSearch search = findLevel([](double x) { return x * x / (1 + x * x); }, 2, 0.5, 0.1, 1e-9);
    EXPECT_FALSE(search.isFound);
    EXPECT_NEAR(search.least, 0, 0.05);
    EXPECT_NEAR(search.greatest, 1, 1e-4);
    EXPECT_EQ(search.value, search.greatest);
}

TEST(LevelSearch, EndsAtAJumpAndAtNaN)
{
    const LevelSearch jump = findLevel([](double x) { return x < 3 ? 0.0 : 1.0; }, 0.5, 0, 1, 1e-9);
    EXPECT_FALSE(jump.isFound);
    EXPECT_NEAR(jump.x, 3, 3);
    const LevelSearch undefined =
        findLevel([](double) { return std::numeric_limits<double>::quiet_NaN(); }, 0, 0, 1, 1e-9);
    EXPECT_FALSE(undefined.isFound);
}

} // namespace
} // namespace zrk
