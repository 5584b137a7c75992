#include "host/graph_document.h"

#include "core/engine/field_sampler.h"
#include "host/document_json.h"
#include "model/graph_object.h"
#include "model/property.h"
#include "model/registry.h"
#include "testing/sanitized.h"
#include "testing/source_folder.h"
#include "testing/temporary_folder.h"

#include <algorithm>
#include <random>
#include <vector>

namespace zrkmodel {
namespace {

using zrktest::TemporaryFolder;

/// Beside the examples, whose texts name pictures there.
const std::string kName = zrktest::sourceFolder() / "examples" / "test.zrk.json";

GraphDocument parsed(const std::string& text)
{
    DocumentWarnings warnings;
    return zrk::valueOrThrow(GraphDocument::parse(text, kName, warnings));
}

std::vector<std::string> exampleTexts()
{
    std::vector<std::string> texts;
    for (const auto& entry : std::filesystem::directory_iterator(zrktest::sourceFolder() / "examples")) {
        if (entry.path().string().ends_with(".zrk.json")) {
            std::ifstream file(entry.path(), std::ios::binary);
            texts.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
        }
    }
    std::sort(texts.begin(), texts.end());
    EXPECT_GE(texts.size(), 10u);
    return texts;
}

/// Members that nobody knows at every level, a class name for a type, a uuid in lower case, a bare node.
const char* const kOdd = R"({"author": {"name": "A \u00e9", "big": 18446744073709551615, "small": 1e-300},
  "zrkGraph": 1, "context": {"modelBounds": [[0, 0, 0], [1, 2, 3]], "epoch": 3},
  "nodes": [
    {"note": [1.0, 1, null], "id": 9, "type": "ZRKTwistTransform", "values": {"angel": 3, "angle": 30.5}},
    {"id": 4, "type": "SphereSDF", "uuid": "6e8c3d87-c1b8-4f58-a88a-e8e774076aff", "position": [-1, 2.5]},
    {"id": 0, "type": "BinaryOperator", "values": {"op_name": "blend", "op_params": [0.25, 0, 0, 0]}}],
  "links": [{"color": "red", "to": [4, 0], "from": [9, 0]}, {"from": [4, 0], "to": [0, 1]}],
  "output": [0, 0], "zoom": 1.5})";

TEST(GraphDocumentText, IsTheSameWhenReadAndWrittenAgain)
{
    std::vector<std::string> texts = exampleTexts();
    texts.push_back(kOdd);
    texts.push_back(R"({"zrkGraph": 1})");
    for (const std::string& text : texts) {
        SCOPED_TRACE(text);
        if (zrktest::isSanitized() && text.find("\"ImageSweep\"") != std::string::npos) {
            continue; // which takes a minute
        }
        const std::string saved = parsed(text).toText();
        EXPECT_EQ(parsed(saved).toText(), saved);
        const GraphDocument again = parsed(saved);
        const GraphDocument first = parsed(text);
        ASSERT_EQ(again.outputPins().size(), first.outputPins().size());
        for (std::size_t i = 0; i < first.outputPins().size(); ++i) {
            EXPECT_EQ(again.outputPins()[i].tag, first.outputPins()[i].tag);
        }
    }
}

TEST(GraphDocumentText, KeepsWhatItDoesNotKnow)
{
    const ZRKJson saved = ZRKJson::parse(parsed(kOdd).toText());
    EXPECT_EQ(saved["author"].dump(), R"({"name":"A é","big":18446744073709551615,"small":1e-300})");
    EXPECT_EQ(saved["zoom"], 1.5);
    EXPECT_EQ(saved["context"]["epoch"], 3);
    EXPECT_EQ(saved["nodes"][0]["note"].dump(), "[1.0,1,null]");
    EXPECT_EQ(saved["nodes"][0]["values"]["angel"], 3);
    EXPECT_EQ(saved["nodes"][1]["position"].dump(), "[-1,2.5]");
    EXPECT_EQ(saved["links"][0].dump(), R"({"color":"red","to":[4,0],"from":[9,0]})");
    EXPECT_EQ(saved["output"].dump(), "[0,0]");
}

TEST(GraphDocumentText, KeepsTheFilesOfImports)
{
    for (const char* files : {R"("none.obj")", R"(["none.obj","../other.obj"])",
                              R"({"fit":"none","path":["none.obj"],"polygons":"split"})"}) {
        DocumentWarnings warnings;
        const std::string text = R"({"zrkGraph": 1, "nodes": [{"id": 1, "type": "BeamSDF", "import": )" +
                                 std::string(files) + "}]}";
        const GraphDocument document =
            zrk::valueOrThrow(GraphDocument::parse(text, "test.zrk.json", warnings));
        EXPECT_EQ(warnings.size(), 1u) << "no such file";
        EXPECT_EQ(ZRKJson::parse(document.toText())["nodes"][0]["import"].dump(), files);
    }
}

