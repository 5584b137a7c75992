#include "components/coordinates/cylinder_uvw.h"
#include "components/coordinates/sphere_uvw.h"
#include "components/coordinates/torus_uvw.h"
#include "testing/component_checks.h"

namespace zrkmodel {
namespace {

using namespace zrkmodel::testing;

constexpr const char* kSphere = R"({"radius":2.0,"poles":0.5,"center":[1.0,2.0,3.0],"inverse":true})";
constexpr const char* kTorus =
    R"({"ring radius":3.0,"tube radius":0.5,"center":[1.0,2.0,3.0],"inverse":true})";
constexpr const char* kCylinder =
    R"({"start point":[1.0,2.0,3.0],"end point":[1.0,2.0,7.0],"start radius":1.0,"end radius":3.0,)"
    R"("cap style":0,"twist":2.0,"inverse":true})";

TEST(ShapeCoordinateComponents, HaveTheirStoredForm)
{
    expectStoredForm<ZRKSphereUVW>(R"({"radius":1.0,"poles":0.0,"center":[0.0,0.0,0.0],"inverse":false})",
                                   kSphere);
    expectStoredForm<ZRKTorusUVW>(
        R"({"ring radius":0.4,"tube radius":0.1,"center":[0.0,0.0,0.0],"inverse":false})", kTorus);
    expectStoredForm<ZRKCylinderUVW>(
        R"({"start point":[0.0,0.0,0.0],"end point":[0.0,0.0,1.0],"start radius":0.1,"end radius":0.1,)"
        R"("cap style":1,"twist":0.0,"inverse":false})",
        kCylinder);
}

TEST(ShapeCoordinateComponents, ForwardTheWeight)
{
    expectForwardedWeight<ZRKSphereUVW>();
    expectForwardedWeight<ZRKTorusUVW>();
    expectForwardedWeight<ZRKCylinderUVW>();
}

TEST(ShapeCoordinateComponents, KeepBuiltEvaluatorsThroughEdits)
{
    expectEditsReachOnlyNewEvaluators<ZRKSphereUVW>(kSphere, {4, 5, 6});
    expectEditsReachOnlyNewEvaluators<ZRKTorusUVW>(kTorus, {4, 5, 6});
    expectEditsReachOnlyNewEvaluators<ZRKCylinderUVW>(kCylinder, {4, 5, 6});
}

// All values are set at once, so that none can stand in for another.
TEST(ShapeCoordinateComponents, GiveTheCoordinatesOfTheirProperties)
{
    using Case = ValueAtPosition<Vector>;
    const char* cone = R"({"start radius": 0.1, "end radius": 0.3})";
    const char* infiniteCone = R"({"start radius": 0.1, "end radius": 0.3, "cap style": 0})";
    const char* unknownCap = R"({"start radius": 0.1, "end radius": 0.3, "cap style": 7})";
    const char* fraction = R"({"start radius": 0.1, "end radius": 0.3, "cap style": 0.9})";
    const Case cases[] = {
        {"sphere",
         std::make_shared<ZRKSphereUVW>(),
         R"({"radius": 2, "center": [1, 2, 3], "poles": 1})",
         {1, 5, 3},
         {0.5, 0, 1}},
        {"inverse sphere", std::make_shared<ZRKSphereUVW>(), kSphere, {0.5, 0, 5}, {1, 5, 3}},
        {"torus", std::make_shared<ZRKTorusUVW>(), kTorus, {1, 6, 3}, {0.5, 0, 0.5}},
        {"default cylinder", std::make_shared<ZRKCylinderUVW>(), "{}", {0.5, 0, 0.25}, {0.25, 0, 0.4}},
        {"cylinder", std::make_shared<ZRKCylinderUVW>(), kCylinder, {6, 2, 5}, {2, 1, 3}},
        {"round cone", std::make_shared<ZRKCylinderUVW>(), cone, {0, 0, 2}, {2, 0, 0.5}},
        {"infinite cone", std::make_shared<ZRKCylinderUVW>(), infiniteCone, {0, 0, 2}, {2, 0, -0.5}},
        {"other caps are round", std::make_shared<ZRKCylinderUVW>(), unknownCap, {0, 0, 2}, {2, 0, 0.5}},
        {"fractions are cut off", std::make_shared<ZRKCylinderUVW>(), fraction, {0, 0, 2}, {2, 0, -0.5}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        load(*c.component, ZRKJson::parse(c.values));
        const std::vector<double> found = sample(c.component, c.p);
        for (std::size_t i = 0; i < 3; ++i) {
            EXPECT_NEAR(found[i], c.expected[i], 1e-14) << "component " << i; // rounding of angles
        }
    }
}

} // namespace
} // namespace zrkmodel
