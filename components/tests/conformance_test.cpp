#include "core/engine/evaluation_context.h"
#include "core/engine/field_sampler.h"
#include "model/extension_base.h"
#include "model/graph.h"
#include "model/property.h"
#include "model/registry.h"

#include "testing/registered_components.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

// What every component must do. A new component gets these by being registered.

namespace zrkmodel {
namespace {

using Registration = ZRKGraphObjectRegistration;

class Conformance : public ::testing::TestWithParam<const Registration*> {
protected:
    std::shared_ptr<ZRKGraphObject> make() const { return GetParam()->factory(); }
};

ZRKJson stored(const ZRKGraphObject& object)
{
    ZRKSerialization s;
    object.serialize(s);
    return s.root();
}

ZRKJson propertyValues(const ZRKObject& object)
{
    ZRKJson values = ZRKJson::object();
    for (const auto* property : object.properties()) {
        values[property->name()] = property->valueJson();
    }
    return values;
}

/// Another value of the same kind for every property that the stored form can reach.
ZRKJson edited(const ZRKJson& value, std::mt19937_64& random)
{
    std::uniform_real_distribution<double> number(0.25, 2.0);
    if (value.is_boolean()) {
        return !value.get<bool>();
    }
    if (value.is_number_integer()) {
        return value.get<int>() == 0 ? 1 : 0;
    }
    if (value.is_number()) {
        return number(random);
    }
    if (value.is_array() && !value.empty() && value[0].is_number()) {
        ZRKJson other = value;
        for (auto& element : other) {
            element = number(random);
        }
        return other;
    }
    return value;
}

void edit(ZRKGraphObject& object, unsigned seed)
{
    std::mt19937_64 random(seed);
    ZRKJson values = stored(object);
    for (auto& [key, value] : values.items()) {
        value = edited(value, random);
    }
    object.deserialize(ZRKDeserialization(values));
}

/// The node in a graph of its own; vector, scalar and wildcard inputs are fed by `feeders`,
/// so that all of them carry values.
struct Bench {
    std::shared_ptr<ZRKGraph> graph = ZRKGraph::create();
    ZRKGraph::Node node;

    explicit Bench(const std::shared_ptr<ZRKGraphObject>& object) : node(graph->addNode(object))
    {
        for (const ZRKGraphPin& pin : node.record()->inputs) {
            // A wildcard is given a scalar; a vector or colour keeps what it reads unconnected.
            if (pin.tag == Tag::Any || (pin.tag == Tag::Scalar && pin.opt == ZRKPinOpt::None)) {
                const auto source = ZRKGraphObject::registry().findByClass("ZRKSphereSDF")->factory();
                const auto feeder = graph->addNode(source);
                graph->connect(Pin_handle::output(feeder.id(), 0), pin.handle);
            }
        }
    }

    /// All records of all outputs that carry a type, sampled at some positions.
    std::vector<double> records(std::size_t threads = 1) const
    {
        constexpr double nan = std::numeric_limits<double>::quiet_NaN();
        constexpr double inf = std::numeric_limits<double>::infinity();
        std::vector<zrk::Tensor<3, double>> points{
            {0, 0, 0},       {nan, 0, 0}, {0, nan, 0},    {0, 0, nan},
            {nan, nan, nan}, {inf, 0, 0}, {-inf, inf, 1}, {1e300, -1e300, 1e-300}};
        std::mt19937_64 random(11);
        std::uniform_real_distribution<double> coordinate(-2, 2);
        for (int i = 0; i < 1200; ++i) {
            points.push_back({coordinate(random), coordinate(random), coordinate(random)});
        }
        std::vector<double> all;
        for (std::size_t k = 0; k < node.record()->outputs.size(); ++k) {
            const auto object = std::dynamic_pointer_cast<ZRKFieldObject>(node.object());
            const zrk::IField field = object->realizeField(node, static_cast<unsigned char>(k));
            if (!field) {
                continue;
            }
            zrk::FieldSampler sampler(field.generator(), std::make_shared<zrk::PointListDomain>(points));
            sampler.threadCount = threads;
            sampler.run();
            const auto& data = sampler.targetNode.sampleBuffer->data;
            all.insert(all.end(), data.begin(), data.end());
        }
        return all;
    }
};

bool sameBits(const std::vector<double>& a, const std::vector<double>& b)
{
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](double x, double y) {
               return (std::isnan(x) && std::isnan(y)) || (x == y && std::signbit(x) == std::signbit(y));
           });
}

