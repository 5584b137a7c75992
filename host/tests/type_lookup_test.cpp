#include "host/type_lookup.h"

#include "core/engine/formula.h"
#include "core/values/scalar_math.h"
#include "host/graph_document.h"
#include "model/channel_names.h"
#include "model/component.h"
#include "testing/component_checks.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <string_view>

namespace zrkmodel {
namespace {

using namespace zrkmodel::testing;
using ::testing::HasSubstr;

struct Height {
    double level;

    template <class V>
    V operator()(const zrk::Tensor<3, V>& p) const
    {
        return p[2] - level;
    }
};

/// A component from outside the library.
class ZRKOutsider final : public ZRKComponent<ZRKOutsider> {
public:
    ZRKProperty<double> level{"level", 0.5, this};

    ZRKOutsider() = default;
    ZRKOutsider(const ZRKOutsider& other) : ZRKComponent(other) {}
    ZRKOutsider& operator=(const ZRKOutsider&) = default;

    static ComponentIdentity identity()
    {
        return {
            .className = "ZRKOutsider",
            .typeName = "Sphere of elsewhere",
            .uuid = "0B65DFA7-8E30-4C46-9B25-6C2F6F1B8A10",
            .icon = {},
            .strings = {"outsider", "Outsider", "Height above a level.", "Elsewhere"},
            .inputs = {Tag::Vector3d},
            .outputs = {Tag::Scalar},
        };
    }
    void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) override
    {
        addCoordinatesPin(node, Tag::Vector3d, ChannelNames::pin_coords());
        addOutputPin(node, Tag::Scalar, ChannelNames::pin_sdf());
    }
    zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>&, const ZRKContext&) const override
    {
        return zrk::evaluator(Height{level.value()});
    }
};

class TypesFromOutside : public ::testing::Test {
protected:
    static void SetUpTestSuite() { ZRKOutsider::registerType(); }

    static GraphDocument parsed(const std::string& text)
    {
        DocumentWarnings warnings;
        GraphDocument document = zrk::valueOrThrow(GraphDocument::parse(text, "test.zrk.json", warnings));
        EXPECT_EQ(warnings.size(), 0u);
        return document;
    }
    static std::string refusal(const std::string& name, const std::string& uuid)
    {
        const auto found = findType("here", name, uuid);
        return found ? "" : zrk::messageOf(found.error());
    }
};

TEST_F(TypesFromOutside, LoadSampleAndSaveInDocuments)
{
    for (const char* type : {"Sphere of elsewhere", "ZRKOutsider"}) {
        SCOPED_TRACE(type);
        const GraphDocument document = parsed(R"({"zrkGraph": 1, "nodes": [
            {"id": 1, "type": "TwistTransform"}, {"id": 2, "type": ")" +
                                              std::string(type) + R"(", "values": {"level": 0.25}},
            {"id": 3, "type": "Shell"}],
          "links": [{"from": [1, 0], "to": [2, 0]}, {"from": [2, 0], "to": [3, 0]}], "output": [2, 0]})");
        EXPECT_EQ(sample(document.outputField()->field, {7, 8, 2}), (std::vector<double>{1.75, 1}));

        const GraphDocument again = parsed(document.toText());
        EXPECT_EQ(again.toText(), document.toText());
        EXPECT_EQ(sample(again.outputField()->field, {7, 8, 2}), (std::vector<double>{1.75, 1}));
        const ZRKJson node = ZRKJson::parse(document.toText())["nodes"][1];
        EXPECT_EQ(node["type"], "Sphere of elsewhere");
        EXPECT_EQ(node["uuid"], "0B65DFA7-8E30-4C46-9B25-6C2F6F1B8A10");
    }
}

TEST_F(TypesFromOutside, AreListedBehindTheComponentsAndSuggested)
{
    const auto place = [](std::string_view className) {
        const auto& types = knownTypes();
        return std::find_if(types.begin(), types.end(),
                            [&](const auto& t) { return t.className == className; }) -
               types.begin();
    };
    EXPECT_LT(place("ZRKSphereUVW"), place("ZRKCurveLength"));
    EXPECT_LT(place("ZRKCurveLength"), place("ZRKOutsider"));
    EXPECT_LT(place("ZRKOutsider"), static_cast<std::ptrdiff_t>(knownTypes().size()));
    EXPECT_EQ(findType("here", "ZRKOutsider", "0b65dfa7-8e30-4c46-9b25-6c2f6f1b8a10").value(),
              ZRKGraphObject::registry().findByClass("ZRKOutsider"));
    EXPECT_THAT(refusal("ZRKOutsidr", ""), HasSubstr("\"Sphere of elsewhere\""));
    EXPECT_THAT(refusal("ZRKOutsider", "E22BE999-A552-4034-ADA4-2DB5E2AF90C7"),
                HasSubstr("by uuid ZRKCross"));
}

// Such a type states no class. It mustn't take a component's type name over.
TEST_F(TypesFromOutside, EnteredByHandAreToldApartByTheirUuid)
{
    ZRKTypeInfo info;
    info.uuid = "5D1C6B1E-0000-4000-8000-000000000001";
    info.name = "Shell";
    const auto* entered = ZRKGraphObject::registry().add(
        info, {}, [] { return std::make_shared<ZRKOutsider>(); }, {}, ZRKIcon());
    EXPECT_EQ(findType("here", "Shell", info.uuid).value(), entered);
    EXPECT_EQ(findType("here", "Shell", "B00F743F-1B53-4430-BB0D-8C729EBC099B").value()->className,
              "ZRKShell");
    EXPECT_THAT(refusal("Shell", ""), HasSubstr("which 2 types share"));
    EXPECT_THAT(refusal("", ""), HasSubstr("unknown type"));
}

} // namespace
} // namespace zrkmodel
