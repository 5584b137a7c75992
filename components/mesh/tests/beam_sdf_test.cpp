#include "components/mesh/beam_sdf.h"

#include "testing/component_checks.h"
#include "testing/temporary_folder.h"

#include <gmock/gmock.h>

#include <limits>

namespace zrkmodel {
namespace {

using zrktest::TemporaryFolder;

using namespace zrkmodel::testing;

constexpr double kNoBeam = std::numeric_limits<double>::max();

/// Two triangles that fill the box which meshes are stretched to, but for the last line nothing is odd.
const char* const kTwoTriangles = "v 0 0 0\nv 5 0 0\nv 5 5 0\nv 0 5 5\nf 1 2 3\nf 3 4 1\n";

class BeamSDF : public TemporaryFolder {
protected:
    std::shared_ptr<ZRKBeamSDF> beams = std::make_shared<ZRKBeamSDF>();

    std::string import(const std::string& text)
    {
        put("mesh.obj", text);
        return messagesOf(beams->importFiles({folder / "mesh.obj", folder / "not looked at"}, nullptr));
    }
    double at(const Vector& p) const { return sample(beams, p).front(); }
};

TEST_F(BeamSDF, HasItsPlaceInGraphsAndDocuments)
{
    expectStoredForm<ZRKBeamSDF>(R"({"min":[0.0,0.0,0.0],"max":[5.0,5.0,5.0],"resolution":3})",
                                 R"({"min":[-1.0,2.0,-3.0],"max":[1.0,4.0,9.0],"resolution":7})");
    expectForwardedWeight<ZRKBeamSDF>();
}

TEST_F(BeamSDF, IsAGridUntilAMeshIsImported)
{
    EXPECT_EQ(at({1, 1, 1}), -0.35);
    EXPECT_EQ(import(kTwoTriangles), "");
    EXPECT_EQ(at({2, 0, 0}), -0.001);
    EXPECT_EQ(at({1, 0, -1}), 1 - 0.001);
    EXPECT_TRUE(beams->importFiles({}, nullptr));
    EXPECT_DOUBLE_EQ(at({20 / 3.0, 0, 0}), -7 / 12.0) << "a grid of four nodes and one more";
    EXPECT_EQ(sample(std::dynamic_pointer_cast<ZRKGraphObject>(beams->clone()), {1, 1, 1}).front(), -0.35)
        << "a clone takes nothing along";
}

TEST_F(BeamSDF, DropsItsLatticeWhenInspected)
{
    import(kTwoTriangles);
    load(*beams, ZRKJson::parse(R"({"min": [0, 0, 0], "max": [10, 10, 10]})"));
    EXPECT_EQ(at({2, 0, 0}), -0.001) << "edits don't touch the lattice";
    EXPECT_TRUE(beams->onInspection(nullptr, {}));
    EXPECT_EQ(at({4, 4, 4}), -0.7);
    load(*beams, ZRKJson::parse(R"({"max": [5, 5, 5]})"));
    EXPECT_EQ(at({4, 4, 4}), -0.7);
}

TEST_F(BeamSDF, TellsWhatItCouldNotImport)
{
    const std::string file = path("mesh.obj");
    const auto expectMessage = [&](const std::string& message, const std::string& part) {
        EXPECT_THAT(message, ::testing::StartsWith(file));
        EXPECT_THAT(message, ::testing::HasSubstr(part));
    };
    import(kTwoTriangles);
    expectMessage(import("v 1 2 3\nf 1 2 3\n"), "line 2: found a face with the vertex 3");
    EXPECT_EQ(at({2, 0, 0}), -0.001) << "the former lattice stays";

    expectMessage(import(std::string(kTwoTriangles) + "oops\nv 1 1 1"), "line 7: found \"oops\"");
    EXPECT_EQ(at({2, 0, 0}), -0.001) << "what stands before a wrong line counts";
    for (const char* empty : {"", "v 1 2 3", "v 1 2 3\nf 1 1\n"}) {
        expectMessage(import(empty), "found no triangles");
        EXPECT_EQ(at({2, 0, 0}), kNoBeam);
    }
    import(kTwoTriangles);
    EXPECT_THAT(messagesOf(beams->importFiles({folder / "missing.obj"}, nullptr)),
                ::testing::HasSubstr("missing.obj: found no "));
    EXPECT_EQ(at({2, 0, 0}), kNoBeam);
}

} // namespace
} // namespace zrkmodel
