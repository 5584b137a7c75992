#include "formats/volume_source.h"

#include "testing/temporary_folder.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

namespace zrk {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::HasSubstr;

class VolumeSourceFile : public zrktest::TemporaryFolder {};

bool haveSameBits(const std::vector<double>& a, const std::vector<double>& b)
{
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(double)) == 0;
}

/// All values of a source, read a few nodes at a time.
std::vector<double> valuesOf(const VolumeSource& source)
{
    constexpr std::size_t kNodes = 7;
    const Volume& v = source.volume;
    const auto components = static_cast<std::size_t>(v.components);
    std::vector<double> values(static_cast<std::size_t>(v.dims[0] * v.dims[1] * v.dims[2]) * components);
    for (std::size_t at = 0; at < values.size(); at += kNodes * components) {
        const auto piece = std::span(values).subspan(at, std::min(kNodes * components, values.size() - at));
        const auto read = source.read(piece);
        EXPECT_TRUE(read) << messageOf(read.error());
    }
    return values;
}

/// What a value is once it has been a number of a type.
double after(NumberType type, double value)
{
    switch (type) {
    case NumberType::Float32:
        return static_cast<double>(static_cast<float>(value));
    case NumberType::UInt8:
        return std::isnan(value) ? 0 : std::nearbyint(255 * std::clamp(value, 0.0, 1.0));
    default:
        return value; // those of the test have few digits
    }
}

// Every type, number of components and format: fails for axes or components that are exchanged, a head that
// is one byte too long, a spacing that drifts, and pieces that don't follow one another.
TEST_F(VolumeSourceFile, GivesBackWhatWasWritten)
{
    struct Case {
        const char* file;
        std::vector<NumberType> types;
        bool tellsPositions;
    };
    const Case cases[] = {
        {"v.npy", {NumberType::Float64, NumberType::Float32, NumberType::Float16, NumberType::UInt8}, false},
        {"v.nrrd", {NumberType::Float64, NumberType::Float32, NumberType::UInt8}, true},
        {"v.VTI", {NumberType::Float64, NumberType::Float32, NumberType::UInt8}, true},
#if ZRK_HAS_OPENVDB
        {"v.vdb", {NumberType::Float64, NumberType::Float32}, true},
#endif
    };
    const std::int32_t extents[][3] = {{3, 4, 5}, {1, 4, 2}, {17, 1, 9}, {1, 1, 1}, {64, 3, 2}};
    for (const Case& c : cases) {
        for (const NumberType type : c.types) {
            for (const int components : {1, 3, 4}) {
                for (const auto& dims : extents) {
                    SCOPED_TRACE(::testing::Message()
                                 << c.file << ", type " << static_cast<int>(type) << ", " << components
                                 << " components, " << dims[0] << " x " << dims[1] << " x " << dims[2]);
                    std::vector<double> values(
                        static_cast<std::size_t>(dims[0] * dims[1] * dims[2] * components));
                    for (std::size_t i = 0; i < values.size(); ++i) {
                        values[i] = static_cast<double>(i % 1021) / 1024 - 0.25;
                    }
                    values.back() = std::numeric_limits<double>::quiet_NaN();
                    const Volume written{{dims[0], dims[1], dims[2]},
                                         components,
                                         {-1, 0.1, 2},
                                         {1, 1, 5.3},
                                         "a <name> & more",
                                         values,
                                         false,
                                         type,
                                         "mm"};
                    ASSERT_TRUE(writeVolume(path(c.file), written));
                    const auto source = openVolume(path(c.file));
                    ASSERT_TRUE(source) << messageOf(source.error());
                    const Volume& read = source->volume;
                    EXPECT_THAT(read.dims, ElementsAreArray(dims));
                    EXPECT_EQ(read.components, components);
                    std::transform(values.begin(), values.end(), values.begin(),
                                   [&](double x) { return after(type, x); });
                    EXPECT_TRUE(haveSameBits(valuesOf(*source), values));
                    EXPECT_EQ(read.unit, c.tellsPositions ? "mm" : "");
                    EXPECT_EQ(read.name, c.tellsPositions ? "a <name> & more" : "");
                    for (int axis = 0; axis < 3; ++axis) {
                        EXPECT_EQ(read.lower[axis], c.tellsPositions ? written.lower[axis] : 0);
                        EXPECT_EQ(read.spacing(axis), c.tellsPositions ? written.spacing(axis) : 1) << axis;
                    }
                }
            }
        }
    }
}

Result<VolumeSource> opened(const std::string& bytes, VolumeFormat format)
{
    return openVolume({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()}, format, "bytes");
}

std::string npy(const std::string& members)
{
    return std::string("\x93NUMPY\x01\x00", 8) + static_cast<char>(members.size()) + '\0' + members;
}

