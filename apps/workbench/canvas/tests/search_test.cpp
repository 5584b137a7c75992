#include "apps/workbench/canvas/tests/canvas_fixture.h"
#include "apps/workbench/canvas/type_search.h"
#include "model/graph_object.h"

#include <set>

namespace zrkworkbench {
namespace {

using zrkmodel::Tag;

class TypeSearch : public CanvasTest {
protected:
    void SetUp() override {}
};

TEST_F(TypeSearch, FindsByEverythingThatATypeIsKnownBy)
{
    struct Case {
        const char* text;
        const char* first;
        const char* why;
    };
    const Case cases[] = {
        {"sphere", "ZRKSphereSDF", ""},
        {"Iso val", "ZRKLevelsetIsoValue", ""},
        {"zrkbeam", "ZRKBeamSDF", "class ZRKBeamSDF"},
        {"PositionVec3", "ZRKPositionVec3", "class PositionVec3"},
        {"voxelate", "ZRKQuantizeTransform", "once: voxelate"},
        {"operator", "ZRKBinaryOperator", ""},
        {"transport", "ZRKImageSweep", "family Transport"},
        {"minimum", "ZRKBinaryOperator", "page: minimum"},
        {"union", "ZRKBinaryOperator", "page: union"},
        {"spehre", "ZRKSphereSDF", "similar"},
        {"  COLOUR   split ", "ZRKRGBASplitComponents", ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        const auto hits = searchTypes(c.text, std::nullopt, {});
        ASSERT_FALSE(hits.empty());
        EXPECT_EQ(hits[0].type->className, c.first);
        EXPECT_EQ(hits[0].why.toStdString(), c.why);
    }
    EXPECT_TRUE(searchTypes("qwertzuiop", std::nullopt, {}).empty());
    EXPECT_EQ(searchTypes("", std::nullopt, {}).size(), 48u);
}

TEST_F(TypeSearch, EveryTypeIsTheFirstForItsOwnNameAndClass)
{
    for (const auto& type : zrkmodel::ZRKGraphObject::registry().entries()) {
        SCOPED_TRACE(type.className);
        EXPECT_EQ(searchTypes(type.strings.title, std::nullopt, {})[0].type, &type);
        EXPECT_EQ(searchTypes(QString::fromStdString(type.className), std::nullopt, {})[0].type, &type);
    }
}

TEST_F(TypeSearch, AmongEqualsTheLastUsedIsFirst)
{
    const auto hits = searchTypes("", std::nullopt, {"ZRKMask", "ZRKGyroid"});
    EXPECT_EQ(hits[0].type->className, "ZRKMask");
    EXPECT_EQ(hits[1].type->className, "ZRKGyroid");
    EXPECT_EQ(hits[2].type->className, zrkmodel::ZRKGraphObject::registry().entries()[0].className);
    EXPECT_EQ(searchTypes("sphere", std::nullopt, {"ZRKSphereUVW"})[0].type->className, "ZRKSphereSDF")
        << "a better match weighs more";
}

TEST_F(TypeSearch, TheFilterKeepsWhatAWireFits)
{
    const auto names = [](const SearchFilter& filter) {
        std::set<std::string> found;
        for (const SearchHit& hit : searchTypes("", filter, {})) {
            found.insert(hit.type->className);
        }
        return found;
    };
    const auto takesColour = names({Tag::Color, true});
    EXPECT_TRUE(takesColour.contains("ZRKRGBASplitComponents"));
    EXPECT_TRUE(takesColour.contains("ZRKMultiply")) << "a wildcard";
    EXPECT_FALSE(takesColour.contains("ZRKSphereSDF"));
    const auto givesVector = names({Tag::Vector3d, false});
    EXPECT_TRUE(givesVector.contains("ZRKTwistTransform"));
    EXPECT_FALSE(givesVector.contains("ZRKSphereSDF"));
    EXPECT_EQ((SearchFilter{Tag::Scalar, true}.text()), "takes a scalar");
    EXPECT_EQ((SearchFilter{Tag::Color, false}.text()), "gives a colour");
}

} // namespace
} // namespace zrkworkbench
