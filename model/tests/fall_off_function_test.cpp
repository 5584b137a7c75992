#include "model/fall_off_function.h"

#include "model/serializable.h"
#include "testing/formula_agreement.h"
#include "testing/special_values.h"

namespace zrkmodel {
namespace {

using zrk::FallOffCurve;

using zrk::testing::kInfinity;
using zrk::testing::kNaN;

TEST(FallOffFunction, AtNumbersWithExactAnswers)
{
    struct Case {
        const char* name;
        ZRKFallOffFunction function;
        std::vector<std::pair<double, double>> answers;
    };
    const double gaussHalf = (std::exp(-1.0) - std::exp(-4.0)) / (1 - std::exp(-4.0));
    const std::vector<std::pair<double, double>> step = {
        {1, 1}, {0.5, 1}, {1.5, 0}, {kNaN, kNaN}, {-kInfinity, 1}};
    const Case cases[] = {
        {"default",
         {},
         {{-0.5, 1}, {-0.25, 0.75}, {0, 0.5}, {0.375, 0.125}, {0.5, 0}, {-9, 1}, {9, 0}, {kNaN, kNaN}}},
        {"linear",
         {1, 5, FallOffCurve::linear},
         {{1, 1}, {2, 0.75}, {5, 0}, {kInfinity, 0}, {-kInfinity, 1}}},
        {"smooth",
         {1, 5, FallOffCurve::smooth},
         {{1, 1}, {2, 0.84375}, {3, 0.5}, {4, 0.15625}, {5, 0}, {kNaN, kNaN}}},
        {"gauss",
         {1, 5, FallOffCurve::gauss},
         {{0, 1}, {1, 1}, {3, gaussHalf}, {5, 0}, {6, 0}, {kNaN, kNaN}}},
        {"step", {1, 1, FallOffCurve::gauss}, step},
        {"start above end", {1, -3, FallOffCurve::smooth}, step},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        for (const auto& [d, expected] : c.answers) {
            const double value = c.function(d);
            EXPECT_TRUE(value == expected || (std::isnan(value) && std::isnan(expected)))
                << "at " << d << ": " << value << ", expected " << expected;
        }
    }
}

TEST(FallOffFunction, TakesWholeNumbers)
{
    const ZRKFallOffFunction function{-1, 3, FallOffCurve::linear};
    EXPECT_EQ(function(0), 0.75);
    EXPECT_EQ(function(2L), 0.25);
    EXPECT_EQ(function(1.0F), 0.5);
}

TEST(FallOffFunction, AgreesInAllValueTypes)
{
    for (const FallOffCurve curve : {FallOffCurve::linear, FallOffCurve::smooth, FallOffCurve::gauss}) {
        SCOPED_TRACE(static_cast<int>(curve));
        const double tolerance = curve == FallOffCurve::gauss ? 1e-15 : 0;
        zrk::agreement::expectAgreement(ZRKFallOffFunction{-0.7, 1.1, curve}, tolerance);
        zrk::agreement::expectAgreement(ZRKFallOffFunction{0.5, 0.5, curve}, tolerance);
        zrk::agreement::expectAgreement(ZRKFallOffFunction{1, -1, curve}, tolerance);
    }
}

TEST(FallOffFunction, BoundsAreTight)
{
    const ZRKFallOffFunction smooth{-1, 1, FallOffCurve::smooth};
    const auto bounds = smooth(zrk::Interval<double>(-0.5, 0.5));
    EXPECT_NEAR(bounds.lower, 0.15625, 1e-14);
    EXPECT_NEAR(bounds.upper, 0.84375, 1e-14);
    EXPECT_EQ(smooth(zrk::Interval<double>(1, 7)).upper, 0);
    EXPECT_EQ(smooth(zrk::Interval<double>(-7, -1)).lower, 1);
}

// Rounded, the ramp isn't quite monotone.
TEST(FallOffFunction, BoundsHoldRoundedValues)
{
    std::mt19937_64 random(6);
    for (const FallOffCurve curve : {FallOffCurve::linear, FallOffCurve::smooth, FallOffCurve::gauss}) {
        const ZRKFallOffFunction function{-0.3, 0.9, curve};
        for (int i = 0; i < 2000; ++i) {
            double d = zrk::agreement::uniform(random, -0.3, 0.9);
            const auto bounds = function(zrk::Interval<double>(d, d + 1e-15));
            for (const double last = d + 1e-15; d <= last; d = std::nextafter(d, kInfinity)) {
                ASSERT_TRUE(bounds.contains(function(d)))
                    << "curve " << static_cast<int>(curve) << " at " << d;
            }
        }
    }
}

struct FallOffOwner : ZRKSerializableObject {
    ZRKProperty<ZRKFallOffFunction> function{"f", {-1, 2, FallOffCurve::smooth}, this};
};

TEST(FallOffFunction, KeepsWhatIsMissingOrRefused)
{
    struct Case {
        const char* stored;
        bool taken;
        const char* result;
        const char* issues;
    };
    const Case cases[] = {
        {R"({"f": {"start": 1, "end": 3, "curve": "gauss"}})", true,
         R"({"start":1.0,"end":3.0,"curve":"gauss"})", ""},
        {R"({"f": {"curve": "linear"}})", true, R"({"start":-1.0,"end":2.0,"curve":"linear"})", ""},
        {R"({"f": {}})", true, R"({"start":-1.0,"end":2.0,"curve":"smooth"})", ""},
        {R"({})", false, R"({"start":-1.0,"end":2.0,"curve":"smooth"})", ""},
        {R"({"f": [1, 2]})", false, R"({"start":-1.0,"end":2.0,"curve":"smooth"})", "f: array of 2;"},
        {R"({"f": {"start": "0", "end": 1, "curve": "Gauss"}})", false,
         R"({"start":-1.0,"end":1.0,"curve":"smooth"})", "f/start: string;f/curve: \"Gauss\";"},
        {R"({"f": {"start": 4, "end": null, "curve": 2}})", false,
         R"({"start":4.0,"end":2.0,"curve":"smooth"})", "f/end: null;f/curve: number;"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.stored);
        FallOffOwner owner;
        std::string issues;
        const ZRKJson json = ZRKJson::parse(c.stored);
        const ZRKDeserialization d(json, nullptr, [&](const ZRKReadIssue& issue) {
            issues += issue.place + ": " + issue.found + ";";
        });
        EXPECT_EQ(owner.function.deserialize(d), c.taken);
        EXPECT_EQ(owner.function.valueJson().dump(), c.result);
        EXPECT_EQ(issues, c.issues);
        EXPECT_EQ(d.unreadPlaces(), std::vector<std::string>{});
    }
    EXPECT_STREQ(FallOffOwner().function.valueType(), "falloff");
}

} // namespace
} // namespace zrkmodel
