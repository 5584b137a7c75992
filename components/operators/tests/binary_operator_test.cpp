#include "components/operators/binary_operator.h"

#include "model/graph_item.h"
#include "testing/component_checks.h"

namespace zrkmodel {
namespace {

using namespace zrkmodel::testing;

constexpr const char* kDefaults =
    R"({"strengthA":1.0,"strengthB":1.0,"op_name":"add","op_params":[0.0,0.0,0.0,0.0]})";

struct Built {
    std::shared_ptr<ZRKGraph> graph = ZRKGraph::create();
    std::shared_ptr<ZRKBinaryOperator> component = std::make_shared<ZRKBinaryOperator>();
    ZRKGraph::Node node = graph->addNode(component);

    /// Connects input k to a value with a weight.
    void connect(std::uint8_t k, Tag tag, std::vector<double> record)
    {
        const ZRKGraph::Node source = graph->addNode(std::make_shared<Source>(tag, std::move(record)));
        EXPECT_EQ(graph->connect(out(source), in(node, k)), ZRKLinkResult::Done);
    }
    Tag outputTag() const { return effectiveTag(outputPin(node, 0)); }
};

int indexOf(const std::string& name)
{
    const std::vector<std::string> names = ZRKBinaryOperator::operationNames();
    return static_cast<int>(std::find(names.begin(), names.end(), name) - names.begin());
}

TEST(BinaryOperationTable, ListsItsNamesInTheOrderOfPanels)
{
    const std::vector<std::string> names{"add", "maximum", "subtract", "multiply", "blend", "minimum"};
    EXPECT_EQ(ZRKBinaryOperator::operationNames(), names);
}

TEST(BinaryOperationTable, FindsEachRowAndNoOther)
{
    struct Case {
        const char* name;
        const char* symbol;
        const char* description;
    };
    const Case cases[] = {
        {"add", "+", "addition"},
        {"subtract", "-", "subtraction"},
        {"multiply", "x", "multiplication"},
        {"blend", "\u00CE\u00B1", "blend"},
        {"minimum", "min", "minimum"},
        {"maximum", "max", "maximum"},
    };
    for (const Case& c : cases) {
        const BinaryOperation& row = findBinaryOperation(c.name);
        EXPECT_EQ(row.name, c.name);
        EXPECT_EQ(row.symbol, c.symbol);
        EXPECT_EQ(row.description, c.description);
        EXPECT_EQ(row.paramNames.size(), row.name == "blend" ? 1u : 0u);
    }
    EXPECT_EQ(findBinaryOperation("blend").paramNames.front(), "blend factor");
    EXPECT_EQ(findBinaryOperation("blend").params, (BinaryOperation::Params{0.5, 0, 0, 0}));
    for (const char* name : {"noop", "Add", "", "divide"}) {
        EXPECT_EQ(findBinaryOperation(name).name, "noop") << name;
        EXPECT_FALSE(findBinaryOperation(name).factory) << name;
    }
}

TEST(BinaryOperator, StoresItsStrengthsThenItsOperation)
{
    const std::string edited =
        R"({"strengthA":2.0,"strengthB":-1.0,"op_name":"blend","op_params":[0.25,1.0,2.0,3.0]})";
    const auto component = std::make_shared<ZRKBinaryOperator>();
    EXPECT_EQ(stored(*component), kDefaults);
    load(*component, ZRKJson::parse(edited));
    EXPECT_EQ(stored(*component), edited);
    EXPECT_EQ(stored(dynamic_cast<ZRKBinaryOperator&>(*component->clone())), edited);
}

TEST(BinaryOperator, ReadsItsOperation)
{
    struct Case {
        const char* name;
        const char* values;
        const char* operation;
        BinaryOperation::Params params;
    };
    const Case cases[] = {
        {"parameters at their defaults", R"({"op_name": "blend"})", "blend", {0.5, 0, 0, 0}},
        {"numbers of every kind",
         R"({"op_name": "blend", "op_params": [1, -2, 0.5, 3e9]})",
         "blend",
         {1, -2, 0.5, 3e9}},
        {"three are ignored", R"({"op_name": "blend", "op_params": [1, 2, 3]})", "blend", {0.5, 0, 0, 0}},
        {"five as well", R"({"op_name": "blend", "op_params": [1, 2, 3, 4, 5]})", "blend", {0.5, 0, 0, 0}},
        {"no array", R"({"op_name": "blend", "op_params": 1})", "blend", {0.5, 0, 0, 0}},
        {"unknown name", R"({"op_name": "divide"})", "noop", {0, 0, 0, 0}},
        {"no operation", R"({"op_name": "noop", "op_params": [1, 2, 3, 4]})", "noop", {1, 2, 3, 4}},
        {"missing name", R"({"strengthA": 2})", "noop", {0, 0, 0, 0}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ZRKBinaryOperator component;
        component.selectOperation(indexOf("minimum"));
        load(component, ZRKJson::parse(c.values));
        EXPECT_EQ(component.operation().name, c.operation);
        EXPECT_EQ(component.operation().params, c.params);
    }
}

TEST(BinaryOperator, ThrowsForAMalformedOperation)
{
    struct Case {
        const char* values;
        const char* message;
    };
    const Case cases[] = {
        {R"({"op_name": 5})", "type must be string, but is number"},
        {R"({"op_name": null})", "type must be string, but is null"},
        {R"({"op_name": "add", "op_params": [1, 2, 3, "4"]})", "type must be number, but is string"},
        {R"({"op_name": "add", "op_params": [true, 2, 3, 4]})", "type must be number, but is boolean"},
    };
    for (const Case& c : cases) {
        ZRKBinaryOperator component;
        try {
            load(component, ZRKJson::parse(c.values));
            FAIL() << c.values << " was read";
        } catch (const ZRKJson::type_error& error) {
            EXPECT_EQ(error.id, 302);
            EXPECT_NE(std::string(error.what()).find(c.message), std::string::npos) << error.what();
        }
    }
}

TEST(BinaryOperator, TellsTheReaderWhatItRefused)
{
    std::vector<std::string> issues;
    const auto note = [&](const ZRKReadIssue& issue) {
        issues.push_back(issue.place + ": " + issue.found + ", expected " + issue.expected);
    };
    const ZRKJson values = ZRKJson::parse(R"({"op_name": "divide", "op_params": [1]})");
    ZRKBinaryOperator().deserialize(ZRKDeserialization(values, nullptr, note));
    ASSERT_EQ(issues.size(), 2u);
    EXPECT_EQ(issues[0], "op_name: \"divide\", expected one of \"add\" \"maximum\" \"subtract\" \"multiply\" "
                         "\"blend\" \"minimum\"");
    EXPECT_EQ(issues[1], "op_params: array of 1, expected array of 4 numbers");
}

TEST(BinaryOperator, TakesTheTypeThatBothInputsHave)
{
    Built built;
    EXPECT_EQ(built.outputTag(), Tag::None);
    built.connect(0, Tag::Scalar, {1, 1});
    EXPECT_EQ(built.outputTag(), Tag::None);
    built.connect(1, Tag::Scalar, {1, 1});
    EXPECT_EQ(built.outputTag(), Tag::Scalar);

    Built mixed;
    mixed.connect(0, Tag::Vector3d, {1, 2, 3, 1});
    mixed.connect(1, Tag::Color, {1, 2, 3, 4, 1});
    EXPECT_EQ(mixed.outputTag(), Tag::None);
    EXPECT_FALSE(mixed.component->getEvaluatorForPin(outputPin(mixed.node, 0), mixed.graph->context()));
}

TEST(BinaryOperator, CombinesEveryTypeWithStrengthsAndWeights)
{
    struct Case {
        const char* operation;
        Tag tag;
        std::vector<double> a;
        std::vector<double> b;
        std::vector<double> expected;
    };
    // Strengths 2 and 0.5 turn each 1, 2, 3, 4 into 2, 4, 6, 8 and each 8, 6, 4, 2 into 4, 3, 2, 1.
    const Case cases[] = {
        {"add", Tag::Scalar, {1, 1}, {8, 1}, {6, 1}},
        {"add", Tag::Vector3d, {1, 2, 3, 1}, {8, 6, 4, 3}, {7, 6.5, 6, 3}},
        {"subtract", Tag::Color, {1, 2, 3, 4, 0.5}, {8, 6, 4, 2, 0.5}, {-2, 1, 4, 7, 0.5}},
        {"multiply", Tag::Vector3d, {1, 2, 3, 1}, {8, 6, 4, 1}, {8, 12, 12, 1}},
        {"blend", Tag::Color, {1, 2, 3, 4, 1}, {8, 6, 4, 2, 1}, {2.5, 3.75, 5, 6.25, 1}},
        {"minimum", Tag::Vector3d, {1, 2, 3, 1}, {8, 6, 4, 2}, {2, 3, 2, 2}},
        {"maximum", Tag::Color, {1, 2, 3, 4, 3}, {8, 6, 4, 2, 2}, {4, 4, 6, 8, 3}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.operation);
        Built built;
        built.connect(0, c.tag, c.a);
        built.connect(1, c.tag, c.b);
        built.component->strengthA.set(2);
        built.component->strengthB.set(0.5);
        built.component->selectOperation(indexOf(c.operation));
        built.component->setParameter(0, 0.25); // of blend; the others have none
        EXPECT_EQ(sample(outputField(built.node), {0, 0, 0}), c.expected);
    }
}

TEST(BinaryOperator, WritesNothingWithoutAnOperation)
{
    Built built;
    built.connect(0, Tag::Scalar, {1, 1});
    built.connect(1, Tag::Scalar, {8, 1});
    load(*built.component, ZRKJson::parse(R"({"op_name": "divide"})"));
    EXPECT_FALSE(built.component->getEvaluatorForPin(outputPin(built.node, 0), built.graph->context()));
    EXPECT_EQ(sample(outputField(built.node), {0, 0, 0}), (std::vector<double>{0, 0}));
    EXPECT_NE(stored(*built.component).find(R"("op_name":"noop")"), std::string::npos);
}

TEST(BinaryOperator, KeepsBuiltEvaluatorsThroughEdits)
{
    Built built;
    built.connect(0, Tag::Scalar, {1, 1});
    built.connect(1, Tag::Scalar, {8, 1});
    built.component->selectOperation(indexOf("blend"));
    const zrk::IField field = outputField(built.node);
    zrk::FieldSampler sampler(field.generator(),
                              std::make_shared<zrk::PointListDomain>(std::vector<Vector>(1)));
    sampler.prepare();
    built.component->setParameter(0, 1);
    built.component->strengthA.set(5);
    zrk::EvaluationContext(sampler.slots).run(0, 0);
    EXPECT_EQ(sampler.targetNode.sampleBuffer->data, (std::vector<double>{4.5, 1}));
    EXPECT_EQ(sample(field, {0, 0, 0}), (std::vector<double>{8, 1}));
}

TEST(BinaryOperator, TellsOfAChosenOperationAndOfItsParameters)
{
    const auto component = std::make_shared<ZRKBinaryOperator>();
    std::vector<std::string> events;
    component->addListener([&](const ZRKEvent& event) {
        EXPECT_EQ(event.source, component.get());
        events.push_back(event.name);
    });
    component->selectOperation(indexOf("blend"));
    component->setParameter(0, 0.75);
    EXPECT_EQ(events, (std::vector<std::string>{"op", "op"}));
    EXPECT_EQ(component->operation().params[0], 0.75);
    EXPECT_EQ(component->operationIndex(), 4);

    component->selectOperation(indexOf("blend"));
    EXPECT_EQ(component->operation().params[0], 0.5) << "choosing again resets the parameters";
    events.clear();
    component->selectOperation(-1);
    component->selectOperation(6);
    component->setParameter(1, 1);
    component->setParameter(-1, 1);
    EXPECT_TRUE(events.empty());
    EXPECT_EQ(component->operation().params, (BinaryOperation::Params{0.5, 0, 0, 0}));

    load(*component, ZRKJson::object());
    EXPECT_EQ(component->operationIndex(), -1);
}

TEST(BinaryOperator, ShowsItsSymbolOnTheNode)
{
    struct Item : zrkui::ZRKExtensionBaseGraphItem {
        std::string text;
        void setText(const std::string& shown) override { text = shown; }
    } item;
    Built built;
    built.component->onUpdateGraphItem(&item, built.node);
    EXPECT_EQ(item.text, "+");
    load(*built.component, ZRKJson::object());
    built.component->onUpdateGraphItem(&item, built.node);
    EXPECT_EQ(item.text, ":(");
}

} // namespace
} // namespace zrkmodel
