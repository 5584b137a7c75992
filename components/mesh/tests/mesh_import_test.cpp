#include "components/mesh/mesh_import.h"

#include "testing/source_folder.h"
#include "testing/temporary_folder.h"

#include <gmock/gmock.h>

#include <algorithm>

namespace zrkmodel {
namespace {

using ::testing::HasSubstr;

constexpr ZRKImportOptions kAsItStands{ZRKPolygons::Split, ZRKMeshFit::None, {}};

/// A box of quads from (1, 1, 1) to (2, 3, 5).
const char* const kQuads = "v 1 1 1\nv 2 1 1\nv 2 3 1\nv 1 3 1\nv 1 1 5\nv 2 1 5\nv 2 3 5\nv 1 3 5\n"
                           "f 4 3 2 1\nf 5 6 7 8\nf 1 2 6 5\nf 2 3 7 6\nf 3 4 8 7\nf 4 1 5 8\n";

class ImportedMesh : public zrktest::TemporaryFolder {
protected:
    MeshToImport read(const std::string& name, const ZRKImportOptions& options) const
    {
        return readMeshToImport(folder / name, options);
    }
    MeshToImport readText(const std::string& text, const ZRKImportOptions& options) const
    {
        put("mesh.obj", text);
        return read("mesh.obj", options);
    }
    static std::string warningsOf(const MeshToImport& mesh) { return messagesOf(mesh.warnings); }
    /// Low and high along an axis.
    static std::pair<double, double> extent(const MeshToImport& mesh, std::size_t axis)
    {
        double low = mesh.vertices.at(axis);
        double high = low;
        for (std::size_t i = axis; i < mesh.vertices.size(); i += 3) {
            low = std::min(low, mesh.vertices[i]);
            high = std::max(high, mesh.vertices[i]);
        }
        return {low, high};
    }
};

TEST_F(ImportedMesh, KeepsPolygonsWithAWarningOrSplitsThem)
{
    const MeshToImport kept = readText(kQuads, {});
    EXPECT_EQ(kept.triangleCount(), 8u) << "24 corners three at a time";
    EXPECT_EQ(std::vector(kept.indices.begin(), kept.indices.begin() + 6), (std::vector{3, 2, 1, 0, 4, 5}));
    EXPECT_THAT(warningsOf(kept), HasSubstr("mesh.obj, line 9: found 6 faces of four or more corners"));
    EXPECT_THAT(warningsOf(kept), HasSubstr("\"polygons\": \"split\""));

    const MeshToImport split = readText(kQuads, {ZRKPolygons::Split, ZRKMeshFit::Stretch, {}});
    EXPECT_EQ(split.triangleCount(), 12u);
    EXPECT_EQ(std::vector(split.indices.begin(), split.indices.begin() + 6), (std::vector{3, 2, 1, 3, 1, 0}));
    EXPECT_EQ(warningsOf(split), "");

    const std::string odd = "v 0 0 0\nv 1 0 0\nv 0 1 1\nf 1 2 3\nf 1 2\nf 1\nf 1 2 3 1 2\n";
    EXPECT_THAT(warningsOf(readText(odd, {})),
                HasSubstr("line 5: found 1 face of four or more corners and 2 faces of one or two corners"));
    EXPECT_EQ(warningsOf(readText("v 0 0 0\nv 1 0 0\nv 0 1 1\nf 1 2 3\n", {})), "");
}

TEST_F(ImportedMesh, MeetsTheBoxAsItIsAskedTo)
{
    using Extent = std::pair<double, double>;
    const MeshToImport stretched = readText(kQuads, {ZRKPolygons::Split, ZRKMeshFit::Stretch, {}});
    const MeshToImport uniform = readText(kQuads, {ZRKPolygons::Split, ZRKMeshFit::Uniform, {}});
    const MeshToImport plain = readText(kQuads, kAsItStands);
    // 1 x 2 x 4: the longest side takes the box, the others keep their shares and their middles are at 2.5.
    const Extent ofStretched[] = {{2.5, 5}, {5 / 3.0, 5}, {1, 5}};
    const Extent ofUniform[] = {{1.875, 3.125}, {1.25, 3.75}, {0, 5}};
    const Extent ofPlain[] = {{1, 2}, {1, 3}, {1, 5}};
    for (std::size_t axis = 0; axis < 3; ++axis) {
        EXPECT_DOUBLE_EQ(extent(stretched, axis).first, ofStretched[axis].first) << "the origin counts";
        EXPECT_DOUBLE_EQ(extent(stretched, axis).second, ofStretched[axis].second);
        EXPECT_EQ(extent(uniform, axis), ofUniform[axis]);
        EXPECT_EQ(extent(plain, axis), ofPlain[axis]);
    }
    // Kept polygons are fitted too.
    EXPECT_EQ(extent(readText(kQuads, {ZRKPolygons::Keep, ZRKMeshFit::None, {}}), 2), ofPlain[2]);
    // Without any extent there is nothing to scale by.
    const MeshToImport point = readText("v 7 7 7\nf 1 1 1\n", {ZRKPolygons::Split, ZRKMeshFit::Uniform, {}});
    EXPECT_EQ(point.vertices, (std::vector{2.5, 2.5, 2.5}));
}

TEST_F(ImportedMesh, TellsWhatCannotBeFitted)
{
    const std::string flat = "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n";
    EXPECT_THAT(warningsOf(readText(flat, {})), HasSubstr("a mesh without extent along z"));
    EXPECT_EQ(warningsOf(readText(flat, kAsItStands)), "");
    const std::string far = "v 0 0 0\nv 1e200 0 0\nv 0 1 1\nf 1 2 3\n";
    for (const ZRKMeshFit fit : {ZRKMeshFit::Uniform, ZRKMeshFit::None}) {
        const MeshToImport mesh = readText(far, {ZRKPolygons::Keep, fit, {}});
        ASSERT_TRUE(mesh.fault);
        EXPECT_THAT(mesh.fault->found, HasSubstr("beyond 1e100"));
        EXPECT_EQ(mesh.triangleCount(), 0u);
    }
}

TEST_F(ImportedMesh, IsOfAnyFormat)
{
    const std::filesystem::path seeds = zrktest::sourceFolder() / "fuzz/corpus";
    for (const char* seed :
         {"stl_reader/binary_named_solid.stl", "stl_reader/text.stl", "ply_reader/big_double.ply",
          "ply_reader/text.ply", "threemf_reader/components.3mf"}) {
        SCOPED_TRACE(seed);
        // Polygons of other formats than OBJ are split whatever the option says.
        const MeshToImport mesh =
            readMeshToImport(seeds / seed, {ZRKPolygons::Keep, ZRKMeshFit::None, "inch"});
        EXPECT_FALSE(mesh.fault);
        EXPECT_EQ(warningsOf(mesh), "");
        EXPECT_EQ(mesh.triangleCount(), 6u);
        EXPECT_EQ(mesh.vertices.size(), 15u);
        EXPECT_EQ(extent(mesh, 2), std::pair(0.0, 0.75));
    }
    EXPECT_THAT(warningsOf(readMeshToImport(seeds / "threemf_reader/stored.3mf", {{}, {}, "mm"})),
                HasSubstr("a mesh in inch, expected mm"));
    std::filesystem::copy_file(seeds / "ply_reader/text.ply", folder / "a.obj");
    const MeshToImport misnamed = read("a.obj", {});
    ASSERT_TRUE(misnamed.fault);
    EXPECT_THAT(misnamed.fault->found, HasSubstr("a PLY file by its content"));
    EXPECT_TRUE(read("none.stl", {}).fault);
    put("a.stl", "solid of nothing");
    EXPECT_TRUE(read("a.stl", {}).fault);
}

} // namespace
} // namespace zrkmodel
