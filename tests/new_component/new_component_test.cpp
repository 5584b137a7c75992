#include "core/engine/field_bounds.h"
#include "core/values/fault.h"
#include "host/graph_document.h"
#include "host/type_lookup.h"
#include "model/manual.h"
#include "testing/component_checks.h"

#include <algorithm>

// The component of docs/adding-a-component.md in use. Its own tests, and those of all components, are part of
// the program.

namespace zrkmodel {
namespace {

using namespace zrkmodel::testing;

GraphDocument parsed(const std::string& text)
{
    DocumentWarnings warnings;
    GraphDocument document = zrk::valueOrThrow(GraphDocument::parse(text, "test.zrk.json", warnings));
    EXPECT_EQ(warnings.size(), 0u);
    return document;
}

TEST(NewComponent, IsTheLastOfTheList)
{
    EXPECT_EQ(knownTypes().back().className, "ZRKEllipsoidSDF");
    EXPECT_STREQ(ZRKUIStrings::find("ellipsoid_sdf").category, "Primitives");
    EXPECT_NE(IconResources::find("sc_sdf_ellipsoid"), nullptr);
}

TEST(NewComponent, HasAManual)
{
    const Manual& manual = manualOf(knownTypes().back());
    EXPECT_EQ(manual.summary, "A bound of the distance to an ellipsoid.");
    ASSERT_EQ(manual.examples.size(), 1u);
    EXPECT_EQ(sample(zrk::valueOrThrow(parsed(std::string(manual.examples[0].document)).outputField()).field,
                     {2, 0, 0}),
              (std::vector<double>{0, 1}));
}

TEST(NewComponent, WorksInTheExampleDocument)
{
    DocumentWarnings warnings;
    const GraphDocument document = zrk::valueOrThrow(
        GraphDocument::load(ZRK_NEW_COMPONENT_FOLDER "/examples/ellipsoid.zrk.json", warnings));
    EXPECT_EQ(warnings.size(), 0u);
    const zrk::IField field = zrk::valueOrThrow(document.outputField()).field;
    EXPECT_EQ(sample(field, {0, 0, 0}), (std::vector<double>{-0.5, 1}));
    EXPECT_EQ(sample(field, {0, 2, 0}), (std::vector<double>{1.5, 1}));
    EXPECT_EQ(sample(field, {1.25, 0, 0}), (std::vector<double>{0, 1}));

    const GraphDocument again = parsed(document.toText());
    EXPECT_EQ(again.toText(), document.toText());
    EXPECT_EQ(sample(zrk::valueOrThrow(again.outputField()).field, {0, 2, 0}), (std::vector<double>{1.5, 1}));
}

TEST(NewComponent, IsClonedWithItsValues)
{
    const auto document = parsed(
        R"({"zrkGraph": 1, "nodes": [{"id": 1, "type": "ZRKEllipsoidSDF", "values": {"radii": [2, 1, 4]}}]})");
    const auto clone =
        std::dynamic_pointer_cast<ZRKGraphObject>(document.graph()->nodes()[0]->object->clone());
    ASSERT_NE(clone, nullptr);
    EXPECT_EQ(stored(*clone), R"({"center":[0.0,0.0,0.0],"radii":[2.0,1.0,4.0]})");
    EXPECT_EQ(sample(clone, {0, 3, 0}), (std::vector<double>{2, 1}));
}

TEST(NewComponent, BoundsItsSamplesInAChain)
{
    const GraphDocument document = parsed(R"({"zrkGraph": 1,
        "nodes": [{"id": 1, "type": "BendTransform"}, {"id": 2, "type": "EllipsoidSDF"}],
        "links": [{"from": [1, 0], "to": [2, 0]}], "output": [2, 0]})");
    const zrk::IField field = zrk::valueOrThrow(document.outputField()).field;
    const zrk::Interval<double> x{0.5, 1.5};
    const zrk::Interval<double> value = zrk::FieldBounds(field.generator()).over({x, x, x}).components[0];
    EXPECT_LT(value.upper - value.lower, 4);
    for (const double at : {0.5, 0.75, 1.0, 1.25, 1.5}) {
        EXPECT_TRUE(value.contains(sample(field, {at, 2 - at, at})[0])) << at;
    }
}

} // namespace
} // namespace zrkmodel
