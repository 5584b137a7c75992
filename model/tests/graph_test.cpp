#include "model/graph.h"
#include "model/graph_object.h"
#include "model/pins.h"
#include "model/property.h"
#include "testing/sanitized.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <numeric>
#include <random>
#include <thread>

#include <pthread.h>

namespace zrkmodel {
namespace {

/// Two wildcard inputs, one scalar and one coordinates input, a wildcard output whose tag is
/// that of the first two where they agree, and a vector output.
struct Operator : ZRKGraphObject {
    inline static int queries = 0;
    int upstreamChanges = 0;
    ZRKProperty<double> strength{"strength", 1.0, this};

    void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) override
    {
        addInputPin(node, Tag::Any, "a");
        addInputPin(node, Tag::Any, "b");
        addDefaultedInputPin(node, Tag::Scalar, "s", 0.25);
        addCoordinatesPin(node, Tag::Vector3d, "coords");
        addOutputPin(node, Tag::Any, "out");
        addOutputPin(node, Tag::Vector3d(), "vector");
    }
    Tag queryEffectiveOutputPinTag(const Pin_ref<1>& pin) override
    {
        ++queries;
        if (pin.handle.index() == 1) {
            return ZRKGraphObject::queryEffectiveOutputPinTag(pin);
        }
        const Tag a = effectiveTag(inputPin(pin.node, 0));
        const Tag b = effectiveTag(inputPin(pin.node, 1));
        return a == b ? a : Tag::None;
    }
    void onUpstreamChange(const ZRKNodeBase<0, ZRKGraphObject>&, const ZRKEvent&) override
    {
        ++upstreamChanges;
    }
};

Pin_handle in(int node, int k)
{
    return Pin_handle::input(static_cast<std::uint16_t>(node), static_cast<std::uint8_t>(k));
}

Pin_handle out(int node, int k = 0)
{
    return Pin_handle::output(static_cast<std::uint16_t>(node), static_cast<std::uint8_t>(k));
}

std::shared_ptr<ZRKGraph> graphOf(int count)
{
    auto graph = ZRKGraph::create();
    for (int i = 0; i < count; ++i) {
        graph->addNode(std::make_shared<Operator>());
    }
    return graph;
}

TEST(Graph, PinHandlesArePacked)
{
    EXPECT_EQ(in(0x1234, 5).bits, 0x00051234u);
    EXPECT_EQ(out(65534, 255).bits, 0x01FFFFFEu);
    EXPECT_EQ(out(7, 3).node(), 7);
    EXPECT_EQ(out(7, 3).index(), 3);
    EXPECT_TRUE(out(7, 3).isOutput());
    EXPECT_FALSE(Pin_handle{}.isValid());
    EXPECT_EQ(Pin_handle{}.bits, 0xFFFFFFFFu);
}

TEST(Graph, IdsAndViews)
{
    auto graph = graphOf(2);
    EXPECT_FALSE(graph->addNode(std::make_shared<Operator>(), 1).isAlive());
    EXPECT_FALSE(graph->addNode(std::make_shared<Operator>(), 65535).isAlive());
    EXPECT_FALSE(graph->addNode(nullptr).isAlive());
    const ZRKGraph::Node last = graph->addNode(std::make_shared<Operator>(), 65534);
    EXPECT_TRUE(last.isAlive());
    EXPECT_EQ(graph->addNode(std::make_shared<Operator>()).id(), 2); // the lowest free one now
    EXPECT_EQ(graph->nodes()[2]->id, 65534);

    EXPECT_TRUE(graph->removeNode(65534));
    EXPECT_FALSE(graph->removeNode(65534));
    EXPECT_FALSE(last.isAlive());
    graph->addNode(std::make_shared<Operator>(), 65534);
    EXPECT_FALSE(last.isAlive()); // a new node of the same id isn't the old one

    const Pin_ref<1> pin = graph->pin_ref(out(0));
    EXPECT_TRUE(pin.isValid());
    graph.reset();
    EXPECT_FALSE(pin.isValid());
    EXPECT_EQ(effectiveTag(pin), Tag::None);
}

TEST(Graph, PinsAreWhatWasDeclared)
{
    auto graph = graphOf(1);
    const ZRKGraph::Node node = graph->node(0);
    EXPECT_EQ(inputPin(node, 2).pin()->defaultValue, zrk::TensorVariant<double>(0.25));
    EXPECT_EQ(inputPin(node, 2).pin()->opt, ZRKPinOpt::DefaultValue);
    EXPECT_TRUE(inputPin(node, 3).pin()->allowsPassthrough());
    EXPECT_FALSE(inputPin(node, 2).pin()->allowsPassthrough());
    EXPECT_EQ(outputPin(node, 1).handle, out(0, 1));
    for (const int k : {-1, 4, 255, 256, 1 << 20}) {
        EXPECT_FALSE(inputPin(node, k).isValid()) << k;
    }
    for (int k = 4; k < 256; ++k) {
        EXPECT_TRUE(addInputPin(node, Tag::Scalar, "more").isValid());
    }
    EXPECT_FALSE(addInputPin(node, Tag::Scalar, "one too many").isValid());
    EXPECT_EQ(node.record()->inputs.size(), 256u);
}

TEST(Graph, NodesThatArentThereGetNoPins)
{
    auto graph = graphOf(1);
    const ZRKGraph::Node removed = graph->addNode(std::make_shared<Operator>());
    const auto record = graph->getNodePtr(removed.id());
    const ZRKGraphNode before = *record;
    graph->removeNode(removed.id());
    const ZRKGraph::Node withoutRecord(graph, graph->getNodePtr(0)->object, nullptr);
    for (const ZRKGraph::Node& node : {removed, withoutRecord, ZRKGraph::Node()}) {
        EXPECT_FALSE(addInputPin(node, Tag::Scalar, "x").handle.isValid());
        EXPECT_FALSE(addCoordinatesPin(node, Tag::Vector3d, "x").handle.isValid());
        EXPECT_FALSE(addDefaultedInputPin(node, Tag::Scalar, "x", 1).handle.isValid());
        EXPECT_FALSE(addOutputPin(node, Tag::Scalar, "x").handle.isValid());
        EXPECT_FALSE(inputPin(node, 0).handle.isValid());
        EXPECT_FALSE(outputPin(node, 0).handle.isValid());
        EXPECT_FALSE(isConnected({node, in(0, 0)}));
    }
    EXPECT_EQ(record->inputs.size(), before.inputs.size());
    EXPECT_EQ(record->outputs.size(), before.outputs.size());
}

TEST(Graph, RefusesLinksAndSaysWhy)
{
    auto graph = graphOf(3);
    ASSERT_EQ(graph->connect(out(0), in(1, 0)), ZRKLinkResult::Done);
    ASSERT_EQ(graph->connect(out(1), in(2, 0)), ZRKLinkResult::Done);
    struct Case {
        Pin_handle from, to;
        ZRKLinkResult expected;
    };
    const Case cases[] = {
        {out(9), in(1, 1), ZRKLinkResult::MissingNode},
        {out(0), in(9, 1), ZRKLinkResult::MissingNode},
        {out(0, 2), in(1, 1), ZRKLinkResult::MissingPin},
        {out(0), in(1, 4), ZRKLinkResult::MissingPin},
        {in(0, 0), in(1, 1), ZRKLinkResult::MissingPin},
        {out(0), out(1), ZRKLinkResult::MissingPin},
        {out(2), in(1, 0), ZRKLinkResult::InputTaken},
        {out(0, 1), in(1, 2), ZRKLinkResult::TagsDiffer},
        {out(2), in(0, 0), ZRKLinkResult::Cycle},
        {out(1), in(1, 1), ZRKLinkResult::Cycle},
        {{}, {}, ZRKLinkResult::MissingNode},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(graph->connect(c.from, c.to), c.expected) << describe(c.expected);
    }
    EXPECT_EQ(graph->connect(out(0, 1), in(1, 3)), ZRKLinkResult::Done); // vector to vector
    EXPECT_EQ(graph->upstream(in(2, 0)).handle, out(1));
    EXPECT_FALSE(graph->upstream(in(2, 1)).isValid());

    // Without the link the cycle is none.
    EXPECT_TRUE(graph->disconnect(in(1, 0)));
    EXPECT_FALSE(graph->disconnect(in(1, 0)));
    EXPECT_TRUE(graph->disconnect(in(1, 3)));
    EXPECT_EQ(graph->connect(out(2), in(0, 0)), ZRKLinkResult::Done);
    EXPECT_TRUE(graph->removeNode(2));
    EXPECT_TRUE(graph->getNodePtr(0)->inputs[0].connections.empty());
    EXPECT_TRUE(graph->getNodePtr(1)->outputs[0].connections.empty());
}

// Compares with reachability worked out over all pairs.
TEST(Graph, FindsExactlyTheCycles)
{
    constexpr int n = 12;
    std::mt19937 random(20260);
    for (int round = 0; round < 50; ++round) {
        auto graph = graphOf(n);
        bool reaches[n][n] = {};
        for (int i = 0; i < n; ++i) {
            reaches[i][i] = true;
        }
        for (int link = 0; link < 60; ++link) {
            const int a = static_cast<int>(random() % n);
            const int b = static_cast<int>(random() % n);
            const int k = static_cast<int>(random() % 2);
            const auto result = graph->connect(out(a), in(b, k));
            if (result == ZRKLinkResult::InputTaken) {
                continue;
            }
            ASSERT_EQ(result == ZRKLinkResult::Cycle, reaches[b][a]) << "round " << round << " link " << link;
            if (result != ZRKLinkResult::Done) {
                continue;
            }
            for (int i = 0; i < n; ++i) {
                for (int j = 0; j < n; ++j) {
                    reaches[i][j] = reaches[i][j] || (reaches[i][a] && reaches[b][j]);
                }
            }
        }
    }
}

TEST(Graph, TellsEachObjectDownstreamOnce)
{
    auto graph = graphOf(4); // 0 -> 1, 2 -> 3
    graph->connect(out(0), in(1, 0));
    graph->connect(out(0), in(2, 0));
    graph->connect(out(1), in(3, 0));
    graph->connect(out(2), in(3, 1));
    const auto object = [&](int id) { return static_cast<Operator*>(graph->getNodePtr(id)->object.get()); };
    for (int id = 0; id < 4; ++id) {
        object(id)->upstreamChanges = 0;
    }
    object(0)->strength.set(2);
    object(3)->strength.set(2);
    for (int id = 0; id < 4; ++id) {
        EXPECT_EQ(object(id)->upstreamChanges, id == 0 ? 0 : 1) << id;
    }
    graph->disconnect(in(1, 0));
    EXPECT_EQ(object(1)->upstreamChanges, 2); // it has lost its input, and is told so
    EXPECT_FALSE(graph->setSilent(true));
    object(0)->strength.set(3);
    EXPECT_EQ(object(2)->upstreamChanges, 1); // neither the link nor the property
}

TEST(EffectiveTag, ResolvesWildcards)
{
    auto graph = graphOf(4);
    const auto tag = [&](Pin_handle pin) { return effectiveTag(graph->pin_ref(pin)); };
    EXPECT_EQ(tag(out(0, 1)), Tag::Vector3d); // declared
    EXPECT_EQ(tag(out(0)), Tag::None);        // nothing connected
    EXPECT_EQ(tag(in(0, 0)), Tag::None);
    EXPECT_EQ(tag(out(0, 7)), Tag::None); // no such pin
    graph->connect(out(3, 1), in(0, 0));
    EXPECT_EQ(tag(in(0, 0)), Tag::Vector3d);
    EXPECT_EQ(tag(out(0)), Tag::None); // only one of two
    graph->connect(out(3, 1), in(0, 1));
    EXPECT_EQ(tag(out(0)), Tag::Vector3d);
    graph->connect(out(0), in(1, 0));
    graph->connect(out(3, 1), in(1, 1));
    EXPECT_EQ(tag(out(1)), Tag::Vector3d);
    graph->disconnect(in(0, 1)); // nothing is remembered from before
    EXPECT_EQ(tag(out(1)), Tag::None);
}

/// Answers for a wildcard by the direction of the pin it is asked about.
struct TwoFaced : ZRKGraphObject {
    void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) override
    {
        addInputPin(node, Tag::Any, "a");
        addInputPin(node, Tag::Scalar, "s");
        addOutputPin(node, Tag::Any, "out");
    }
    Tag queryEffectiveOutputPinTag(const Pin_ref<1>& pin) override
    {
        const Tag declared = ZRKGraphObject::queryEffectiveOutputPinTag(pin);
        return declared != Tag::Any ? declared : pin.handle.isOutput() ? Tag::Color : Tag::Vector3d;
    }
};

