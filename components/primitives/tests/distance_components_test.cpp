#include "components/primitives/box_sdf.h"
#include "components/primitives/plane_sdf.h"
#include "components/primitives/sphere_sdf.h"
#include "components/primitives/torus_sdf.h"
#include "testing/component_checks.h"

#include <cmath>

namespace zrkmodel {
namespace {

using namespace zrkmodel::testing;

constexpr const char* kSphere = R"({"radius":2.0,"center":[1.0,2.0,3.0]})";
constexpr const char* kBox =
    R"({"radius":0.25,"center":[1.0,2.0,3.0],"dimensions":[2.0,3.0,4.0],"wireframe":true,"edge thickness":0.5})";
constexpr const char* kPlane = R"({"origin":[1.0,2.0,3.0],"normal":[0.0,2.0,0.0]})";
constexpr const char* kTorus = R"({"ring radius":3.0,"tube radius":0.5,"center":[1.0,2.0,3.0]})";

TEST(DistanceComponents, HaveTheirStoredForm)
{
    expectStoredForm<ZRKSphereSDF>(R"({"radius":1.0,"center":[0.0,0.0,0.0]})", kSphere);
    expectStoredForm<ZRKBoxSDF>(
        R"({"radius":0.0,"center":[0.5,0.5,0.5],"dimensions":[1.0,1.0,1.0],"wireframe":false,"edge thickness":0.1})",
        kBox);
    expectStoredForm<ZRKPlaneSDF>(R"({"origin":[0.0,0.0,0.0],"normal":[0.0,0.0,1.0]})", kPlane);
    expectStoredForm<ZRKTorusSDF>(R"({"ring radius":0.4,"tube radius":0.1,"center":[0.0,0.0,0.0]})", kTorus);
}

TEST(DistanceComponents, ForwardTheWeightOfTheirCoordinates)
{
    expectForwardedWeight<ZRKSphereSDF>();
    expectForwardedWeight<ZRKBoxSDF>();
    expectForwardedWeight<ZRKPlaneSDF>();
    expectForwardedWeight<ZRKTorusSDF>();
}

TEST(DistanceComponents, KeepBuiltEvaluatorsThroughEdits)
{
    expectEditsReachOnlyNewEvaluators<ZRKSphereSDF>(kSphere, {1, 2, 4});
    expectEditsReachOnlyNewEvaluators<ZRKBoxSDF>(R"({"wireframe":true})", {0.5, 0.5, 0.5});
    expectEditsReachOnlyNewEvaluators<ZRKPlaneSDF>(kPlane, {1, 2, 4});
    expectEditsReachOnlyNewEvaluators<ZRKTorusSDF>(kTorus, {1, 2, 4});
}

// All values are set at once, so that none can stand in for another.
TEST(DistanceComponents, GiveTheDistancesOfTheirProperties)
{
    using Case = ValueAtPosition<double>;
    const Case cases[] = {
        {"default sphere", std::make_shared<ZRKSphereSDF>(), "{}", {0, 3, 4}, 4},
        {"sphere", std::make_shared<ZRKSphereSDF>(), kSphere, {1, 5, 7}, 3},
        {"default box", std::make_shared<ZRKBoxSDF>(), "{}", {0.5, 0.5, 0.5}, -0.5},
        {"corner of the default box", std::make_shared<ZRKBoxSDF>(), "{}", {0, 0, 0}, 0},
        {"rounded box",
         std::make_shared<ZRKBoxSDF>(),
         R"({"radius": 0.25, "center": [0, 0, 0], "dimensions": [2, 4, 6]})",
         {3.75, 5.75, 0},
         4.75},
        {"frame, in the middle of a bar", std::make_shared<ZRKBoxSDF>(), kBox, {1, 3, 4.5}, -0.5},
        {"frame, whatever the radius",
         std::make_shared<ZRKBoxSDF>(),
         R"({"radius": 7, "wireframe": true, "edge thickness": 0.125})",
         {0.5, 0, -1},
         1},
        {"plane", std::make_shared<ZRKPlaneSDF>(), kPlane, {7, 5, 9}, 3},
        {"plane without a normal", std::make_shared<ZRKPlaneSDF>(), R"({"normal": [0, 0, 0]})", {7, 5, 9}, 0},
        {"torus", std::make_shared<ZRKTorusSDF>(), kTorus, {8, 2, 6}, 4.5},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        load(*c.component, ZRKJson::parse(c.values));
        EXPECT_EQ(sample(c.component, c.p), (std::vector<double>{c.expected, 1}));
    }
}

} // namespace
} // namespace zrkmodel