TEST(GraphDocumentText, NamesTypesByLiteralAndUuid)
{
    const ZRKJson saved = ZRKJson::parse(parsed(kOdd).toText());
    EXPECT_EQ(saved["nodes"][0]["type"], "TwistTransform");
    EXPECT_EQ(saved["nodes"][0]["uuid"], "C84CB689-1D93-4026-BBAE-3D6B2F5F29F4");
    EXPECT_EQ(saved["nodes"][1]["uuid"], "6E8C3D87-C1B8-4F58-A88A-E8E774076AFF");
}

TEST(GraphDocumentText, FollowsTheGraph)
{
    const GraphDocument document = parsed(kOdd);
    ZRKGraph& graph = *document.graph();
    ASSERT_TRUE(graph.disconnect(Pin_handle::input(4, 0)));
    ASSERT_EQ(graph.connect(Pin_handle::output(4, 0), Pin_handle::input(0, 0)), ZRKLinkResult::Done);
    ASSERT_TRUE(graph.removeNode(9));
    graph.addNode(ZRKGraphObject::registry().findByClass("ZRKGyroid")->factory(), 12);
    const auto& properties = graph.getNodePtr(4)->object->properties();
    const auto radius = std::find_if(properties.begin(), properties.end(),
                                     [](const auto* property) { return property->name() == "radius"; });
    ASSERT_NE(radius, properties.end());
    dynamic_cast<ZRKProperty<double>&>(**radius).set(2.5);

    const ZRKJson saved = ZRKJson::parse(document.toText());
    EXPECT_EQ(saved["links"].dump(), R"([{"from":[4,0],"to":[0,1]},{"from":[4,0],"to":[0,0]}])");
    ASSERT_EQ(saved["nodes"].size(), 3u);
    EXPECT_EQ(saved["nodes"][0]["id"], 4);
    EXPECT_EQ(saved["nodes"][0]["values"]["radius"], 2.5);
    EXPECT_EQ(saved["nodes"][2]["type"], "Gyroid");
    EXPECT_EQ(parsed(saved.dump()).graph()->nodes().size(), 3u);
}

class GraphDocumentFile : public TemporaryFolder {};

// The chain is built when it is sampled, which may be when nobody holds the document any more.
TEST(GraphDocumentFields, OutliveTheirDocument)
{
    const auto values = [](const zrk::IField& field) {
        zrk::FieldSampler sampler(field.generator(),
                                  std::make_shared<zrk::PointListDomain>(
                                      std::vector<zrk::Tensor<3, double>>{{0.1, 0.2, 0.3}, {2, 0, 0}}));
        sampler.run();
        const auto& records = *sampler.targetNode.sampleBuffer;
        return std::vector<double>{records.record(0)[0], records.record(1)[0]};
    };
    auto document = std::make_unique<GraphDocument>(parsed(kOdd));
    zrk::IField field = zrk::valueOrThrow(document->outputField({4, 0})).field;
    const std::weak_ptr<ZRKGraph> graph = document->graph();
    const std::vector<double> expected = values(field);
    EXPECT_NE(expected, (std::vector<double>{0, 0}));
    document.reset();
    EXPECT_EQ(values(field), expected);
    EXPECT_FALSE(graph.expired());
    field = {};
    EXPECT_TRUE(graph.expired()) << "kept by nobody but its field";
}

TEST_F(GraphDocumentFile, IsReplacedAsAWholeOrStays)
{
    put("a.zrk.json", kOdd);
    DocumentWarnings warnings;
    const GraphDocument document = zrk::valueOrThrow(GraphDocument::load(path("a.zrk.json"), warnings));
    EXPECT_TRUE(document.save(path("a.zrk.json")));
    EXPECT_EQ(content("a.zrk.json"), document.toText());
    EXPECT_FALSE(document.save(path("missing/a.zrk.json")));
    EXPECT_FALSE(document.save(folder.string()));
    EXPECT_EQ(entryCount(), 1);
}

// --- Documents that are broken at random ---

class Breaker {
public:
    explicit Breaker(unsigned seed) : _random(seed) {}

    std::size_t below(std::size_t count)
    {
        return std::uniform_int_distribution<std::size_t>(0, count - 1)(_random);
    }

    std::string withFlippedBytes(std::string text)
    {
        for (std::size_t i = 0, flips = 1 + below(4); i < flips; ++i) {
            static const std::string structural = "{}[]\",:0-9eE.\\ntf";
            char& byte = text[below(text.size())];
            byte = below(2) == 0 ? structural[below(structural.size())] : static_cast<char>(below(256));
        }
        return text;
    }

    std::string cutOff(const std::string& text) { return text.substr(0, below(text.size())); }

    std::string withSwappedValues(const std::string& text)
    {
        ZRKJson root = ZRKJson::parse(text);
        std::vector<ZRKJson*> places;
        collect(root, places);
        ZRKJson* place = places[below(places.size())];
        *place = below(3) == 0 ? ZRKJson(*places[below(places.size())]) : oddValue();
        return root.dump();
    }

private:
    std::mt19937 _random;

