#include "model/extension_base.h"

#include "testing/component_checks.h"

#include <string>
#include <vector>

namespace zrkmodel {
namespace {

using namespace zrkmodel::testing;

/// One input of each kind; output k hands on the first component of input k.
class Probe final : public ZRKExtensionBase {
public:
    void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) override
    {
        addInputPin(node, Tag::Scalar, "plain");
        addDefaultedInputPin(node, Tag::Scalar, "defaulted", 0.25);
        addCoordinatesPin(node, Tag::Vector3d, "coordinates");
        for (const char* name : {"plain", "defaulted", "coordinates"}) {
            addOutputPin(node, Tag::Scalar, name);
        }
    }
    zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext&) const override
    {
        return [k = pin.handle.index()](zrk::EvaluationContext& context) {
            context.writeOutput(context.readInput(k)[0], 1.0);
        };
    }
};

/// A graph with a probe, another one whose inputs the first's may be linked to, as if it stood for the
/// graph that the first is in, and sources of three kinds.
class InputField : public ::testing::Test {
protected:
    std::shared_ptr<ZRKGraph> graph = ZRKGraph::create();
    ZRKGraph::Node probe = graph->addNode(std::make_shared<Probe>());
    ZRKGraph::Node outer = graph->addNode(std::make_shared<Probe>());
    ZRKGraph::Node scalar = graph->addNode(std::make_shared<Source>(Tag::Scalar, std::vector<double>{7, 1}));
    ZRKGraph::Node vector =
        graph->addNode(std::make_shared<Source>(Tag::Vector3d, std::vector<double>{8, 9, 10, 1}));
    ZRKGraph::Node untyped = graph->addNode(std::make_shared<Source>(Tag::Any, std::vector<double>{5, 1}));

    void link(const ZRKGraph::Node& node, std::uint8_t k, Pin_handle upstream)
    {
        node.record()->inputs[k].connections = {upstream};
    }
    static std::string kindOf(const zrk::IField& field)
    {
        return !field                                                                   ? "nothing"
               : std::dynamic_pointer_cast<zrk::PassThroughField<3>>(field.generator()) ? "positions"
               : std::dynamic_pointer_cast<zrk::SolidField<1, 3>>(field.generator())    ? "constant"
                                                                                        : "upstream";
    }
    /// What inputField answers for the probe's input, and what a chain reads there at (3, 4, 5).
    std::pair<std::string, double> arriving(std::uint8_t k) const
    {
        const auto object = std::dynamic_pointer_cast<ZRKFieldObject>(probe.object());
        return {kindOf(inputField(probe, k)), sample(object->realizeField(probe, k), {3, 4, 5}).front()};
    }
};