std::string vti(const std::string& file, const std::string& image, const std::string& array)
{
    return "<?xml version=\"1.0\"?>\n<VTKFile type=\"ImageData\" byte_order=" + file +
           ">\n<ImageData WholeExtent=\"0 1 0 0 0 0\" " + image +
           "><Piece Extent=\"0 1 0 0 0 0\"><CellData><DataArray type=\"Int8\"/></CellData><PointData>" +
           array + "</PointData></Piece></ImageData><AppendedData encoding=\"raw\">\n  _";
}

// What other programs write.
TEST(VolumeSources, ReadOtherBytesAndHeads)
{
    struct Case {
        const char* name;
        VolumeFormat format;
        std::string bytes;
        std::vector<double> values, lower, spacing;
    };
    using namespace std::string_literals;
    const std::string nrrd =
        "NRRD0004\r\n# a comment\r\ntype: unsigned short\r\ndimension: 3\r\nsizes: 2 1 1\r\n";
    const Case cases[] = {
        {"the other byte order",
         VolumeFormat::Npy,
         npy("{'descr': '>f4', 'fortran_order': False, 'shape': (1, 1, 2), }") + "\x3f\x80\0\0\xc0\0\0\0"s,
         {1, -2},
         {0, 0, 0},
         {1, 1, 1}},
        {"Fortran order",
         VolumeFormat::Npy,
         npy("{'descr': '|u1', 'fortran_order': True, 'shape': (2, 1, 2), }") + "\x01\x02\x03\x04",
         {1, 3, 2, 4},
         {0, 0, 0},
         {1, 1, 1}},
        {"halves: the least, the greatest, infinite",
         VolumeFormat::Npy,
         npy("{'descr': '<f2', 'fortran_order': False, 'shape': (1, 1, 3), }") + "\x01\0\xff\x7b\0\xfc"s,
         {std::ldexp(1, -24), 65504, -HUGE_VAL},
         {0, 0, 0},
         {1, 1, 1}},
        {"spacings and a big end first",
         VolumeFormat::Nrrd,
         nrrd + "spacings: 0.5 2 3\r\nendian: big\r\nencoding: raw\r\n\r\n" + "\x01\x02\xff\xfe",
         {258, 65534},
         {0, 0, 0},
         {0.5, 2, 3}},
        {"no positions, a key with a value",
         VolumeFormat::Nrrd,
         nrrd + "endian: little\r\nencoding: raw\r\nkey:=value\r\n\r\n" + "\x01\0\0\x01"s,
         {1, 256},
         {0, 0, 0},
         {1, 1, 1}},
        {"blanks in vectors",
         VolumeFormat::Nrrd,
         nrrd +
             "space directions: (2, 0, 0) ( 0,3,0) (0,0,4)\nspace origin: (5, 6, 7)\nendian: "
             "little\nencoding: raw\n\n" +
             "\x01\0\0\x01"s,
         {1, 256},
         {5, 6, 7},
         {2, 3, 4}},
        {"a short length before the values, behind others",
         VolumeFormat::Vti,
         vti("\"BigEndian\"", "Origin=\"1 2 3\" Spacing=\"2 1 1\"",
             "<DataArray type=\"Float32\" format=\"appended\" offset=\"3\"/>") +
             "...\0\0\0\x08\x3f\x80\0\0\xc0\0\0\0"s,
         {1, -2},
         {1, 2, 3},
         {2, 1, 1}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const auto source = opened(c.bytes, c.format);
        ASSERT_TRUE(source) << messageOf(source.error());
        EXPECT_EQ(valuesOf(*source), c.values);
        EXPECT_THAT(source->volume.lower, ElementsAreArray(c.lower));
        for (int axis = 0; axis < 3; ++axis) {
            const bool hasOne = source->volume.dims[axis] == 1;
            EXPECT_EQ(source->volume.spacing(axis), hasOne ? 1 : c.spacing[static_cast<std::size_t>(axis)])
                << axis;
        }
        const auto shorter = opened(c.bytes.substr(0, c.bytes.size() - 1), c.format);
        ASSERT_FALSE(shorter);
        EXPECT_THAT(messageOf(shorter.error()), HasSubstr("bytes of values"));
    }
}

TEST(VolumeSources, RefuseWhatTheyCantReadAndSayWhy)
{
    struct Case {
        VolumeFormat format;
        std::string bytes;
        const char* finding;
    };
    const std::string nrrd = "NRRD0004\ntype: float\ndimension: 3\n";
    const std::string raw = "endian: little\nencoding: raw\n\n0123456789";
    const std::string array = "<DataArray type=\"Float32\" format=\"appended\"/>";
    const Case cases[] = {
        {VolumeFormat::Npy, "", "something else"},
        {VolumeFormat::Npy, npy("{'descr': '<i8', 'fortran_order': False, 'shape': (1, 1, 1), }"),
         "values of the type \"<i8\""},
        {VolumeFormat::Npy, npy("{'descr': '<f8', 'fortran_order': False, 'shape': (1, 1), }"),
         "2 dimensions"},
        {VolumeFormat::Npy, npy("{'descr': '<f8', 'fortran_order': False, 'shape': (1, 1, 1, 2), }"),
         "2 components"},
        {VolumeFormat::Npy, npy("{'descr': '<f8', 'fortran_order': False, 'shape': (1, 0, 1), }"),
         "extent of 0"},
        {VolumeFormat::Npy,
         npy("{'descr': '<f8', 'fortran_order': False, 'shape': (2147483647, 2147483647, 2147483647, 4), }"),
         "0 bytes of values"},
        {VolumeFormat::Nrrd, "NRRD0004\ntype: float", "no empty line"},
        {VolumeFormat::Nrrd, "NRRD\n\n", "something else"},
        {VolumeFormat::Nrrd, nrrd + "sizes: 1 1 1\nendian: little\nencoding: gzip\n\n", "encoding \"gzip\""},
        {VolumeFormat::Nrrd, nrrd + "sizes: 1 1 1\nencoding: raw\n\n", "endian \"\""},
        {VolumeFormat::Nrrd, nrrd + "sizes: 1 1 1\ndata file: other.raw\n" + raw, "the field \"data file\""},
        {VolumeFormat::Nrrd, nrrd + "sizes: 1 -1 1\n" + raw, "extent of 0"},
        {VolumeFormat::Nrrd, nrrd + "sizes: 1 1 1\nspace directions: (1,0,0) (0,1,0) (0.1,0,1)\n" + raw,
         "the directions"},
        {VolumeFormat::Nrrd, nrrd + "sizes: 1 1 1\nspace directions: (1,0,0) (0,1,0) (0,0,-1)\n" + raw,
         "a spacing of -1"},
        {VolumeFormat::Nrrd, "NRRD0004\ntype: block\nencoding: raw\n\n", "values of the type \"block\""},
        {VolumeFormat::Vti, "<VTKFile/>", "no <AppendedData>"},
        {VolumeFormat::Vti, vti("\"LittleEndian\" compressor=\"vtkZLibDataCompressor\"", "", array),
         "VTKFile.compressor"},
        {VolumeFormat::Vti, vti("\"LittleEndian\"", "Direction=\"0 1 0 1 0 0 0 0 1\"", array),
         "axes that are turned"},
        {VolumeFormat::Vti, vti("\"LittleEndian\"", "Spacing=\"1 nan 1\"", array), "ImageData.Spacing"},
        {VolumeFormat::Vti, vti("\"LittleEndian\"", "", "<DataArray type=\"Float32\" format=\"ascii\"/>"),
         "DataArray.format"},
        {VolumeFormat::Vti, vti("\"LittleEndian\"", "", "<DataArray type=\"Int64\" format=\"appended\"/>"),
         "DataArray.type"},
        {VolumeFormat::Vti,
         vti("\"LittleEndian\"", "", "<DataArray type=\"Float32\" format=\"appended\" offset=\"1e30\"/>"),
         "0 bytes of values"},
        {VolumeFormat::Vti, vti("\"LittleEndian\"", "", array) + "....1234567",
         "7 bytes of values, expected 8"},
        {VolumeFormat::Vti, vti("\"LittleEndian\" <", "", array), "found"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.finding);
        const auto source = opened(c.bytes, c.format);
        ASSERT_FALSE(source);
        EXPECT_EQ(source.error().kind, FaultKind::BadInput);
        EXPECT_THAT(messageOf(source.error()), HasSubstr(c.finding));
    }
}

TEST_F(VolumeSourceFile, TellsOfFilesThatAreNoVolumes)
{
    put("cut.vdb", std::string(" BDV\0\0\0\0", 8));
    put("other.vdb", std::string(1000, 'x'));
    for (const char* file : {
             "missing.nrrd", "volume.bmp",
#if ZRK_HAS_OPENVDB
                 "cut.vdb", "other.vdb"
#endif
         }) {
        const auto source = openVolume(path(file));
        ASSERT_FALSE(source) << file;
        EXPECT_EQ(source.error().kind, FaultKind::BadInput) << file;
    }
#if ZRK_HAS_OPENVDB
    const std::vector<double> values(1000, 0.5);
    ASSERT_TRUE(writeVolume(path("part.vdb"), {{10, 10, 10}, 1, {0, 0, 0}, {1, 1, 1}, "part", values}));
    const std::string whole = content("part.vdb");
    for (std::size_t size = 1; size < whole.size(); size += whole.size() / 20) {
        put("part.vdb", whole.substr(0, size));
        const auto source = openVolume(path("part.vdb"));
        ASSERT_FALSE(source) << size;
        EXPECT_EQ(source.error().kind, FaultKind::BadInput) << messageOf(source.error());
    }
#endif
}

} // namespace
} // namespace zrk
