// Documents that are put together by a program: from nothing, or to be saved somewhere else.
#include "host/graph_document.h"
#include "model/graph_object.h"
#include "model/registry.h"
#include "testing/temporary_folder.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>

namespace zrkmodel {
namespace {

std::shared_ptr<ZRKGraphObject> make(const char* className)
{
    return ZRKGraphObject::registry().findByClass(className)->factory();
}

TEST(DocumentAssembly, FromNothingToTextAndBack)
{
    GraphDocument document = GraphDocument::create("new.zrk.json");
    document.graph()->addNode(make("ZRKSphereSDF"), 7);
    document.graph()->addNode(make("ZRKShell"), 3);
    ASSERT_EQ(document.graph()->connect(Pin_handle::output(7, 0), Pin_handle::input(3, 0)),
              ZRKLinkResult::Done);
    document.setNodeMember(3, "position", ZRKJson{10, 20});
    document.setMember("context", {{"unit", "mm"}});
    document.setOutput(PinAddress{3, 0});

    DocumentWarnings warnings;
    const auto read = GraphDocument::parse(document.toText(), "new.zrk.json", warnings);
    ASSERT_TRUE(read) << zrk::messageOf(read.error());
    EXPECT_TRUE(warnings.empty());
    EXPECT_EQ(read->unit(), "mm");
    EXPECT_EQ(read->output()->node, 3);
    EXPECT_EQ((*read->nodeEntry(3))["position"], (ZRKJson{10, 20}));
    EXPECT_TRUE(read->graph()->upstream(Pin_handle::input(3, 0)).isValid());

    document.setOutput(std::nullopt);
    document.setMember("context", nullptr);
    document.setNodeMember(3, "position", nullptr);
    const auto less = GraphDocument::parse(document.toText(), "new.zrk.json", warnings);
    EXPECT_FALSE(less->output());
    EXPECT_EQ(less->member("context"), nullptr);
    EXPECT_FALSE(less->nodeEntry(3)->contains("position"));
}

class MovedDocument : public zrktest::TemporaryFolder {};

// Each relative path leads to the same file from the other folder; whole ones and other members stay.
TEST_F(MovedDocument, NamesTheSameFiles)
{
    std::filesystem::create_directories(path("a"));
    std::filesystem::create_directories(path("b/deep"));
    put("part.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n");
    const std::string whole = path("part.obj");
    const std::string text = R"({"zrkGraph": 1, "note": {"path": "part.obj"},
        "resources": [{"uuid": "a", "kind": "geometry", "shape": "mesh", "path": "../part.obj"},
                      {"uuid": "b", "kind": "geometry", "shape": "mesh", "path": ")" +
                             whole + R"("}],
        "nodes": [{"id": 1, "type": "MeshSDF", "import": "../part.obj"},
                  {"id": 2, "type": "MeshSDF", "import": ["../part.obj"]}]})";
    DocumentWarnings warnings;
    GraphDocument document = zrk::valueOrThrow(GraphDocument::parse(text, path("a/one.zrk.json"), warnings));
    document.moveTo(path("b/deep/two.zrk.json"));
    const ZRKJson moved = ZRKJson::parse(document.toText());
    EXPECT_EQ(moved["resources"][0]["path"], "../../part.obj");
    EXPECT_EQ(moved["resources"][1]["path"], whole);
    EXPECT_EQ(moved["nodes"][0]["import"], "../../part.obj");
    EXPECT_EQ(moved["nodes"][1]["import"], ZRKJson{"../../part.obj"});
    EXPECT_EQ(moved["note"]["path"], "part.obj");
    EXPECT_TRUE(GraphDocument::parse(document.toText(), document.name(), warnings));
}

} // namespace
} // namespace zrkmodel