    ZRKJson oddValue()
    {
        static const ZRKJson values = ZRKJson::parse(
            R"([null, true, -1, 0, 1, 255, 256, 65534, 65535, 65536, 4294967296, -9223372036854775808,
                18446744073709551615, 0.5, -1e308, 1e-320, "", "1", "Invert", "ZRKBoxSDF", [], {}, [1], [1, 0],
                [0, 0, 0], [[0, 0, 0], [1, 1, 1]], {"id": 1}, {"id": 2, "type": "Gyroid"}])");
        return values[below(values.size())];
    }

    static void collect(ZRKJson& value, std::vector<ZRKJson*>& places)
    {
        places.push_back(&value);
        if (value.is_structured()) {
            for (ZRKJson& member : value) {
                collect(member, places);
            }
        }
    }
};

/// True when the text is a document; otherwise it must be refused as bad input, with place and remedy.
/// What is read must also be written, and be one again; and be what the JSON library reads.
bool isDocument(const std::string& text)
{
    DocumentWarnings warnings;
    const zrk::Result<GraphDocument> document = GraphDocument::parse(text, kName, warnings);
    if (document) {
        EXPECT_EQ(parsed(document->toText()).toText(), document->toText());
        EXPECT_EQ(parseDocumentJson(text, kName)->dump(), ZRKJson::parse(text).dump());
        document->outputPins();
    } else {
        EXPECT_EQ(document.error().kind, zrk::FaultKind::BadInput);
        warnings.push_back(document.error());
    }
    for (const zrk::Fault& fault : warnings) {
        EXPECT_TRUE(fault.place.starts_with(kName + ", ")) << fault.place;
        EXPECT_FALSE(fault.found.empty() || fault.expected.empty() || fault.remedy.empty())
            << zrk::messageOf(fault);
    }
    return document.has_value();
}

TEST(BrokenDocuments, AreReadOrRefused)
{
    std::vector<std::string> sources = exampleTexts();
    sources.push_back(kOdd);
    // A sweep between pictures is computed while it is read, which takes a fifth of a second.
    std::erase_if(sources,
                  [](const std::string& text) { return text.find("ImageSweep") != std::string::npos; });
    int read = 0;
    int refused = 0;
    for (unsigned seed = 1; seed <= 12000; ++seed) {
        Breaker breaker(seed);
        const std::string& source = sources[breaker.below(sources.size())];
        const std::string text = seed % 3 == 0   ? breaker.withFlippedBytes(source)
                                 : seed % 3 == 1 ? breaker.withSwappedValues(source)
                                                 : breaker.cutOff(source);
        SCOPED_TRACE("seed " + std::to_string(seed) + ": " + text);
        ASSERT_NO_THROW((isDocument(text) ? read : refused)++);
        ASSERT_FALSE(HasFailure());
    }
    // Both kinds must come up, else the mutations test nothing.
    EXPECT_GT(read, 1000);
    EXPECT_GT(refused, 4000);
}

TEST(GraphDocumentValues, AreSetByTheirKeyOrRefusedWithoutAChange)
{
    GraphDocument document = parsed(kOdd);
    std::vector<std::string> told;
    const auto sphere = document.graph()->getNodePtr(4)->object;
    sphere->addListener([&](const ZRKEvent& event) { told.push_back(event.name); });
    const auto valuesOf = [&](std::size_t node) {
        return ZRKJson::parse(document.toText())["nodes"][node]["values"];
    };
    const std::string before = document.toText();

    struct Case {
        std::uint16_t node;
        const char* key;
        ZRKJson value;
        const char* message;
    };
    const Case refused[] = {{5, "radius", 1.0, "no such node"},
                            {4, "radios", 1.0, "did you mean \"radius\""},
                            {4, "radius", "big", "expected number"},
                            {0, "op_name", 3, "another kind of value"}};
    for (const Case& c : refused) {
        const auto result = document.setValue(c.node, c.key, c.value);
        ASSERT_FALSE(result) << c.key;
        EXPECT_NE(messageOf(result.error()).find(c.message), std::string::npos) << messageOf(result.error());
    }
    EXPECT_EQ(document.toText(), before);
    EXPECT_TRUE(told.empty());

    ASSERT_TRUE(document.setValue(4, "radius", 0.25));
    ASSERT_TRUE(document.setValue(0, "op_params", ZRKJson::parse("[0.5, 0, 0, 0]")));
    EXPECT_EQ(valuesOf(1)["radius"], 0.25);
    EXPECT_EQ(valuesOf(2)["op_params"][0], 0.5);
    EXPECT_EQ(valuesOf(2)["op_name"], "blend");
    EXPECT_EQ(told, std::vector<std::string>{"radius"});
    std::vector<std::string> toldOfOperator;
    const auto connection = document.graph()->getNodePtr(0)->object->addListener(
        [&](const ZRKEvent& event) { toldOfOperator.push_back(event.name); });
    ASSERT_TRUE(document.setValue(0, "op_name", "minimum"));
    ASSERT_TRUE(document.setValue(0, "op_name", "blend"));
    EXPECT_EQ(valuesOf(2)["op_params"][0], 0.5) << "each operation begins with its own parameters";
    EXPECT_EQ(toldOfOperator, (std::vector<std::string>{"op", "op"}));
}

} // namespace
} // namespace zrkmodel
