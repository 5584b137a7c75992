#include "formats/obj_mesh.h"
#include "formats/part.h"
#include "formats/ply.h"
#include "formats/stl.h"
#include "formats/threemf.h"
#include "formats/zip_writer.h"

#include "testing/fuzz_seed.h"
#include "testing/temporary_folder.h"

#include <gmock/gmock.h>

#include <algorithm>
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
    const auto expectPyramid = [](const std::string& name, const Result<FileMesh>& mesh) {
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
    for (const char* name : {"deflated", "stored", "long", "prefixed", "components", "mirrored"}) {
        const auto mesh =
            readThreeMf(zrktest::fuzzSeed("threemf_reader/" + std::string(name) + ".3mf"), "bytes");
        expectPyramid(name, mesh);
        EXPECT_EQ(mesh->unit, LengthUnit::Inch);
        EXPECT_TRUE(mesh->warnings.empty());
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
    put("marked.obj", "\xEF\xBB\xBFv 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n");
    EXPECT_EQ(readObjMesh(path("marked.obj"))->vertices.size(), 3u);
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

Bytes packageOf(const std::string& model, const char* name = "a.model")
{
    Bytes bytes;
    ZipWriter zip([&bytes](const void* data, std::size_t size) {
        const auto* begin = static_cast<const std::uint8_t*>(data);
        bytes.insert(bytes.end(), begin, begin + size);
        return true;
    });
    const auto write = [&zip](const char* file, const std::string& text) {
        zip.begin(file);
        zip.write(text.data(), text.size());
    };
    write("_rels/.rels",
          "<Relationships><Relationship Target='/a.model' Id='r' "
          "Type='http://schemas.microsoft.com/3dmanufacturing/2013/01/3dmodel'/></Relationships>");
    write(name, model);
    zip.finish();
    return bytes;
}

const std::string kModelHead = "<model xmlns='http://schemas.microsoft.com/3dmanufacturing/core/2015/02' ";
const std::string kVertices = "<vertices><vertex x='0' y='0' z='0'/><vertex x='1' y='0' z='0'/>"
                              "<vertex x='0' y='1e0' z='0'/></vertices>";

/// A model of one triangle, with parts of its text replaced.
std::string modelWith(const std::string& part, const std::string& by)
{
    std::string text = kModelHead + "unit='millimeter'><resources><object id='1'><mesh>" + kVertices +
                       "<triangles><triangle v1='0' v2='1' v3='2'/></triangles></mesh></object></resources>"
                       "<build><item objectid='1'/></build></model>";
    const std::size_t at = text.find(part);
    EXPECT_NE(at, std::string::npos) << part;
    return text.replace(at, part.size(), by);
}

TEST(ThreeMfReader, RefusesWhatItCannotRead)
{
    const auto read = [](const Bytes& bytes) { return readThreeMf(bytes, "bytes"); };
    for (const char* name : {"deflated", "stored"}) {
        SCOPED_TRACE(name);
        const Bytes whole = zrktest::fuzzSeed("threemf_reader/" + std::string(name) + ".3mf");
        const std::string comment = "PK\5\6 is no end of it";
        zrktest::expectBeginningsRefused(whole, name == std::string("stored") ? comment.size() : 0, read);
    }
    const auto seed = [](const char* name) {
        return zrktest::fuzzSeed("threemf_reader/" + std::string(name) + ".3mf");
    };
    const auto with = [](const char* part, const char* by) { return packageOf(modelWith(part, by)); };
    std::string nested;
    for (int i = 0; i < 65; ++i) {
        nested += "<a>";
    }
    Bytes flipped = seed("stored");
    flipped[flipped.size() / 2] ^= 1;
    Bytes encrypted = with("1e0", "1");
    const std::string entry = "PK\1\2";
    *(std::find_end(encrypted.begin(), encrypted.end(), entry.begin(), entry.end()) + 8) |= 1;
    const struct {
        const char* name;
        Bytes bytes;
        const char* part;
    } cases[] = {
        {"no archive", bytesOf("PK\3\4 and no more of it than this"), "no ZIP directory"},
        {"a bit of a file", flipped, "another checksum"},
        {"a password", encrypted, "which is encrypted"},
        {"more than the packed bytes", seed("bomb"), "at most 8589934592, and at most 256 times"},
        {"2^40 pyramids", seed("towers"), "objects, counted through components"},
        {"a circle", seed("circle"), "lead in a circle"},
        {"another namespace", with("core/2015/02", "core/1999"), "no element \"model\""},
        {"a required extension", with("unit=", "xmlns:b='urn:beams' requiredextensions='b' unit="),
         "the required extension \"urn:beams\""},
        {"an unknown prefix", with("unit=", "requiredextensions='x' unit="), "the required extension \"x\""},
        {"an unknown unit", with("millimeter", "furlong"), "\"furlong\""},
        {"no coordinate", with("x='1' ", ""), "\"vertex\" without \"x\""},
        {"no number", with("x='1' ", "x='one' "), "\"x\": \"one\""},
        {"infinity", with("x='1' ", "x='1e999' "), "a finite number"},
        {"NaN", with("x='1' ", "x='nan' "), "a finite number"},
        {"a corner beyond", with("v3='2'", "v3='3'"), "the vertex 3"},
        {"a negative corner", with("v3='2'", "v3='-1'"), "a whole number"},
        {"a corner beyond 32 bit", with("v3='2'", "v3='4294967296'"), "a whole number"},
        {"an item of nothing", with("objectid='1'", "objectid='2'"), "the object 2, which isn't there"},
        {"a short transform", with("objectid='1'", "objectid='1' transform='1 0 0'"),
         "twelve finite numbers"},
        {"a transform beyond all numbers",
         with("objectid='1'", "objectid='1' transform='1e308 0 0 0 1e308 0 0 0 1e308 1.7e308 0 0'"),
         "beyond all"},
        {"an object twice", with("<build>", "<object id='1'/><build>"), "the object 1 a second time"},
        {"another part that is missing",
         with("objectid='1'", "objectid='1' p:path='/b.model' "
                              "xmlns:p='http://schemas.microsoft.com/3dmanufacturing/production/2015/06'"),
         "no \"b.model\" in the archive"},
        {"a document type", packageOf("<!DOCTYPE a [<!ENTITY b 'c'>]>"), "a document type"},
        {"an entity", with("unit='millimeter'", "unit='&b;'"), "an entity that isn't known"},
        {"tags that cross", with("</mesh></object>", "</object></mesh>"), "where \"mesh\" is open"},
        {"an end that is missing", with("</model>", ""), "an end before that of \"model\""},
        {"elements in each other", packageOf(nested), "more than 64 elements"},
        {"a long name", packageOf("<" + std::string(1000, 'a') + "/>"), "a name of more than 256 bytes"},
        {"a long value", packageOf("<a b='" + std::string(100000, 'c') + "'/>"), "an attribute of more than"},
        {"UTF-16", packageOf(std::string("\xff\xfe<\0a\0", 6)), "UTF-8"},
        {"an empty model", packageOf(""), "no element \"model\""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const auto mesh = read(c.bytes);
        ASSERT_FALSE(mesh);
        EXPECT_EQ(mesh.error().kind, FaultKind::BadInput) << messageOf(mesh.error());
        EXPECT_THAT(messageOf(mesh.error()), HasSubstr(c.part));
    }
}

TEST(ThreeMfReader, FindsFilesByNamesInAnyCase)
{
    const auto mesh = readThreeMf(packageOf(modelWith("1e0", "1"), "A.Model"), "bytes");
    ASSERT_TRUE(mesh) << messageOf(mesh.error());
    EXPECT_EQ(mesh->triangles.size(), 1u);
}

TEST(ThreeMfReader, WarnsOfWhatItLeavesOut)
{
    const auto mesh = readThreeMf(packageOf(modelWith("id='1'", "id='1' type='support'")), "bytes");
    ASSERT_TRUE(mesh) << messageOf(mesh.error());
    EXPECT_TRUE(mesh->triangles.empty());
    ASSERT_EQ(mesh->warnings.size(), 1u);
    EXPECT_THAT(messageOf(mesh->warnings[0]), HasSubstr("1 objects that are supports"));
    const auto empty = readThreeMf(packageOf(modelWith("<item objectid='1'/>", "")), "bytes");
    ASSERT_TRUE(empty);
    EXPECT_TRUE(empty->triangles.empty());
    EXPECT_EQ(unitFault(*empty, "a.3mf", "mm"), std::nullopt);
    EXPECT_EQ(unitFault(*empty, "a.3mf", ""), std::nullopt);
    EXPECT_THAT(messageOf(*unitFault(*empty, "a.3mf", "inch")),
                HasSubstr("a.3mf: found a mesh in mm, expected inch"));
}

using MeshFiles = TemporaryFolder;

TEST_F(MeshFiles, AreRecognisedByTheirContent)
{
    const auto seed = [](const char* name) {
        const Bytes bytes = zrktest::fuzzSeed(name);
        return std::string(bytes.begin(), bytes.end());
    };
    const std::string contents[] = {"# a comment\n\nv 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nv 0.5 0.5 0.75\n"
                                    "f 4 3 2 1\nf 1 2 5\nf 2 3 5\nf 3 4 5\nf 4 1 5\n",
                                    seed("stl_reader/binary_named_solid.stl"),
                                    seed("stl_reader/text_upper_case.stl"), seed("ply_reader/big.ply"),
                                    seed("threemf_reader/deflated.3mf")};
    const char* const rightNames[] = {"a.OBJ", "a.stl", "a.stl", "a.ply", "a.3mf"};
    for (std::size_t i = 0; i < std::size(contents); ++i) {
        SCOPED_TRACE(i);
        for (const char* name : {"a.OBJ", "a.stl", "a.ply", "a.3mf", "a.mesh", "a"}) {
            SCOPED_TRACE(name);
            put(name, contents[i]);
            const auto mesh = readMesh(path(name));
            const bool isRight = name == std::string(rightNames[i]) || std::string(name).size() < 2 ||
                                 std::string(name) == "a.mesh";
            ASSERT_EQ(mesh.has_value(), isRight);
            if (isRight) {
                EXPECT_EQ(mesh->triangles.size(), 6u);
            } else {
                EXPECT_THAT(messageOf(mesh.error()), HasSubstr("by its content, expected a"));
                EXPECT_THAT(messageOf(mesh.error()), HasSubstr("as its name says"));
            }
        }
    }
    // What shows no format has that of its name, and the message of its reader.
    put("a.stl", "");
    EXPECT_THAT(messageOf(readMesh(path("a.stl")).error()), HasSubstr("0 bytes, expected a whole STL file"));
    put("a.mesh", "what is this");
    EXPECT_THAT(messageOf(readMesh(path("a.mesh")).error()), HasSubstr(".3mf, .stl, .ply or .obj"));
    EXPECT_THAT(messageOf(readMesh(path("none.3mf")).error()), HasSubstr("no file"));
}

TEST_F(MeshFiles, WarnOfFacesThatCannotBeSplitWell)
{
    put("a.obj", "v 0 0 0\nv 2 2 0\nv 2 0 0\nv 0 2 0\nf 1 2 3 4\nf 1 3 2 4\nf 1 2\nf 3\n");
    const auto mesh = readMesh(path("a.obj"));
    ASSERT_TRUE(mesh);
    EXPECT_EQ(mesh->triangles.size(), 4u);
    ASSERT_EQ(mesh->warnings.size(), 2u);
    EXPECT_THAT(messageOf(mesh->warnings[0]), HasSubstr("2 faces of one or two corners"));
    EXPECT_THAT(messageOf(mesh->warnings[1]), HasSubstr("1 of 2 faces of four or more corners"));
}

} // namespace
} // namespace zrk