// A node in a graph within a graph is linked to an input of the node that stands for the inner one.
TEST(EffectiveTag, ThroughAnEnclosingGraphTheInputsObjectAnswers)
{
    auto graph = graphOf(0);
    const ZRKGraph::Node outer = graph->addNode(std::make_shared<TwoFaced>());
    const ZRKGraph::Node inner = graph->addNode(std::make_shared<TwoFaced>());
    const auto linkInner = [&](Pin_handle upstream) { inner.record()->inputs[0].connections = {upstream}; };
    const Pin_ref<1> pin = inputPin(inner, 0);
    EXPECT_EQ(effectiveTag(pin), Tag::None);
    linkInner(in(outer.id(), 1));
    EXPECT_EQ(effectiveTag(pin), Tag::Scalar);
    linkInner(in(outer.id(), 0));
    {
        const EffectiveTagScope scope; // in which each pin has an answer of its own
        EXPECT_EQ(effectiveTag(pin), Tag::Vector3d);
        EXPECT_EQ(effectiveTag(outputPin(outer, 0)), Tag::Color);
        EXPECT_EQ(effectiveTag(pin), Tag::Vector3d);
    }
    linkInner(in(outer.id(), 9));
    EXPECT_EQ(effectiveTag(pin), Tag::None) << "no such pin";
    linkInner(out(outer.id()));
    EXPECT_EQ(effectiveTag(pin), Tag::Color);
    graph->removeNode(outer.id());
    linkInner(out(outer.id()));
    EXPECT_EQ(effectiveTag(pin), Tag::None) << "its node is gone";
    const Pin_ref<1> orphan{{graph, nullptr, graph->getNodePtr(inner.id())}, out(inner.id())};
    EXPECT_EQ(effectiveTag(orphan), Tag::None) << "no object to ask";
    EXPECT_EQ(effectiveTag({}), Tag::None);
}

