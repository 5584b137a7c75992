#include "components/mesh/beam_sdf.h"
#include "components/mesh/mesh_sdf.h"
#include "components/patterns/pattern_designer.h"
#include "components/transforms/matrix_transform.h"
#include "testing/component_checks.h"
#include "testing/temporary_folder.h"

// What changes a component without an event, although an edit of a property would send one.

namespace zrkmodel {
namespace {

using namespace zrkmodel::testing;

class QuietOperations : public zrktest::TemporaryFolder {
protected:
    std::vector<std::string> told;

    template <class Component>
    std::shared_ptr<Component> heard()
    {
        const auto component = std::make_shared<Component>();
        component->addListener([this](const ZRKEvent& event) { told.push_back(event.name); });
        return component;
    }
};

TEST_F(QuietOperations, Imports)
{
    put("mesh.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nv 0 0 1\nf 1 2 3\nf 1 2 4\n");
    const auto mesh = heard<ZRKMeshSDF>();
    const auto beams = heard<ZRKBeamSDF>();
    EXPECT_TRUE(mesh->importFiles({folder / "mesh.obj"}, nullptr));
    EXPECT_NE(mesh->field(), nullptr);
    const auto before = sample(beams, {3, 4, 5});
    EXPECT_TRUE(beams->importFiles({folder / "mesh.obj"}, nullptr));
    EXPECT_NE(sample(beams, {3, 4, 5}), before);
    beams->importFiles({}, nullptr);
    mesh->importFiles({folder / "missing.obj"}, nullptr);
    EXPECT_TRUE(told.empty()) << told.front();
}

TEST_F(QuietOperations, AMatrixRowOfASilentComponent)
{
    const auto matrix = heard<ZRKMatrixTransform>();
    matrix->setSilent(true);
    matrix->setRow(0, {2, 0, 0, 1});
    EXPECT_EQ(matrix->matrix.value()[0], 2);
    EXPECT_TRUE(told.empty());
    matrix->setSilent(false);
    matrix->setRow(4, {2, 0, 0, 1});
    EXPECT_TRUE(told.empty()) << "there is no such row";
    matrix->setRow(0, {1, 0, 0, 0});
    EXPECT_EQ(told, (std::vector<std::string>{"matrix"}));
}

TEST_F(QuietOperations, ReadingAssigningAndCloning)
{
    const auto designer = heard<ZRKPatternDesigner>();
    load(*designer, ZRKJson::parse(R"({"mutliply": true, "waves": [{"fx": 2}]})"));
    const ZRKPatternDesigner other;
    *designer = other;
    other._copyTo(designer.get());
    designer->clone();
    EXPECT_TRUE(told.empty());
}

} // namespace
} // namespace zrkmodel
