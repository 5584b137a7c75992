#include "components/patterns/pattern_designer.h"

#include "components/patterns/pattern_designer_formula.h"
#include "core/engine/field_bounds.h"
#include "testing/component_checks.h"
#include "testing/formula_agreement.h"

#include <cmath>
#include <set>
#include <thread>

namespace zrkmodel {
namespace {

using namespace zrkmodel::testing;
using Wave = ZRKPatternDesigner::Wave;

constexpr const char* kTwoWaves =
    R"({"mutliply":true,"waves":[{"fx":2.0,"fy":3.0,"fz":4.0,"amplitude":0.5,"phase":0.25},)"
    R"({"fx":1.0,"fy":0.0,"fz":0.0,"amplitude":1.0,"phase":0.0}]})";

std::shared_ptr<ZRKPatternDesigner> designer(const char* values)
{
    const auto component = std::make_shared<ZRKPatternDesigner>();
    load(*component, ZRKJson::parse(values));
    return component;
}

TEST(PatternDesigner, HasItsStoredForm)
{
    EXPECT_EQ(stored(ZRKPatternDesigner()), R"({"mutliply":false,"waves":[]})");
    const auto component = designer(kTwoWaves);
    EXPECT_EQ(stored(*component), kTwoWaves);
    EXPECT_EQ(stored(dynamic_cast<ZRKPatternDesigner&>(*component->clone())),
              R"({"mutliply":true,"waves":[]})")
        << "a clone starts without waves";

    load(*component, ZRKJson::parse(R"({"mutliply": 1, "waves": ["wave", {"fy": 2, "phase": "x"}]})"));
    EXPECT_EQ(stored(*component),
              R"({"mutliply":true,"waves":[{"fx":1.0,"fy":0.0,"fz":0.0,"amplitude":1.0,"phase":0.0},)"
              R"({"fx":1.0,"fy":2.0,"fz":0.0,"amplitude":1.0,"phase":0.0}]})");
}

// The sines are of whole quarters of a turn, and the waves differ in every number.
TEST(PatternDesigner, AtPointsWithKnownAnswers)
{
    struct Case {
        const char* name;
        const char* values;
        Vector p;
        double expected;
    };
    const Case cases[] = {
        {"a default wave", R"({"waves": [{}]})", {0.25, 0.6, 0.7}, 1},
        {"y, z and phase",
         R"({"waves": [{"fx": 0, "fy": 1, "fz": 2, "phase": 0.375}]})",
         {0.9, 0.25, 0.0625},
         0},
        {"added, divided by all amplitudes",
         R"({"waves": [{"amplitude": 3}, {"fx": 0, "fy": 1}]})",
         {0.25, 0.75, 0},
         0.75},
        {"a negative amplitude turns its wave over",
         R"({"waves": [{}, {"amplitude": -1, "fx": 0, "phase": 0.75}]})",
         {0.25, 0, 0},
         1},
        {"no amplitude at all", R"({"waves": [{"amplitude": 0}, {"amplitude": 0}]})", {0.25, 0, 0}, 0.5},
        {"one factor", R"({"mutliply": true, "waves": [{"amplitude": 0.5}]})", {0.75, 0, 0}, 0},
        {"two factors reach 4",
         R"({"mutliply": true, "waves": [{"amplitude": 0.5}, {"amplitude": 0.5}]})",
         {0.25, 0, 0},
         2.5},
        {"their signs multiply",
         R"({"mutliply": true, "waves": [{"amplitude": -1}, {"fx": 3}]})",
         {0.25, 0, 0},
         1},
        {"a factor without amplitude is left out",
         R"({"mutliply": true, "waves": [{"amplitude": 0, "fx": 0}, {}]})",
         {0.25, 0, 0},
         1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const std::vector<double> found = sample(designer(c.values), c.p);
        EXPECT_NEAR(found[0], c.expected, 1e-15); // sines of rounded angles, where they are level
        EXPECT_EQ(found[1], 1);
    }
}

TEST(PatternDesigner, WritesNothingWithoutAWave)
{
    const std::vector<double> untouched{0, 0};
    for (const char* values :
         {"{}", R"({"mutliply": true})", R"({"mutliply": true, "waves": [{"amplitude": 0}]})"}) {
        EXPECT_EQ(sample(designer(values), {0.1, 0.2, 0.3}), untouched) << values;
    }
}

TEST(PatternDesigner, KeepsBuiltEvaluatorsAndHasBounds)
{
    const auto graph = ZRKGraph::create();
    const auto component = designer(R"({"waves": [{"fx": 1}]})");
    const ZRKGraph::Node node = graph->addNode(component);
    const zrk::IField field = outputField(node);
    const zrk::FieldBounds bounds(field.generator());
    component->waves.clear();

    using Range = zrk::Interval<double>;
    const zrk::IntervalRecord record = bounds.over({Range{0, 0.125}, Range{-5, 5}, Range{-5, 5}});
    EXPECT_NEAR(record.components[0].lower, 0.5, 1e-14); // bounds are widened by a few units
    EXPECT_NEAR(record.components[0].upper, 0.5 + std::sqrt(0.125), 1e-14);
    EXPECT_EQ(sample(field, {0.1, 0.2, 0.3}), (std::vector<double>{0, 0})) << "built anew, without waves";
}

TEST(WaveDensity, AgreesInAllValueTypes)
{
    const std::vector<zrk::PlaneWave> waves{{1, 2, -3, 0.5, 0.1}, {0.5, 0, 1, -2, 0}, {0, 3, 0, 1, 0.75}};
    const auto share = [](auto records) {
        return std::make_shared<const std::vector<zrk::PlaneWave>>(records);
    };
    // Angles of some 60 radians carry their rounding into the sine.
    zrk::agreement::expectAgreement(zrk::WaveDensity<zrk::AddWaves>{share(zrk::addedWaves(waves))}, 1e-14);
    zrk::agreement::expectAgreement(zrk::WaveDensity<zrk::MultiplyWaves>{share(zrk::multipliedWaves(waves))},
                                    1e-14);
}

/// Returns what a thread of its own, whose generators are fresh, stores after three waves were drawn `draws`
/// times.
std::string thrown(int draws)
{
    std::string text;
    std::thread([&] {
        const auto component = designer(R"({"waves": [{}, {}, {}]})");
        for (int i = 0; i < draws; ++i) {
            component->randomize();
        }
        text = stored(*component);
    }).join();
    return text;
}

TEST(PatternDesigner, ThrowsTheSameWavesInEveryThread)
{
    EXPECT_EQ(thrown(1), thrown(1));
    EXPECT_EQ(thrown(2), thrown(2));
    EXPECT_NE(thrown(1), thrown(2));

    std::thread([] {
        const auto component = designer(R"({"waves": [{}]})");
        component->randomize();
        // The first four numbers of the generator with its default seed.
        const Wave& wave = component->waves.values()[0];
        EXPECT_EQ(wave.amplitude, (3499211612.0 + 581869302.0 * 0x1p32) / 0x1p64);
        EXPECT_EQ(wave.phase, (3890346734.0 + 3586334585.0 * 0x1p32) / 0x1p64);
    }).join();
}

TEST(PatternDesigner, ThrowsWithinItsRanges)
{
    const auto component = designer(R"({"waves": [{}, {}]})");
    std::set<double> frequencies[3];
    int events = 0;
    const nod::scoped_connection listener = component->addListener([&](const ZRKEvent& event) {
        EXPECT_EQ(event.name, "waves");
        ++events;
    });
    for (int i = 0; i < 200; ++i) {
        component->randomize();
        ASSERT_EQ(component->waves.values().size(), 2u);
        for (const Wave& wave : component->waves.values()) {
            frequencies[0].insert(wave.fx);
            frequencies[1].insert(wave.fy);
            frequencies[2].insert(wave.fz);
            EXPECT_TRUE(wave.amplitude >= 0 && wave.amplitude < 1 && wave.phase >= 0 && wave.phase < 1);
        }
    }
    for (const auto& drawn : frequencies) {
        EXPECT_EQ(drawn, (std::set<double>{-3, -2, -1, 0, 1, 2, 3}));
    }
    EXPECT_EQ(events, 200);

    component->waves.clear();
    component->randomize();
    EXPECT_TRUE(component->waves.values().empty());
    EXPECT_EQ(events, 202) << "announced without waves, too";
}

} // namespace
} // namespace zrkmodel
