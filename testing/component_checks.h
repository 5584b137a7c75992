#pragma once

#include "core/engine/evaluation_context.h"
#include "core/engine/field_sampler.h"
#include "core/values/fault.h"
#include "model/component.h"
#include "model/pins.h"
#include "model/property.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

/// What the tests of components share: they read and write stored values, and sample a node of a graph.
namespace zrkmodel::testing {

using Vector = zrk::Tensor<3, double>;

/// A row of a table: what a component with these stored values gives at a position.
template <class Expected>
struct ValueAtPosition {
    const char* name;
    std::shared_ptr<ZRKGraphObject> component;
    const char* values;
    Vector p;
    Expected expected;
};

/// A component of the tests' own that gives a value with a weight at its one output, of the given tag.
class Source final : public ZRKExtensionBase {
public:
    Source(Tag tag, std::vector<double> record) : _tag(tag), _record(std::move(record)) {}

    void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) override
    {
        addOutputPin(node, _tag, "out");
    }
    zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>&, const ZRKContext&) const override
    {
        return [record = _record](zrk::EvaluationContext& context) {
            const double weight = record.back();
            if (record.size() == 2) {
                context.writeOutput(record[0], weight);
            } else if (record.size() == 4) {
                context.writeOutput(Vector{record[0], record[1], record[2]}, weight);
            } else {
                context.writeOutput(zrk::Tensor<4, double>{record[0], record[1], record[2], record[3]},
                                    weight);
            }
        };
    }

private:
    Tag _tag;
    std::vector<double> _record;
};

inline Pin_handle in(const ZRKGraph::Node& node, std::uint8_t k = 0)
{
    return Pin_handle::input(node.id(), k);
}
inline Pin_handle out(const ZRKGraph::Node& node, std::uint8_t k = 0)
{
    return Pin_handle::output(node.id(), k);
}

inline zrk::IField outputField(const ZRKGraph::Node& node)
{
    return std::dynamic_pointer_cast<ZRKFieldObject>(node.object())->realizeField(node, 0);
}

/// Returns the record that a field gives at p: components and weight. It is empty for an empty field.
inline std::vector<double> sample(const zrk::IField& field, const Vector& p)
{
    if (!field) {
        return {};
    }
    zrk::FieldSampler sampler(field.generator(),
                              std::make_shared<zrk::PointListDomain>(std::vector<Vector>{p}));
    sampler.run();
    return sampler.targetNode.sampleBuffer->data;
}

/// Returns the same for a component that stands alone in a graph. Its first input is connected to `source` if
/// there is one.
inline std::vector<double> sample(const std::shared_ptr<ZRKGraphObject>& component, const Vector& p,
                                  const std::shared_ptr<Source>& source = nullptr)
{
    const auto graph = ZRKGraph::create();
    const ZRKGraph::Node node = graph->addNode(component);
    if (source) {
        EXPECT_EQ(graph->connect(out(graph->addNode(source)), in(node)), ZRKLinkResult::Done);
    }
    return sample(outputField(node), p);
}

inline std::string stored(const ZRKSerializableObject& component)
{
    ZRKSerialization s;
    component.serialize(s);
    return s.root().dump();
}

inline void load(ZRKSerializableObject& component, const ZRKJson& values)
{
    component.deserialize(ZRKDeserialization(values));
}

/// Checks that a fresh component stores `defaults`; that one which reads `edited`, where every value differs,
/// stores just that, and so does its clone; and that a missing value, or one of a wrong kind, changes
/// nothing. Both texts have their keys in the stored order.
template <class Component>
void expectStoredForm(const std::string& defaults, const std::string& edited)
{
    SCOPED_TRACE(Component::identity().className);
    EXPECT_EQ(stored(Component()), defaults);

    const auto component = std::make_shared<Component>();
    load(*component, ZRKJson::parse(edited));
    EXPECT_EQ(stored(*component), edited);
    EXPECT_EQ(stored(dynamic_cast<Component&>(*component->clone())), edited);
    EXPECT_EQ(stored(Component(*component)), defaults) << "a copy alone starts from the defaults";

    load(*component, ZRKJson::object());
    const ZRKJson values = ZRKJson::parse(edited);
    for (const auto& [key, value] : values.items()) {
        for (const char* wrong : {"\"text\"", "{}", "null", "[1, 2]", "[]"}) {
            load(*component, ZRKJson{{key, ZRKJson::parse(wrong)}});
            EXPECT_EQ(stored(*component), edited) << key << " read from " << wrong;
        }
    }
}

/// Checks that the weight of the first input arrives at the output unchanged.
template <class Component>
void expectForwardedWeight()
{
    SCOPED_TRACE(Component::identity().className);
    const auto source = std::make_shared<Source>(Tag::Vector3d, std::vector<double>{0.3, 0.4, 0.5, 0.25});
    EXPECT_EQ(sample(std::make_shared<Component>(), {0, 0, 0}, source).back(), 0.25);
    EXPECT_EQ(sample(std::make_shared<Component>(), {0, 0, 0}).back(), 1);
}

/// Checks that reading `edited` changes the field at p, but not that of an evaluator built before.
template <class Component>
void expectEditsReachOnlyNewEvaluators(const std::string& edited, const Vector& p)
{
    SCOPED_TRACE(Component::identity().className);
    const auto graph = ZRKGraph::create();
    const auto component = std::make_shared<Component>();
    const ZRKGraph::Node node = graph->addNode(component);

    const zrk::IField field = outputField(node);
    zrk::FieldSampler sampler(field.generator(),
                              std::make_shared<zrk::PointListDomain>(std::vector<Vector>{p}));
    sampler.prepare();
    load(*component, ZRKJson::parse(edited));
    zrk::EvaluationContext context(sampler.slots);
    context.run(0, 0);

    EXPECT_EQ(sampler.targetNode.sampleBuffer->data, sample(std::make_shared<Component>(), p));
    EXPECT_NE(sample(outputField(node), p), sampler.targetNode.sampleBuffer->data);
}

} // namespace zrkmodel::testing
