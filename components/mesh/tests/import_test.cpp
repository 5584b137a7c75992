#include "components/mesh/beam_sdf.h"
#include "components/mesh/mesh_sdf.h"

#include "testing/component_checks.h"
#include "testing/literal_engine.h"
#include "testing/temporary_folder.h"

#include <atomic>
#include <limits>
#include <thread>

namespace zrkmodel {
namespace {

using namespace zrkmodel::testing;

/// Two meshes that fill the box which imports are stretched to, and a position at which their fields differ.
const char* const kTetrahedron = "v 0 0 0\nv 5 0 0\nv 0 5 0\nv 0 0 5\nf 1 3 2\nf 1 2 4\nf 1 4 3\nf 2 3 4\n";
const char* const kSheets = "v 0 0 0\nv 5 0 0\nv 5 5 0\nv 0 5 5\nf 1 2 3\nf 3 4 1\n";
const Vector kPosition{0.5, 3, 0.25};

/// What both components that import meshes have in common.
template <class Component>
class MeshImport : public zrktest::TemporaryFolder {
protected:
    std::shared_ptr<Component> component = std::make_shared<Component>();
    std::shared_ptr<ZRKGraph> graph = ZRKGraph::create();
    double ofTetrahedron = 0;
    double ofSheets = 0;

    void SetUp() override
    {
        TemporaryFolder::SetUp();
        put("tetrahedron.obj", kTetrahedron);
        put("sheets.obj", kSheets);
        const auto valueWith = [this](const char* file) {
            const auto other = std::make_shared<Component>();
            EXPECT_TRUE(other->importFiles({folder / file}, nullptr));
            return sample(other, kPosition).front();
        };
        ofTetrahedron = valueWith("tetrahedron.obj");
        ofSheets = valueWith("sheets.obj");
        ASSERT_NE(ofTetrahedron, ofSheets);
    }
    void import(const char* file) { component->importFiles({folder / file}, nullptr); }

    /// A field with one evaluator, which is built now and stays.
    zrk::IField builtField()
    {
        const ZRKGraph::Node node = graph->addNode(component);
        zrk::Evaluation evaluation =
            component->getEvaluatorForPin(graph->pin_ref(out(node)), graph->context());
        return zrk::literal::node(1, std::move(evaluation), {zrk::literal::position()});
    }
    void forgetComponent()
    {
        graph = nullptr;
        component = nullptr;
    }
};

using Components = ::testing::Types<ZRKMeshSDF, ZRKBeamSDF>;
TYPED_TEST_SUITE(MeshImport, Components);

TYPED_TEST(MeshImport, ReachesEvaluatorsThatAreBuilt)
{
    const zrk::IField field = this->builtField();
    this->import("tetrahedron.obj");
    EXPECT_EQ(sample(field, kPosition).front(), this->ofTetrahedron);

    zrk::FieldSampler sampler(field.generator(),
                              std::make_shared<zrk::PointListDomain>(std::vector<Vector>{kPosition}));
    sampler.prepare();
    zrk::EvaluationContext context(sampler.slots);
    this->import("sheets.obj");
    context.run(0, 0);
    EXPECT_EQ(sampler.targetNode.sampleBuffer->data[0], this->ofSheets) << "of a prepared run";

    this->import("tetrahedron.obj");
    this->forgetComponent();
    EXPECT_EQ(sample(field, kPosition).front(), this->ofTetrahedron) << "the component is gone";
}

// Run by the thread sanitizer too. Fails for a run that mixes two meshes, and for one that loses the mesh
// it computes with.
TYPED_TEST(MeshImport, IsSafeWhileRunsAreUnderWay)
{
    const zrk::IField field = this->builtField();
    this->import("tetrahedron.obj");
    std::atomic<bool> isDone = false;
    std::atomic<int> runCount = 0;
    std::atomic<int> wrongCount = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 2; ++i) {
        threads.emplace_back([&] {
            // Many samples at the same place, so that all must be equal.
            const auto domain =
                std::make_shared<zrk::PointListDomain>(std::vector<Vector>(20'000, kPosition));
            while (!isDone) {
                zrk::FieldSampler sampler(field.generator(), domain);
                sampler.threadCount = 3;
                sampler.run();
                const std::vector<double>& records = sampler.targetNode.sampleBuffer->data;
                bool isRight = records[0] == this->ofTetrahedron || records[0] == this->ofSheets;
                for (std::size_t k = 2; k < records.size(); k += 2) {
                    isRight = isRight && records[k] == records[0];
                }
                wrongCount += !isRight;
                ++runCount;
            }
        });
    }
    // On and on until some runs have met imports.
    for (int i = 0; i < 50 || runCount < 20; ++i) {
        this->import(i % 2 == 0 ? "sheets.obj" : "tetrahedron.obj");
        this->component->onInspection(nullptr, {});
    }
    isDone = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(wrongCount, 0);
}

TEST(BeamSDFInspection, LeavesBuiltEvaluatorsTheLastLatticeUntilThereIsANewOne)
{
    const auto graph = ZRKGraph::create();
    const auto beams = std::make_shared<ZRKBeamSDF>();
    const ZRKGraph::Node node = graph->addNode(beams);
    const zrk::IField field =
        zrk::literal::node(1, beams->getEvaluatorForPin(graph->pin_ref(out(node)), graph->context()),
                           {zrk::literal::position()});
    beams->onInspection(nullptr, {});
    load(*beams, ZRKJson::parse(R"({"max": [10, 10, 10]})"));
    EXPECT_EQ(sample(field, {4, 4, 4}).front(), -0.35);
    EXPECT_EQ(sample(outputField(node), {4, 4, 4}).front(), -0.7);
    EXPECT_EQ(sample(field, {4, 4, 4}).front(), -0.7);
}

} // namespace
} // namespace zrkmodel
