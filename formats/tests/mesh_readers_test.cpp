#include "formats/obj_mesh.h"
#include "formats/ply.h"
#include "formats/stl.h"

#include "testing/fuzz_seed.h"
#include "testing/temporary_folder.h"

#include <gmock/gmock.h>

#include <cstring>
#include <set>

namespace zrk {
namespace {

using ::testing::HasSubstr;
using zrktest::Bytes;
using zrktest::TemporaryFolder;

using Corner = std::array<double, 3>;
using Triangle = std::array<Corner, 3>;

Bytes bytesOf(const std::string& text) { return {text.begin(), text.end()}; }

/// The triangles with their coordinates, whatever the vertices' order.
std::multiset<Triangle> trianglesOf(const SurfaceMesh& mesh)
{
    std::multiset<Triangle> all;
    for (const auto& t : mesh.triangles) {
        Triangle corners;
        for (std::size_t i = 0; i < 3; ++i) {
            const auto& p = mesh.vertices.at(t[i]);
            corners[i] = {p[0], p[1], p[2]};
        }
        all.insert(corners);
    }
    return all;
}

/// The mesh of tools/make-fuzz-seeds: a square below, its corners from (0, 0, 0) on, and a tip.
std::multiset<Triangle> pyramid()
{
    const Corner a{0, 0, 0}, b{1, 0, 0}, c{1, 1, 0}, d{0, 1, 0}, tip{0.5, 0.5, 0.75};
    return {{d, c, b}, {d, b, a}, {a, b, tip}, {b, c, tip}, {c, d, tip}, {d, a, tip}};
}

TEST(MeshReaders, ReadEveryForm)
{
    const auto expectPyramid = [](const std::string& name, const Result<SurfaceMesh>& mesh) {
        SCOPED_TRACE(name);
        ASSERT_TRUE(mesh) << messageOf(mesh.error());
        EXPECT_EQ(mesh->vertices.size(), 5u);
        EXPECT_EQ(trianglesOf(*mesh), pyramid());
    };
    for (const char* name : {"binary", "binary_named_solid", "text", "text_upper_case"}) {
        expectPyramid(name, readStl(zrktest::fuzzSeed("stl_reader/" + std::string(name) + ".stl"), "bytes"));
    }
    for (const char* name : {"text", "little", "little_double", "big", "big_double"}) {
        expectPyramid(name, readPly(zrktest::fuzzSeed("ply_reader/" + std::string(name) + ".ply"), "bytes"));
    }
}

TEST(StlReader, TakesZerosOfBothSignsForOneCoordinate)
{
    const auto mesh =
        readStl(bytesOf("solid\nfacet\nouter\nvertex 0 0 0\nvertex 1 0 0\nvertex 0 1 0\nendloop\n"
                        "endfacet\nfacet\nvertex -0 0 -0.0\nvertex 0 1 0\nvertex 0 0 1\nendfacet\n"
                        "endsolid\nsolid two\nendsolid two\n\n"),
                "bytes");
    ASSERT_TRUE(mesh) << messageOf(mesh.error());
    EXPECT_EQ(mesh->vertices.size(), 4u);
    EXPECT_EQ(mesh->triangles.size(), 2u);
}

TEST(StlReader, RefusesWhatItCannotRead)
{
    zrktest::expectBeginningsRefused(zrktest::fuzzSeed("stl_reader/binary.stl"), 0,
                                     [](const Bytes& bytes) { return readStl(bytes, "bytes"); });
    // The text may lack its last line feed and the name behind "endsolid".
    zrktest::expectBeginningsRefused(zrktest::fuzzSeed("stl_reader/text.stl"), 9,
                                     [](const Bytes& bytes) { return readStl(bytes, "bytes"); });
    Bytes notFinite = zrktest::fuzzSeed("stl_reader/binary.stl");
    const float infinity = std::numeric_limits<float>::infinity();
    std::memcpy(notFinite.data() + 84 + 50 + 12, &infinity, sizeof infinity);
    const struct {
        Bytes bytes;
        const char* part;
    } cases[] = {
        {notFinite, "triangle 1"},
        {zrktest::fuzzSeed("stl_reader/too_many.stl"), "84 bytes, while its 4294967295 triangles take"},
        {bytesOf("solid\nvertex 0 0\n"), "line 2: found \"vertex 0 0\""},
        {bytesOf("solid\nvertex 0 0 nan\n"), "line 2"},
        {bytesOf("solid\nvertex 0 0 1e999\n"), "line 2"},
        {bytesOf("solid\nvertex 0 0 1 2\n"), "line 2"},
        {bytesOf("solid\nvertex 0 0 1\nvertex 0 0 1\nvertex 0 0 1\nvertex 0 0 1\n"),
         "line 5: found a fourth"},
        {bytesOf("solid\nvertex 0 0 1\nendfacet\n"), "line 3: found a facet of 1"},
        {bytesOf("solid\nvertices 0 0 1\n"), "line 2: found \"vertices"},
        {bytesOf("solid\nendsolid\nfacet\n"), "before \"endsolid\""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.part);
        const auto mesh = readStl(c.bytes, "bytes");
        ASSERT_FALSE(mesh);
        EXPECT_EQ(mesh.error().kind, FaultKind::BadInput);
        EXPECT_THAT(messageOf(mesh.error()), HasSubstr(c.part));
    }
}

TEST(PlyReader, RefusesWhatItCannotRead)
{
    for (const char* name : {"little", "big_double"}) {
        zrktest::expectBeginningsRefused(zrktest::fuzzSeed("ply_reader/" + std::string(name) + ".ply"), 0,
                                         [](const Bytes& bytes) { return readPly(bytes, "bytes"); });
    }
    const std::string vertices = "property float x\nproperty float y\nproperty float z\n";
    const std::string head = "ply\nformat ascii 1.0\n";
    const std::string three = head + "element vertex 3\n" + vertices + "element face 1\n";
    const std::string faces =
        three + "property list uchar int vertex_index\nend_header\n0 0 0\n1 0 0\n0 1 0\n";
    const struct {
        std::string text;
        const char* part;
    } cases[] = {
        {"plyx\n", "found something else"},
        {"ply\nformat ascii 2.0\nend_header\n", "\"format ascii 2.0\""},
        {head + "element vertex -1\nend_header\n", "\"element vertex -1\""},
        {head + "property float x\nend_header\n", "\"property float x\""},
        {head + "element vertex 1\nproperty long x\nend_header\n", "\"property long x\""},
        {head + "element vertex 1\nproperty list float\nend_header\n", "\"property list float\""},
        {head + "element vertex 99\n" + vertices + "end_header\n0 0 0\n", "99 times \"vertex\""},
        {head + "element vertex 1\nproperty float x\nproperty float z\nend_header\n0 0\n", "without y"},
        {head + "element vertex 1\n" + vertices + "end_header\n0 inf 0\n", "\"vertex\" 0 that can't be read"},
        {three + "property int vertex_index\nend_header\n0 0 0\n1 0 0\n0 1 0\n3\n", "without a list"},
        {faces + "3 0 1 3\n", "the vertex 3"},
        {faces + "3 0 1 -1\n", "the vertex -1"},
        {faces + "3 0 1 0.5\n", "\"face\" 0"},
        {faces + "-1 0 1\n", "\"face\" 0"},
        {faces + "1e9 0 1\n", "\"face\" 0"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.part);
        const auto mesh = readPly(bytesOf(c.text), "bytes");
        ASSERT_FALSE(mesh);
        EXPECT_EQ(mesh.error().kind, FaultKind::BadInput);
        EXPECT_THAT(messageOf(mesh.error()), HasSubstr(c.part));
    }
    EXPECT_TRUE(readPly(bytesOf(faces + "3 0 1 2\n"), "bytes"));
    // Things without properties take no bytes and no time.
    EXPECT_TRUE(readPly(bytesOf(head + "element nothing 18446744073709551615\nend_header\n"), "bytes"));
}

using ObjMeshReader = TemporaryFolder;

TEST_F(ObjMeshReader, SplitsFacesAndCountsBack)
{
    put("a.obj", "# quads\nmtllib a.mtl\nv 0 0 0 1 0.5 0.5\nv 1 0 0\nv 1 1 0\nv 0 1 0\nvn 0 0 1\n"
                 "f 4/1/1 3//1 2/1 1\r\nv 0.5 0.5 0.75\nf 1 2 -1\nf 2 3 -1\nf 3 4 -1\nf -2/7 1 -1\nl 1 2\n");
    const auto mesh = readObjMesh(path("a.obj"));
    ASSERT_TRUE(mesh) << messageOf(mesh.error());
    EXPECT_EQ(trianglesOf(*mesh), pyramid());
}

TEST_F(ObjMeshReader, RefusesWhatItCannotRead)
{
    const std::string three = "v 0 0 0\nv 1 0 0\nv 0 1 0\n";
    const std::pair<std::string, const char*> cases[] = {
        {"v 0 0\n", "line 1: found \"v 0 0\""},
        {"v 0 0 nan\n", "line 1"},
        {three + "f 1 2 x\n", "line 4: found \"f 1 2 x\""},
        {three + "f 1 2 4\n", "the vertex 3, counted from 0"},
        {three + "f 1 2 0\n", "the vertex -1"},
        {three + "f 1 2 -4\n", "the vertex -1"},
        {three + "f 1 2 99999999999999999999\n", "line 4"},
    };
    for (const auto& [text, part] : cases) {
        SCOPED_TRACE(part);
        put("a.obj", text);
        const auto mesh = readObjMesh(path("a.obj"));
        ASSERT_FALSE(mesh);
        EXPECT_THAT(messageOf(mesh.error()), HasSubstr(part));
    }
    EXPECT_FALSE(readObjMesh(path("none.obj")));
    EXPECT_FALSE(readObjMesh(folder));
}

} // namespace
} // namespace zrk