TEST_F(InputField, OfEveryKindOfPinUnderEveryLink)
{
    constexpr std::uint8_t plain = 0;
    constexpr std::uint8_t defaulted = 1;
    constexpr std::uint8_t coordinates = 2;
    const Pin_handle none;
    struct Case {
        const char* name;
        std::uint8_t pin;
        Pin_handle upstream;
        Pin_handle outerUpstream; ///< of the outer input that `upstream` is, if it is one
        std::pair<std::string, double> expected;
    };
    const Case cases[] = {
        {"plain", plain, none, none, {"nothing", 0}},
        {"defaulted", defaulted, none, none, {"nothing", 0.25}},
        {"coordinates", coordinates, none, none, {"positions", 3}},
        {"plain, linked", plain, out(scalar), none, {"upstream", 7}},
        {"defaulted, linked", defaulted, out(scalar), none, {"upstream", 7}},
        {"coordinates, linked", coordinates, out(vector), none, {"upstream", 8}},
        {"plain, linked to no type", plain, out(untyped), none, {"nothing", 0}},
        {"defaulted, linked to no type", defaulted, out(untyped), none, {"nothing", 0}},
        {"coordinates, linked to no type", coordinates, out(untyped), none, {"positions", 3}},
        {"plain, linked to a pin that is gone", plain, out(scalar, 4), none, {"nothing", 0}},
        {"plain, through plain", plain, in(outer, plain), none, {"nothing", 0}},
        {"plain, through defaulted", plain, in(outer, defaulted), none, {"nothing", 0.25}},
        {"plain, through coordinates", plain, in(outer, coordinates), none, {"positions", 3}},
        {"defaulted, through plain", defaulted, in(outer, plain), none, {"nothing", 0}},
        {"coordinates, through plain", coordinates, in(outer, plain), none, {"positions", 3}},
        {"plain, through linked", plain, in(outer, plain), out(scalar), {"upstream", 7}},
        {"defaulted, through linked", defaulted, in(outer, defaulted), out(scalar), {"upstream", 7}},
        {"coordinates, through linked", coordinates, in(outer, coordinates), out(vector), {"upstream", 8}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        if (c.upstream.isValid()) {
            link(probe, c.pin, c.upstream);
        }
        if (c.outerUpstream.isValid()) {
            link(outer, c.upstream.index(), c.outerUpstream);
        }
        EXPECT_EQ(arriving(c.pin), c.expected);
        for (ZRKGraphPin& pin : probe.record()->inputs) {
            pin.connections.clear();
        }
        for (ZRKGraphPin& pin : outer.record()->inputs) {
            pin.connections.clear();
        }
    }
    EXPECT_FALSE(inputField(probe, -1));
    EXPECT_FALSE(inputField(probe, 3));
}

TEST_F(InputField, AreCollectedInPinOrder)
{
    const auto object = std::dynamic_pointer_cast<ZRKExtensionBase>(probe.object());
    const auto kinds = [&] {
        std::vector<std::string> found;
        const auto inputs = object->collectInputFields(probe);
        for (const auto& input : *inputs) {
            found.push_back(kindOf(input.field));
        }
        return found;
    };
    EXPECT_EQ(kinds(), (std::vector<std::string>{"nothing", "nothing", "positions"}));
    link(outer, 1, out(scalar));
    link(probe, 1, in(outer, 1));
    EXPECT_EQ(kinds(), (std::vector<std::string>{"nothing", "upstream", "positions"}));
    graph->removeNode(probe.id());
    EXPECT_FALSE(object->collectInputFields(probe).has_value());
}

TEST_F(InputField, OfTheFirstInputAsAScalarOne)
{
    const Pin_ref<1> anyPin = outputPin(probe, 2);
    EXPECT_FALSE(inputField(anyPin));
    link(probe, 0, out(vector));
    EXPECT_FALSE(inputField(anyPin));
    link(probe, 0, out(scalar));
    EXPECT_TRUE(inputField(anyPin));
    EXPECT_FALSE(inputField(Pin_ref<1>()));

    const ZRKGraph::Node defaulted = graph->addNode(std::make_shared<Probe>());
    defaulted.record()->inputs[0] = defaulted.record()->inputs[1];
    EXPECT_FALSE(inputField(outputPin(defaulted, 0))) << "a default is no field";
}

TEST_F(InputField, OutputsHaveTheShapeOfTheirTag)
{
    struct Case {
        Tag tag;
        std::uint32_t components;
    };
    const Case cases[] = {{Tag::Scalar, 1}, {Tag::Vector3d, 3}, {Tag::Color, 4},
                          {Tag::None, 0},   {Tag::Any, 0},      {{3, 77}, 0}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.tag.name());
        const zrk::IField field =
            outputField(graph->addNode(std::make_shared<Source>(c.tag, std::vector<double>{1, 1})));
        EXPECT_EQ(field ? field.generator()->descriptor().outputShape : 0, c.components);
    }
    const auto object = std::dynamic_pointer_cast<ZRKFieldObject>(scalar.object());
    EXPECT_FALSE(object->realizeField(scalar, 1)) << "no such output";
    graph->removeNode(scalar.id());
    EXPECT_FALSE(object->realizeField(scalar, 0));
}

} // namespace
} // namespace zrkmodel
