#include "components/operators/fall_off.h"
#include "components/operators/invert.h"
#include "components/operators/levelset_formula.h"
#include "components/operators/levelset_iso_value.h"
#include "components/operators/shell.h"
#include "testing/component_checks.h"
#include "testing/formula_agreement.h"

namespace zrkmodel {
namespace {

using namespace zrkmodel::testing;
using zrk::LevelSetKind;

/// The record that a component gives for sources of scalars at its inputs, in the order of the pins.
std::vector<double> answer(const std::shared_ptr<ZRKGraphObject>& component, const std::string& values,
                           const std::vector<std::vector<double>>& inputs)
{
    load(*component, ZRKJson::parse(values));
    const auto graph = ZRKGraph::create();
    const ZRKGraph::Node node = graph->addNode(component);
    for (std::size_t k = 0; k < inputs.size(); ++k) {
        const auto source = graph->addNode(std::make_shared<Source>(Tag::Scalar, inputs[k]));
        EXPECT_EQ(graph->connect(out(source), in(node, static_cast<std::uint8_t>(k))), ZRKLinkResult::Done);
    }
    return sample(outputField(node), {0, 0, 0});
}

TEST(LevelSetOperators, GiveExactAnswersWithTheWeightOfTheirInput)
{
    constexpr const char* kWall = R"({"offset": 0.5, "inner thickness": 0.25, "outer thickness": 0.75})";
    const auto shell = [] { return std::make_shared<ZRKShell>(); };
    const auto fallOff = [] { return std::make_shared<ZRKFallOff>(); };
    const auto iso = [] { return std::make_shared<ZRKLevelsetIsoValue>(); };
    struct Case {
        const char* name;
        std::shared_ptr<ZRKGraphObject> component;
        const char* values;
        std::vector<std::vector<double>> inputs; ///< value and weight each
        double expected;
    };
    const Case cases[] = {
        // From 0.25 inwards to 0.75 outwards of the level 0.5: a band of 1 around 0.75.
        {"inner face of a wall", shell(), kWall, {{0.25, 0.5}}, 0},
        {"outer face", shell(), kWall, {{1.25, 0.5}}, 0},
        {"middle", shell(), kWall, {{0.75, 0.5}}, -0.5},
        {"inside of the solid", shell(), kWall, {{-1, 0.5}}, 1.25},
        {"level moved by its pin", shell(), kWall, {{1.25, 0.5}, {2, 9}}, -0.5},
        {"thicknesses by theirs", shell(), kWall, {{1.25, 0.5}, {2, 9}, {0.5, 9}}, -0.125},
        {"thickness factor 0", shell(), kWall, {{-1, 0.5}, {2, 9}, {0, 9}}, 2},
        {"negative thickness", shell(), kWall, {{0.75, 0.5}, {1, 9}, {-1, 9}}, 1},
        {"no thickness", shell(), R"({"inner thickness": 0, "offset": 1})", {{-2, 0.5}}, 3},
        {"default wall lies inside", shell(), R"({"inner thickness": 0.5})", {{-0.25, 0.5}}, -0.25},
        {"density on the surface",
         shell(),
         R"({"inner thickness": 0.5, "as density": true})",
         {{0, 0.5}},
         0.5},
        {"density outside", shell(), R"({"inner thickness": 0.5, "as density": true})", {{1, 0.5}}, -0.5},
        {"fall-off by default", fallOff(), "{}", {{0.25, 0.5}}, 0.25},
        {"fall-off by its values",
         fallOff(),
         R"({"falloff params": {"start": 1, "end": 5, "curve": "smooth"}})",
         {{2, 0.5}},
         0.84375},
        {"inverted", std::make_shared<ZRKInvert>(), "{}", {{0.25, 0.5}}, 0.75},
        {"not clamped", std::make_shared<ZRKInvert>(), "{}", {{-3, 0.5}}, 4},
        {"iso value", iso(), "{}", {{0.75, 0.5}}, -0.25},
        {"iso value of choice", iso(), R"({"levelset isovalue": 2})", {{0.75, 0.5}}, 1.25},
        {"interior inverted",
         iso(),
         R"({"levelset isovalue": 2, "invert interior": true})",
         {{0.75, 0.5}},
         -1.25},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(answer(c.component, c.values, c.inputs), (std::vector<double>{c.expected, 0.5}));
    }
}

TEST(LevelSetOperators, HaveTheirStoredForm)
{
    expectStoredForm<ZRKShell>(
        R"({"offset":0.0,"inner thickness":0.1,"outer thickness":0.0,"as density":false})",
        R"({"offset":1.0,"inner thickness":2.0,"outer thickness":3.0,"as density":true})");
    expectStoredForm<ZRKFallOff>(R"({"falloff params":{"start":-0.5,"end":0.5,"curve":"linear"}})",
                                 R"({"falloff params":{"start":1.0,"end":3.0,"curve":"gauss"}})");
    expectStoredForm<ZRKInvert>("{}", "{}");
    expectStoredForm<ZRKLevelsetIsoValue>(R"({"levelset isovalue":0.5,"invert interior":false})",
                                          R"({"levelset isovalue":2.0,"invert interior":true})");
}

TEST(LevelSetOperators, AgreeInAllValueTypes)
{
    using zrk::agreement::expectAgreement;
    expectAgreement(zrk::ShellDistance<LevelSetKind::distance>::between(0.5, 0.25, 0.7), 0);
    expectAgreement(zrk::ShellDistance<LevelSetKind::density>::between(-1, -0.25, 0), 0);
    expectAgreement(zrk::Inversion{}, 0);
    expectAgreement(zrk::IsoDistance{0.3}, 0);
    expectAgreement(zrk::InvertedIsoDistance{0.3}, 0);
}

} // namespace
} // namespace zrkmodel