// A wildcard read twice at every step would double the queries with each.
TEST(EffectiveTag, LadderOfSharedInputsAsksEachOnce)
{
    constexpr int rungs = 40;
    auto graph = graphOf(rungs + 1);
    graph->connect(out(0, 1), in(1, 0));
    graph->connect(out(0, 1), in(1, 1));
    for (int i = 2; i <= rungs; ++i) {
        graph->connect(out(i - 1), in(i, 0));
        graph->connect(out(i - 1), in(i, 1));
    }
    Operator::queries = 0;
    EXPECT_EQ(effectiveTag(graph->pin_ref(out(rungs))), Tag::Vector3d);
    EXPECT_EQ(Operator::queries, rungs + 1);

    Operator::queries = 0;
    {
        const EffectiveTagScope scope;
        for (int i = 1; i <= rungs; ++i) {
            EXPECT_EQ(effectiveTag(graph->pin_ref(out(i))), Tag::Vector3d);
        }
    }
    EXPECT_EQ(Operator::queries, rungs + 1);
}

// Links come in order, in reverse, and shuffled; the tag is asked for on a small stack, which
// a recursion over 5000 nodes would overflow.
TEST(EffectiveTag, LongChainNeedsNeitherTimeNorStack)
{
    constexpr int count = 5000;
    for (const char* order : {"in order", "in reverse", "shuffled"}) {
        SCOPED_TRACE(order);
        auto graph = graphOf(count);
        graph->setSilent(true);
        std::vector<int> links(count - 1);
        std::iota(links.begin(), links.end(), 1);
        if (order == std::string("in reverse")) {
            std::reverse(links.begin(), links.end());
        } else if (order == std::string("shuffled")) {
            std::shuffle(links.begin(), links.end(), std::mt19937(5));
        }
        const auto start = std::chrono::steady_clock::now();
        for (const int i : links) {
            ASSERT_EQ(graph->connect(out(i - 1, i == 1 ? 1 : 0), in(i, 0)), ZRKLinkResult::Done);
            ASSERT_EQ(graph->connect(out(i - 1, i == 1 ? 1 : 0), in(i, 1)), ZRKLinkResult::Done);
        }
        const std::chrono::duration<double> linking = std::chrono::steady_clock::now() - start;
        std::printf("linking %s: %.1f ms\n", order, 1e3 * linking.count());
        // Milliseconds; a walk over the whole chain a link takes seconds.
        EXPECT_LT(linking.count(), zrktest::isSanitized() ? 10 : 1);
        EXPECT_EQ(graph->connect(out(count - 1), in(0, 0)), ZRKLinkResult::Cycle);

        struct Job {
            ZRKGraph& graph;
            Tag answer;
        } job{*graph, Tag::None};
        pthread_attr_t attributes;
        pthread_attr_init(&attributes);
        pthread_attr_setstacksize(&attributes, 256 * 1024);
        pthread_t thread;
        const auto run = [](void* data) -> void* {
            Job& job = *static_cast<Job*>(data);
            job.answer = effectiveTag(job.graph.pin_ref(out(count - 1)));
            return nullptr;
        };
        ASSERT_EQ(pthread_create(&thread, &attributes, run, &job), 0);
        pthread_join(thread, nullptr);
        pthread_attr_destroy(&attributes);
        EXPECT_EQ(job.answer, Tag::Vector3d);
    }
}

} // namespace
} // namespace zrkmodel
