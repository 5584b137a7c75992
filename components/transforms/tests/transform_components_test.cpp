#include "components/transforms/bend_transform.h"
#include "components/transforms/quantize_transform.h"
#include "components/transforms/twist_transform.h"
#include "testing/component_checks.h"

namespace zrkmodel {
namespace {

using namespace zrkmodel::testing;

constexpr const char* kQuantize = R"({"strength":0.5,"shift":[0.25,0.5,0.75],"step":[2.0,0.0,4.0]})";
constexpr const char* kTwist = R"({"angle":90.0,"axis":[0.0,2.0,0.0],"center":[1.0,2.0,3.0]})";
constexpr const char* kBend =
    R"({"angle":90.0,"axis":[0.0,3.0,0.0],"bend direction":[2.0,0.0,0.0],"center":[1.0,2.0,3.0]})";

TEST(TransformComponents, HaveTheirStoredForm)
{
    expectStoredForm<ZRKQuantizeTransform>(R"({"strength":1.0,"shift":[0.0,0.0,0.0],"step":[1.0,1.0,1.0]})",
                                           kQuantize);
    expectStoredForm<ZRKTwistTransform>(R"({"angle":5.0,"axis":[0.0,0.0,1.0],"center":[0.0,0.0,0.0]})",
                                        kTwist);
    expectStoredForm<ZRKBendTransform>(
        R"({"angle":5.0,"axis":[1.0,0.0,0.0],"bend direction":[0.0,0.0,1.0],"center":[0.0,0.0,0.0]})", kBend);
}

TEST(TransformComponents, ForwardTheWeightOfTheirCoordinates)
{
    expectForwardedWeight<ZRKQuantizeTransform>();
    expectForwardedWeight<ZRKTwistTransform>();
    expectForwardedWeight<ZRKBendTransform>();
}

TEST(TransformComponents, KeepBuiltEvaluatorsThroughEdits)
{
    expectEditsReachOnlyNewEvaluators<ZRKQuantizeTransform>(kQuantize, {0.75, 0.75, 0.75});
    expectEditsReachOnlyNewEvaluators<ZRKTwistTransform>(kTwist, {4, 5, 6});
    expectEditsReachOnlyNewEvaluators<ZRKBendTransform>(kBend, {4, 5, 6});
}

// All values are set at once, so that none can stand in for another.
TEST(TransformComponents, MovePositionsByTheirProperties)
{
    using Case = ValueAtPosition<Vector>;
    const Case cases[] = {
        {"default quantize", std::make_shared<ZRKQuantizeTransform>(), "{}", {0.5, -0.5, 1.49}, {1, -1, 1}},
        {"quantize", std::make_shared<ZRKQuantizeTransform>(), kQuantize, {1, 0.3, 2}, {1.25, 0.3, 1.5}},
        {"default twist", std::make_shared<ZRKTwistTransform>(), "{}", {1, 0, 18}, {0, 1, 18}},
        {"twist", std::make_shared<ZRKTwistTransform>(), kTwist, {2, 4, 3}, {1, 4, 2}},
        {"default bend", std::make_shared<ZRKBendTransform>(), "{}", {0, 1, 18}, {0, -18, 1}},
        {"bend", std::make_shared<ZRKBendTransform>(), kBend, {3, 4, 8}, {6, 4, 1}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        load(*c.component, ZRKJson::parse(c.values));
        const std::vector<double> moved = sample(c.component, c.p);
        for (std::size_t i = 0; i < 3; ++i) {
            EXPECT_NEAR(moved[i], c.expected[i], 1e-14) << "component " << i; // rounding of a right angle
        }
    }
}

} // namespace
} // namespace zrkmodel
