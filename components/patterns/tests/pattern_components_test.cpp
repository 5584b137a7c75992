#include "components/patterns/cross.h"
#include "components/patterns/gyroid.h"
#include "testing/component_checks.h"

#include <cmath>

namespace zrkmodel {
namespace {

using namespace zrkmodel::testing;

constexpr const char* kCross = R"({"thickness ratios":[1.0,0.0,0.5],"smoothness":0.5})";

TEST(PatternComponents, HaveTheirStoredForm)
{
    expectStoredForm<ZRKGyroid>(R"({"contour":0.0})", R"({"contour":0.25})");
    expectStoredForm<ZRKCross>(R"({"thickness ratios":[1.0,1.0,1.0],"smoothness":0.0})", kCross);
}

TEST(PatternComponents, ForwardTheWeightOfTheirCoordinates)
{
    expectForwardedWeight<ZRKGyroid>();
    expectForwardedWeight<ZRKCross>();
}

TEST(PatternComponents, KeepBuiltEvaluatorsThroughEdits)
{
    expectEditsReachOnlyNewEvaluators<ZRKGyroid>(R"({"contour":0.25})", {0.5, 0.5, 0.5});
    expectEditsReachOnlyNewEvaluators<ZRKCross>(kCross, {0.5, 0.5, 0.5});
}

TEST(PatternComponents, GiveTheDensitiesOfTheirProperties)
{
    const ValueAtPosition<double> cases[] = {
        {"default gyroid", std::make_shared<ZRKGyroid>(), "{}", {0, 0, 0}, 0.5},
        {"gyroid", std::make_shared<ZRKGyroid>(), R"({"contour": 0.25})", {0, 0, 0}, 0.75},
        {"default cross", std::make_shared<ZRKCross>(), "{}", {0.5, 0.5, 0.5}, 1},
        {"smoothness 0.0001 is still hard",
         std::make_shared<ZRKCross>(),
         R"({"smoothness": 0.0001})",
         {0.5, 0.5, 0.5},
         1},
        {"more is smooth", std::make_shared<ZRKCross>(), R"({"smoothness": 0.00011})", {0.5, 0.5, 0.5}, 3},
        {"smooth",
         std::make_shared<ZRKCross>(),
         kCross,
         {0.5, 0.5, 0.5},
         1 + std::exp(-50 * 0.0625) + std::exp(-50 * 0.015625)},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        load(*c.component, ZRKJson::parse(c.values));
        EXPECT_DOUBLE_EQ(sample(c.component, c.p).front(), c.expected);
    }
}

} // namespace
} // namespace zrkmodel
