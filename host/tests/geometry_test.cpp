#include "components/coordinates/curve_uvw.h"
#include "core/curves/point_and_solids.h"
#include "core/curves/surfaces.h"
#include "host/graph_document.h"
#include "testing/component_checks.h"
#include "testing/special_values.h"
#include "testing/temporary_folder.h"

#include <gmock/gmock.h>

#include <cmath>
#include <random>

namespace zrkmodel {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using zrk::Vector3;

using zrk::testing::kPi;

zrk::Result<GraphDocument> tryToParse(const std::string& resources, DocumentWarnings& warnings,
                                      const std::string& nodes = "[]")
{
    return GraphDocument::parse(R"({"zrkGraph": 1, "resources": )" + resources + R"(, "nodes": )" + nodes +
                                    "}",
                                "a.zrk.json", warnings);
}

GraphDocument parse(const std::string& resources, DocumentWarnings& warnings, const std::string& nodes = "[]")
{
    return zrk::valueOrThrow(tryToParse(resources, warnings, nodes));
}

std::shared_ptr<ZRKGeometry> geometry(const std::string& members)
{
    DocumentWarnings warnings;
    const auto document = parse(R"([{"uuid": "g", "kind": "geometry", )" + members + "}]", warnings);
    return ZRKResourceHandleOf<ZRKGeometry>(document.resources()->find(ZRKuuid("G"))).object();
}

TEST(Shapes, HaveTheirDistances)
{
    struct Case {
        const char* members;
        Vector3 p;
        double distance;
    };
    const Case cases[] = {
        {R"("shape": "point", "position": [1, 2, 3])", {1, 5, 7}, 5},
        {R"("shape": "polyline", "points": [[0,0,0],[2,0,0],[2,2,0]], "closed": true)", {1, 1, 2}, 2},
        {R"("shape": "polyline", "points": [[0,0,0],[2,0,0],[2,2,0]])", {0, 2, 0}, 2},
        {R"("shape": "spline", "points": [[0,0,0],[1,0,0],[2,0,0]], "closed": false)", {5, 4, 0}, 5},
        {R"("shape": "circle", "center": [0,0,0], "axis": [0,0,5], "radius": 2)", {5, 0, 4}, 5},
        {R"("shape": "plane", "origin": [0,0,1], "u": [2,0,0], "v": [1,3,0])", {9, 9, 3}, 2},
        {R"("shape": "plane", "origin": [0,0,1], "u": [0,2,0], "v": [3,0,0])", {9, 9, 3}, -2},
        {R"("shape": "sphere", "center": [1,0,0], "radius": 2)", {1, 3, 4}, 3},
        {R"("shape": "sphere", "center": [1,0,0], "radius": 2)", {1, 0.5, 0}, -1.5},
        {R"("shape": "box", "min": [0,0,0], "max": [2,4,6])", {5, 8, 3}, 5},
        {R"("shape": "box", "min": [0,0,0], "max": [2,4,6])", {0.5, 2, 3}, -0.5},
        {R"("shape": "box", "min": [0,0,0], "max": [2,4,6])", {1, 4, 3}, 0},
        {R"("shape": "box", "min": [0,0,0], "max": [2,4,0])", {1, 1, 0}, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.members);
        const auto shape = geometry(c.members);
        ASSERT_NE(shape, nullptr);
        const auto distances = shape->getSDFUngroup();
        ASSERT_EQ(distances.size(), 1u);
        EXPECT_EQ(distances[0](c.p), c.distance);
        EXPECT_TRUE(std::isnan(distances[0]({c.p[0], NAN, c.p[2]})));
    }
}

TEST(Shapes, HaveTheInterfacesOfTheirKind)
{
    const auto as = [](const char* members, auto* none) {
        return std::dynamic_pointer_cast<std::remove_pointer_t<decltype(none)>>(
            geometry(members)->geometry());
    };
    const auto point = as(R"("shape": "point", "position": [1, 2, 3])", static_cast<IPoint*>(nullptr));
    ASSERT_TRUE(point);
    EXPECT_EQ(point->position(), (Vector3{1, 2, 3}));
    const auto circle = as(R"("shape": "circle", "center": [0,0,0], "axis": [0,0,1], "radius": 2)",
                           static_cast<IParametricCurve*>(nullptr));
    ASSERT_TRUE(circle);
    EXPECT_EQ(circle->length(), 4 * kPi);
    EXPECT_TRUE(circle->parametrization().closed);
    EXPECT_TRUE(as(R"("shape": "sphere", "center": [0,0,0], "radius": 1)",
                   static_cast<IParametricSurface*>(nullptr)));
    EXPECT_EQ(geometry(R"("shape": "box", "min": [0,0,0], "max": [1,1,1])")->geometry(), nullptr);
}

/// No random point of the surface is nearer than the one of the closest parameters.
template <class Surface>
void expectClosest(const Surface& surface)
{
    std::mt19937_64 random(1);
    const auto within = [&](double a, double b) {
        return std::uniform_real_distribution<double>(a, b)(random);
    };
    for (int i = 0; i < 200; ++i) {
        const Vector3 p{within(-2, 2), within(-2, 2), within(-2, 2)};
        const double found = length(p - surface.position(surface.closestParameters(p)));
        for (int k = 0; k < 500; ++k) {
            const Vector3 q = surface.position({within(surface.uvMin()[0], surface.uvMax()[0]),
                                                within(surface.uvMin()[1], surface.uvMax()[1])});
            ASSERT_LE(found, length(p - q) + 1e-12);
            ASSERT_NEAR(surface.distance(q), 0, 1e-14);
        }
    }
}

TEST(Surfaces, FindTheirClosestPoints)
{
    // With u and v at right angles the cut of each parameter is the closest point too.
    expectClosest(zrk::PlanePatch({0.5, 0, 0}, {1, 1, 0}, {-1, 1, 0.0}));
    expectClosest(zrk::SphereSurface({0.25, 0, -0.5}, 0.75));

    const zrk::PlanePatch oblique({0, 0, 0}, {2, 0, 0}, {1, 1, 0});
    EXPECT_EQ(oblique.closestParameters({2, 0.5, 7}), (zrk::SurfaceParameters{0.75, 0.5}));
    EXPECT_EQ(oblique.closestParameters({9, -4, 7}), (zrk::SurfaceParameters{1, 0}));

    const zrk::SphereSurface sphere({0, 0, 0}, 2);
    EXPECT_EQ(sphere.closestParameters({0, 3, 0}), (zrk::SurfaceParameters{kPi / 2, 0}));
    EXPECT_EQ(sphere.closestParameters({0, 0, -3}), (zrk::SurfaceParameters{0, -kPi / 2}));
    EXPECT_EQ(sphere.closestParameters({0, 0, 0}), (zrk::SurfaceParameters{0, 0}));
}

std::string entry(const std::string& uuid, const std::string& members)
{
    return R"({"uuid": ")" + uuid + R"(", "kind": "geometry", )" + members + "}";
}

const std::string kUnit = R"("shape": "sphere", "center": [0,0,0], "radius": 1)";

TEST(Groups, AreTheirMembersInOrderFlattened)
{
    DocumentWarnings warnings;
    const auto document =
        parse("[" + entry("outer", R"("shape": "group", "members": ["INNER", "s", "inner"])") + "," +
                  entry("inner", R"("shape": "group", "members": ["p", "s"])") + "," + entry("s", kUnit) +
                  "," + entry("p", R"("shape": "point", "position": [0,0,3])") + "," +
                  entry("none", R"("shape": "group", "members": [])") + "]",
              warnings);
    std::vector<double> found;
    const auto group = [&](const char* uuid) {
        return ZRKResourceHandleOf<ZRKGeometry>(document.resources()->find(ZRKuuid(uuid))).object();
    };
    for (const auto& distance : group("outer")->getSDFUngroup()) {
        found.push_back(distance({0, 0, 1}));
    }
    EXPECT_EQ(found, (std::vector<double>{2, 0, 0, 2, 0}));
    EXPECT_EQ(group("outer")->geometry(), nullptr);
    EXPECT_TRUE(group("none")->getSDFUngroup().empty());
    EXPECT_TRUE(warnings.empty());
}

TEST(GeometryDocuments, AreRefusedWithThePlace)
{
    struct Case {
        std::string resources;
        std::vector<std::string> says;
    };
    const auto one = [](const std::string& members) { return "[" + entry("a", members) + "]"; };
    std::string ladder = "[" + entry("g0", kUnit);
    for (int i = 1; i <= 40; ++i) {
        const std::string former = "\"g" + std::to_string(i - 1) + "\"";
        ladder += "," + entry("g" + std::to_string(i),
                              R"("shape": "group", "members": [)" + former + "," + former + "]");
    }
    ladder += "]";
    const Case cases[] = {
        {"[7]", {"resources[0]", "object"}},
        {R"([{"uuid": "a", "kind": "sound"}])", {"resources[0], \"kind\"", "sound"}},
        {R"([{"uuid": "a", "kind": "image2d", "path": "a.png"}])", {"\"path\"", "found no file"}},
        {R"([{"kind": "geometry", "shape": "point", "position": [0,0,0]}])", {"\"uuid\"", "none"}},
        {R"([{"uuid": "", "kind": "geometry", "shape": "point", "position": [0,0,0]}])", {"\"uuid\""}},
        {"[" + entry("ab", kUnit) + "," + entry("AB", kUnit) + "]",
         {"resources[1], \"uuid\"", "resources[0]"}},
        {one(R"("position": [0,0,0])"), {"resources[0], \"shape\"", "none", "polyline"}},
        {one(R"("shape": "cone")"), {"\"shape\"", "cone", "\"group\""}},
        {one(R"("shape": "mesh", "path": "nowhere.obj")"), {"\"path\"", "nowhere.obj"}},
        {one(R"("shape": "mesh", "path": 7)"), {"\"path\"", "7", "a path"}},
        {one(R"("shape": "point")"), {"\"position\"", "none"}},
        {one(R"("shape": "point", "position": [0, 0])"), {"\"position\"", "three numbers"}},
        {one(R"("shape": "point", "position": [0, 0, 1e200])"), {"\"position\"", "1e+100"}},
        {one(R"("shape": "polyline", "points": 4)"), {"\"points\"", "array"}},
        {one(R"("shape": "polyline", "points": [])"), {"\"points\"", "at least two"}},
        {one(R"("shape": "spline", "points": [[0,0,0]])"), {"\"points\"", "found 1", "at least two"}},
        {one(R"("shape": "spline", "points": [[0,0,0],[1,"x",0]])"), {"\"points\"", "point 1", "x"}},
        {one(R"("shape": "polyline", "points": [[0,0,0],[1,0,0]], "closed": 1)"),
         {"\"closed\"", "true or false"}},
        {one(R"("shape": "circle", "center": [0,0,0], "axis": [0,0,0], "radius": 1)"),
         {"\"axis\"", "length 0"}},
        {one(R"("shape": "circle", "center": [0,0,0], "axis": [0,0,1], "radius": -1)"), {"\"radius\"", "-1"}},
        {one(R"("shape": "sphere", "center": [0,0,0], "radius": "1")"), {"\"radius\"", "number"}},
        {one(R"("shape": "plane", "origin": [0,0,0], "u": [1,2,3], "v": [2,4,6])"), {"\"v\"", "one line"}},
        {one(R"("shape": "box", "min": [0,0,0], "max": [1,-1,1])"), {"\"max\"", "-1", "y"}},
        {one(R"("shape": "group")"), {"\"members\"", "none"}},
        {one(R"("shape": "group", "members": ["b"])"), {"\"members\"", "\"b\"", "this document"}},
        {one(R"("shape": "group", "members": ["a"])"), {"\"members\"", "resources[0]", "cycle"}},
        {"[" + entry("a", R"("shape": "group", "members": ["b"])") + "," +
             entry("b", R"("shape": "group", "members": ["A"])") + "]",
         {"resources[1], \"members\"", "resources[0]"}},
        {ladder, {"\"members\"", "at most 1000000"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.resources.substr(0, 200));
        DocumentWarnings warnings;
        const auto document = tryToParse(c.resources, warnings);
        ASSERT_FALSE(document) << "taken";
        EXPECT_EQ(document.error().kind, zrk::FaultKind::BadInput);
        const std::string message = zrk::messageOf(document.error());
        EXPECT_THAT(message, HasSubstr("a.zrk.json, resources["));
        for (const std::string& said : c.says) {
            EXPECT_THAT(message, HasSubstr(said));
        }
    }
}

class MeshFiles : public zrktest::TemporaryFolder {};

TEST_F(MeshFiles, AreRefusedWithARemedyForWhatIsWrong)
{
    struct Case {
        const char* name;
        const char* content;
        const char* remedy;
    };
    const Case cases[] = {
        {"none.obj", nullptr, "write the path of a mesh"},
        {"face.obj", "v 0 0 0\nv 1 0 0\nf 1 2 9\n", "export the mesh anew"},
        {"cut.stl", "solid a facet", "export the mesh anew"},
        {"points.obj", "v 0 0 0\n", "export a mesh of triangles"},
        {"large.obj", "v 1e200 0 0\nv 0 1 0\nv 0 0 1\nf 1 2 3\n", "larger unit"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        if (c.content) {
            put(c.name, c.content);
        }
        DocumentWarnings warnings;
        const auto document = tryToParse(
            "[" + entry("a", R"("shape": "mesh", "path": ")" + path(c.name) + "\"") + "]", warnings);
        ASSERT_FALSE(document);
        EXPECT_THAT(document.error().remedy, HasSubstr(c.remedy));
    }
}

TEST(GeometryDocuments, GiveNodesTheirGeometry)
{
    DocumentWarnings warnings;
    const std::string resources =
        "[" + entry("Ab", R"("shape": "polyline", "points": [[0,0,0],[2,0,0]], "mine": 3)") + "]";
    const auto node = [](const std::string& value) {
        return R"([{"id": 1, "type": "Curve UVW", "values": {"curve": )" + value + "}}]";
    };
    const auto document = parse(resources, warnings, node("\"aB\""));
    ASSERT_EQ(warnings.size(), 1u);
    EXPECT_THAT(zrk::messageOf(warnings[0]), HasSubstr("resources[0], \"mine\""));
    const auto curve = [](const GraphDocument& d) {
        return std::dynamic_pointer_cast<ZRKCurveUVW>(d.graph()->getNodePtr(1)->object)->curve.value();
    };
    ASSERT_NE(curve(document), nullptr);
    EXPECT_EQ(curve(document)->uuid().text(), "Ab");

    const std::string saved = document.toText();
    EXPECT_THAT(saved, AllOf(HasSubstr("\"mine\""), HasSubstr(R"("curve":"Ab")")));
    EXPECT_EQ(GraphDocument::parse(saved, "b.zrk.json", warnings)->toText(), saved);

    warnings.clear();
    EXPECT_EQ(curve(parse(resources, warnings, node("\"\""))), nullptr);
    EXPECT_EQ(curve(parse(resources, warnings, node("null"))), nullptr);
    EXPECT_EQ(warnings.size(), 2u) << "of the same key";
    warnings.clear();
    const auto unknown = parse(resources, warnings, node("\"zz\""));
    EXPECT_EQ(curve(unknown), nullptr);
    ASSERT_EQ(warnings.size(), 2u);
    EXPECT_THAT(zrk::messageOf(warnings[1]), AllOf(HasSubstr("\"curve\""), HasSubstr("zz")));
    EXPECT_THAT(unknown.toText(), HasSubstr(R"("curve":"zz")"));
}

// Groups may nest deeper than the stack would bear.
TEST(GeometryDocuments, NestGroupsDeeply)
{
    std::string resources = "[";
    constexpr int kDepth = 50000;
    for (int i = kDepth; i > 0; --i) {
        resources += entry("g" + std::to_string(i),
                           R"("shape": "group", "members": ["g)" + std::to_string(i - 1) + "\"]") +
                     ",";
    }
    resources += entry("g0", kUnit) + "]";
    DocumentWarnings warnings;
    const auto document = parse(resources, warnings);
    const auto top = ZRKResourceHandleOf<ZRKGeometry>(document.resources()->find(ZRKuuid("g50000"))).object();
    EXPECT_EQ(top->getSDFUngroup().size(), 1u);
}

} // namespace
} // namespace zrkmodel
