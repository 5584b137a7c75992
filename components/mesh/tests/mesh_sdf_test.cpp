#include "components/mesh/mesh_sdf.h"

#include "testing/component_checks.h"
#include "testing/generated_meshes.h"
#include "testing/temporary_folder.h"

#include <gmock/gmock.h>

#include <sstream>

namespace zrkmodel {
namespace {

using zrktest::TemporaryFolder;

using namespace zrkmodel::testing;
using zrktest::GeneratedMesh;

std::string objText(const GeneratedMesh& mesh)
{
    std::ostringstream text;
    text.precision(17);
    for (std::size_t i = 0; i < mesh.vertices.size(); i += 3) {
        text << "v " << mesh.vertices[i] << " " << mesh.vertices[i + 1] << " " << mesh.vertices[i + 2]
             << "\n";
    }
    for (std::size_t i = 0; i < mesh.indices.size(); i += 3) {
        text << "f " << mesh.indices[i] + 1 << " " << mesh.indices[i + 1] + 1 << " "
             << mesh.indices[i + 2] + 1 << "\n";
    }
    return text.str();
}

class MeshSDF : public TemporaryFolder {
protected:
    std::shared_ptr<ZRKMeshSDF> mesh = std::make_shared<ZRKMeshSDF>();
    const std::string cubeText = objText(zrktest::cube(0, 2)); // stretched to 0 to 5

    std::string import(const std::string& text)
    {
        put("mesh.obj", text);
        return messagesOf(mesh->importFiles({folder / "mesh.obj", folder / "not looked at"}, nullptr));
    }
    double at(const Vector& p) const { return sample(mesh, p).front(); }
};

TEST_F(MeshSDF, HasItsPlaceInGraphsAndDocuments)
{
    EXPECT_EQ(stored(*mesh), stored(ZRKMeshSDF()));
    expectForwardedWeight<ZRKMeshSDF>();
}

TEST_F(MeshSDF, IsNothingUntilAMeshIsImported)
{
    EXPECT_EQ(at({1, 1, 1}), 0);
    EXPECT_TRUE(mesh->importFiles({}, nullptr));
    EXPECT_EQ(at({1, 1, 1}), 0);
    EXPECT_EQ(import(cubeText), "");
    EXPECT_EQ(at({1, 2, 2}), -1);
    EXPECT_EQ(at({8, 9, 2}), 5);
    EXPECT_EQ(sample(std::dynamic_pointer_cast<ZRKGraphObject>(mesh->clone()), {1, 2, 2}).front(), 0)
        << "a clone takes nothing along";
    EXPECT_EQ(sample(std::make_shared<ZRKMeshSDF>(*mesh), {1, 2, 2}).front(), 0);
}

TEST_F(MeshSDF, ForwardsTheWeight)
{
    import(cubeText);
    const auto source = std::make_shared<Source>(Tag::Vector3d, std::vector<double>{8, 9, 2, 0.25});
    EXPECT_EQ(sample(mesh, {0, 0, 0}, source), (std::vector<double>{5, 0.25}));
}

TEST_F(MeshSDF, KeepsTheMeshWhereAnImportFails)
{
    const std::string file = path("mesh.obj");
    import(cubeText);
    const auto field = mesh->field();
    struct Case {
        const char* text;
        const char* says;
    };
    const Case cases[] = {
        {"", "found no triangles"},
        {"v 1 2 3\nv 1 1 1\n", "found no triangles"},
        {"v 0 0 0\nv 1 2 3\nf 1 2\n", "found no triangles"},
        {"f 1 2 3\n", "line 1: found a face with the vertex"},
        {"v 0 0 0\nv 1 1 0\nv 1 0 0\nf 1 2 4\n", "line 4: found a face with the vertex 4"},
        {"v 0 0 0\nv 1 1 0\nv 1 0 0\nf 1 2 -1\n", "line 4"},
        {"v 0 0 0\nv 1 1 0\nv 1 0 0\nf 1 2 999999999999\n", "line 4"},
        {"oops\nv 0 0 0\n", "line 1: found \"oops\""},
        {"\x7f\x45\x4c\x46\x02", "line 1"},
    };
    for (const Case& c : cases) {
        const std::string message = import(c.text);
        EXPECT_THAT(message, ::testing::StartsWith(file));
        EXPECT_THAT(message, ::testing::HasSubstr(c.says));
        EXPECT_THAT(message, ::testing::EndsWith("the mesh stays as it was"));
        EXPECT_EQ(mesh->field(), field);
    }
    EXPECT_THAT(messagesOf(mesh->importFiles({folder / "missing.obj"}, nullptr)),
                ::testing::HasSubstr("missing.obj"));
    EXPECT_EQ(mesh->field(), field);

    EXPECT_THAT(import(cubeText + "oops\nf 1 2 3"), ::testing::HasSubstr("line 21: found \"oops\""));
    EXPECT_NE(mesh->field(), field) << "what stands before a wrong line counts";
    EXPECT_EQ(at({1, 2, 2}), -1);
}

TEST_F(MeshSDF, TakesMeshesWithoutExtent)
{
    // Stretching divides by 0; nothing is near what isn't a number.
    EXPECT_THAT(import("v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n"),
                ::testing::HasSubstr("without extent along z"));
    EXPECT_EQ(at({1, 2, 2}), std::numeric_limits<double>::max());
}

class Stop final : public zrk::ProgressMonitor {
public:
    void progress(double) override {}
    bool interruptRequested() override { return true; }
};

TEST_F(MeshSDF, CanBeStoppedFromOutside)
{
    put("mesh.obj", cubeText);
    Stop stop;
    EXPECT_EQ(mesh->importFiles({folder / "mesh.obj"}, &stop).error().kind, zrk::FaultKind::Interrupted);
    EXPECT_TRUE(stop.isInterruptAcknowledged());
    EXPECT_EQ(mesh->field(), nullptr);
}

TEST_F(MeshSDF, GivesBlocksTheBitsOfSingleSamples)
{
    import(objText(zrktest::torusKnot(120, 10)));
    const auto graph = ZRKGraph::create();
    const zrk::IField field = outputField(graph->addNode(mesh));
    std::vector<Vector> points;
    for (int i = 0; i < 14; ++i) {
        for (int j = 0; j < 14; ++j) {
            for (int k = 0; k < 14; ++k) {
                points.push_back({0.4 * k - 0.1, 0.4 * j - 0.1, 0.4 * i - 0.1});
            }
        }
    }
    points.push_back({NAN, 1, 1});
    points.push_back({1e9, 1, 1});
    points.push_back({1, 2, 3});
    zrk::FieldSampler sampler(field.generator(), std::make_shared<zrk::PointListDomain>(points));
    sampler.run();
    const std::vector<double>& records = sampler.targetNode.sampleBuffer->data;
    int insideCount = 0;
    for (std::size_t i = 0; i < points.size(); ++i) {
        ASSERT_EQ(records[2 * i], mesh->field()->signedDistance(points[i])) << "point " << i;
        insideCount += records[2 * i] < 0;
    }
    EXPECT_GT(insideCount, 100);
}

} // namespace
} // namespace zrkmodel