TEST_P(Conformance, IsMadeAndDeclaresItsPins)
{
    const auto object = make();
    ASSERT_NE(object, nullptr);
    EXPECT_STREQ(object->typeInfo().uuid.c_str(), GetParam()->info.uuid.c_str());
    const auto graph = ZRKGraph::create();
    const auto node = graph->addNode(object);
    EXPECT_GE(node.record()->outputs.size(), 1u);
    EXPECT_STRNE(GetParam()->strings.title, "");
    EXPECT_STRNE(GetParam()->strings.description, "");
}

TEST_P(Conformance, CloneHasTheEditedValues)
{
    const auto object = make();
    edit(*object, 5);
    const auto clone = std::dynamic_pointer_cast<ZRKGraphObject>(object->clone());
    ASSERT_NE(clone, nullptr);
    EXPECT_EQ(propertyValues(*clone), propertyValues(*object));
    EXPECT_EQ(&clone->typeInfo(), &object->typeInfo());
    // A copy without the values starts from the defaults.
    const auto bare = std::dynamic_pointer_cast<ZRKGraphObject>(object->onClone());
    EXPECT_EQ(propertyValues(*bare), propertyValues(*make()));
}

TEST_P(Conformance, StoredValuesReloadEqual)
{
    const auto object = make();
    edit(*object, 7);
    const ZRKJson values = ZRKJson::parse(stored(*object).dump());
    const auto reloaded = make();
    const ZRKDeserialization reader(values);
    reloaded->deserialize(reader);
    EXPECT_EQ(stored(*reloaded).dump(), values.dump());
    EXPECT_TRUE(reader.unreadPlaces().empty());
    EXPECT_TRUE(sameBits(Bench(reloaded).records(), Bench(object).records()));
}

TEST_P(Conformance, MissingKeysKeepPropertyValues)
{
    const auto object = make();
    edit(*object, 9);
    const ZRKJson before = propertyValues(*object);
    const ZRKJson nothing = ZRKJson::object();
    object->deserialize(ZRKDeserialization(nothing));
    for (const auto* property : object->properties()) {
        if (std::string(property->valueType()) != "curve") { // a curve's reader clears it first
            EXPECT_EQ(property->valueJson(), before[property->name()]) << property->name();
        }
    }
}

TEST_P(Conformance, EvaluatorsKeepWhatTheyCaptured)
{
    const auto object = make();
    const Bench bench(object);
    const auto component = std::dynamic_pointer_cast<ZRKExtensionBase>(object);
    for (std::size_t k = 0; k < bench.node.record()->outputs.size(); ++k) {
        const Pin_ref<1> pin = outputPin(bench.node, static_cast<int>(k));
        const zrk::Evaluation old = component->getEvaluatorForPin(pin, bench.graph->context());
        const auto sampleWith = [&](const zrk::Evaluation& evaluation) {
            // The chain as it is, with the closure of the target replaced.
            const auto field = component->realizeField(bench.node, static_cast<unsigned char>(k));
            if (!field) {
                return std::vector<double>();
            }
            zrk::FieldSampler sampler(field.generator(),
                                      std::make_shared<zrk::PointListDomain>(
                                          std::vector<zrk::Tensor<3, double>>{{0.3, -0.2, 0.7}}));
            sampler.prepare();
            zrk::EvaluationContext context(sampler.slots);
            context.slots[static_cast<std::size_t>(sampler.targetNode.slotIndex)].evaluator = evaluation;
            context.run(0, 0);
            return sampler.targetNode.sampleBuffer->data;
        };
        const auto before = sampleWith(old);
        edit(*object, 13);
        EXPECT_TRUE(sameBits(sampleWith(old), before));
    }
}

TEST_P(Conformance, SurvivesNaNAndGivesTheSameBitsOnAnyThread)
{
    for (const unsigned seed : {0u, 21u}) {
        const auto object = make();
        if (seed != 0) {
            edit(*object, seed);
        }
        const Bench bench(object);
        EXPECT_TRUE(sameBits(bench.records(1), bench.records(3)));
    }
}

INSTANTIATE_TEST_SUITE_P(Components, Conformance, ::testing::ValuesIn(testing::registeredComponents()),
                         [](const auto& info) { return info.param->className; });

} // namespace
} // namespace zrkmodel
