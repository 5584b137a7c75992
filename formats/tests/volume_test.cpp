#include "formats/volume.h"

#include "formats/vdb.h"

#include "testing/temporary_folder.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <limits>
#include <regex>
#include <sstream>
#include <vector>

namespace zrk {
namespace {

using zrktest::TemporaryFolder;

using ::testing::HasSubstr;

// What a reader makes of a file.
struct Readback {
    int dims[3] = {};
    int components = 1;
    double origin[3] = {};
    double spacing[3] = {};
    std::string name;
    std::string bytes;
};

std::string match(const std::string& text, const std::string& pattern)
{
    std::smatch found;
    EXPECT_TRUE(std::regex_search(text, found, std::regex(pattern))) << pattern << " in\n" << text;
    return found.size() > 1 ? found[1].str() : "";
}

std::vector<double> numbers(std::string text)
{
    for (char& c : text) {
        c = std::strchr("(),", c) ? ' ' : c;
    }
    std::istringstream stream(text);
    return {std::istream_iterator<double>(stream), {}};
}

Readback readNpy(const std::string& file)
{
    EXPECT_EQ(file.substr(0, 8), std::string("\x93NUMPY\x01\x00", 8));
    const std::size_t size = static_cast<unsigned char>(file[8]) + 256u * static_cast<unsigned char>(file[9]);
    EXPECT_EQ((10 + size) % 64, 0u);
    const std::string head = file.substr(10, size);
    EXPECT_EQ(head.back(), '\n');
    EXPECT_THAT(head, HasSubstr("'descr': '<f8'"));
    EXPECT_THAT(head, HasSubstr("'fortran_order': False"));
    const std::vector<double> shape = numbers(match(head, "'shape': (\\([^)]*\\))"));
    Readback read;
    EXPECT_TRUE(shape.size() == 3 || shape.size() == 4);
    for (std::size_t i = 0; i < 3; ++i) {
        read.dims[2 - i] = static_cast<int>(shape.at(i));
    }
    read.components = shape.size() == 4 ? static_cast<int>(shape[3]) : 1;
    read.bytes = file.substr(10 + size);
    return read;
}

Readback readNrrd(const std::string& file)
{
    const std::size_t end = file.find("\n\n");
    const std::string head = file.substr(0, end + 1);
    EXPECT_EQ(head.substr(0, 9), "NRRD0005\n");
    for (const char* line :
         {"type: double\n", "endian: little\n", "encoding: raw\n", "space dimension: 3\n"}) {
        EXPECT_THAT(head, HasSubstr(line));
    }
    std::vector<double> sizes = numbers(match(head, "\nsizes: (.*)"));
    EXPECT_EQ(match(head, "\ndimension: (.*)"), std::to_string(sizes.size()));
    std::string directions = match(head, "\nspace directions: (.*)");
    Readback read;
    const std::string kinds = match(head, "\nkinds: (.*)");
    if (sizes.size() == 4) {
        read.components = static_cast<int>(sizes[0]);
        sizes.erase(sizes.begin());
        EXPECT_EQ(directions.substr(0, 5), "none ");
        directions.erase(0, 5);
        EXPECT_EQ(kinds,
                  std::string(read.components == 3 ? "vector" : "RGBA-color") + " domain domain domain");
    } else {
        EXPECT_EQ(kinds, "domain domain domain");
    }
    const std::vector<double> axes = numbers(directions);
    const std::vector<double> origin = numbers(match(head, "\nspace origin: (.*)"));
    EXPECT_EQ(axes.size(), 9u);
    for (std::size_t i = 0; i < 3; ++i) {
        read.dims[i] = static_cast<int>(sizes.at(i));
        read.origin[i] = origin.at(i);
        read.spacing[i] = axes.at(4 * i);
        for (std::size_t j = 0; j < 3; ++j) {
            EXPECT_TRUE(i == j || axes.at(3 * i + j) == 0);
        }
    }
    read.name = match(head, "\ncontent: (.*)");
    read.bytes = file.substr(end + 2);
    return read;
}

Readback readVti(const std::string& file)
{
    const std::size_t mark = file.find('_', file.find("<AppendedData encoding=\"raw\">"));
    const std::string head = file.substr(0, mark);
    EXPECT_THAT(
        head,
        HasSubstr("type=\"ImageData\" version=\"1.0\" byte_order=\"LittleEndian\" header_type=\"UInt64\""));
    EXPECT_THAT(head, HasSubstr("type=\"Float64\""));
    EXPECT_THAT(head, HasSubstr("format=\"appended\" offset=\"0\""));
    const std::string extent = match(head, "WholeExtent=\"([^\"]*)\"");
    EXPECT_EQ(match(head, "<Piece Extent=\"([^\"]*)\""), extent);
    const std::vector<double> range = numbers(extent);
    const std::vector<double> origin = numbers(match(head, "Origin=\"([^\"]*)\""));
    const std::vector<double> spacing = numbers(match(head, "Spacing=\"([^\"]*)\""));
    Readback read;
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(range.at(2 * i), 0);
        read.dims[i] = static_cast<int>(range.at(2 * i + 1)) + 1;
        read.origin[i] = origin.at(i);
        read.spacing[i] = spacing.at(i);
    }
    read.components = std::stoi(match(head, "NumberOfComponents=\"([^\"]*)\""));
    read.name = match(head, " Name=\"([^\"]*)\"");
    EXPECT_EQ(match(head, read.components == 3 ? "Vectors=\"([^\"]*)\"" : "Scalars=\"([^\"]*)\""), read.name);
    std::uint64_t size = 0;
    std::memcpy(&size, file.data() + mark + 1, sizeof size);
    read.bytes = file.substr(mark + 9, size);
    EXPECT_EQ(file.substr(mark + 9 + size), "\n  </AppendedData>\n</VTKFile>\n");
    return read;
}

struct Grid {
    Volume volume;
    std::vector<double> values;

    Grid(int nx, int ny, int nz, int components)
        : volume{{nx, ny, nz}, components, {-1, 0.1, 2}, {1, 1, 5}, "field", {}},
          values(static_cast<std::size_t>(nx * ny * nz * components))
    {
        for (std::size_t i = 0; i < values.size(); ++i) {
            values[i] = std::sqrt(static_cast<double>(i)) - 3;
        }
        values.front() = std::numeric_limits<double>::quiet_NaN();
        values.back() = -std::numeric_limits<double>::infinity();
        volume.values = values;
    }
};

class VolumeFile : public TemporaryFolder {};

struct Format {
    const char* file;
    Readback (*read)(const std::string&);
    bool hasPositions;
};
const Format kFormats[] = {{"v.npy", readNpy, false}, {"v.nrrd", readNrrd, true}, {"v.VTI", readVti, true}};

// Read by a parser of its own for each format: sizes, order of axes, positions and every bit.
TEST_F(VolumeFile, WritesWhatReadersExpect)
{
    struct Case {
        int nx, ny, nz, components;
        double spacing[3];
    };
    const Case cases[] = {
        {3, 4, 5, 1, {1, 0.9 / 3, 0.75}},
        {3, 4, 5, 3, {1, 0.9 / 3, 0.75}},
        {3, 4, 5, 4, {1, 0.9 / 3, 0.75}},
        {1, 4, 2, 1, {1, 0.9 / 3, 3}},
        {2, 1, 1, 3, {2, 1, 1}},
        {1, 1, 1, 1, {1, 1, 1}},
        {70, 71, 40, 1, {2.0 / 69, 0.9 / 70, 3.0 / 39}}, // more than one piece
    };
    for (const Format& format : kFormats) {
        for (const Case& c : cases) {
            SCOPED_TRACE(::testing::Message() << format.file << " " << c.nx << " " << c.ny << " " << c.nz
                                              << " x " << c.components);
            const Grid grid(c.nx, c.ny, c.nz, c.components);
            EXPECT_TRUE(writeVolume(path(format.file), grid.volume));
            const Readback read = format.read(content(format.file));
            EXPECT_THAT(read.dims, ::testing::ElementsAre(c.nx, c.ny, c.nz));
            EXPECT_EQ(read.components, c.components);
            ASSERT_EQ(read.bytes.size(), grid.values.size() * sizeof(double));
            EXPECT_EQ(std::memcmp(read.bytes.data(), grid.values.data(), read.bytes.size()), 0);
            if (format.hasPositions) {
                EXPECT_EQ(read.name, "field");
                EXPECT_THAT(read.origin, ::testing::ElementsAre(-1, 0.1, 2));
                EXPECT_THAT(read.spacing, ::testing::ElementsAreArray(c.spacing));
            }
        }
    }
}

// Readers refuse a spacing of 0.
TEST_F(VolumeFile, GivesAFlatBoxASpacing)
{
    Grid grid(2, 2, 2, 1);
    grid.volume.upper[1] = grid.volume.lower[1];
    for (const Format& format : kFormats) {
        EXPECT_TRUE(writeVolume(path(format.file), grid.volume));
        const Readback read = format.read(content(format.file));
        EXPECT_EQ(read.spacing[1], format.hasPositions ? 1 : 0) << format.file;
    }
}

TEST_F(VolumeFile, KeepsANameFromBreakingTheFile)
{
    Grid grid(2, 2, 2, 1);
    grid.volume.name = "a<b & \"c\"\nencoding: gzip";
    EXPECT_TRUE(writeVolume(path("v.nrrd"), grid.volume));
    EXPECT_EQ(readNrrd(content("v.nrrd")).name, "a<b & \"c\" encoding: gzip");
    EXPECT_TRUE(writeVolume(path("v.vti"), grid.volume));
    EXPECT_EQ(readVti(content("v.vti")).name, "a&lt;b &amp; &quot;c&quot; encoding: gzip");
    grid.volume.name = "";
    EXPECT_TRUE(writeVolume(path("v.vti"), grid.volume));
    EXPECT_EQ(readVti(content("v.vti")).name, "values");
}

TEST_F(VolumeFile, StopsWhenAskedAndKeepsTheOldFile)
{
    const Grid grid(70, 71, 40, 1);
    for (const Format& format : kFormats) {
        put(format.file, "old");
        std::vector<double> fractions;
        const auto recordUntil = [&fractions](double last) {
            return [&fractions, last](double fraction) {
                fractions.push_back(fraction);
                return fraction < last;
            };
        };
        for (const double last : {0.0, 0.5, 1.0}) {
            const Result<void> written = writeVolume(path(format.file), grid.volume, recordUntil(last));
            EXPECT_TRUE(!written && written.error().kind == FaultKind::Interrupted);
            EXPECT_EQ(content(format.file), "old");
        }
        fractions.clear();
        EXPECT_TRUE(writeVolume(path(format.file), grid.volume, recordUntil(2)));
        EXPECT_EQ(fractions.front(), 0);
        EXPECT_EQ(fractions.back(), 1);
        EXPECT_TRUE(std::is_sorted(fractions.begin(), fractions.end()));
    }
    EXPECT_EQ(entryCount(), 3);
}

/// The value of a binary16, by its definition.
double halfValue(unsigned bits)
{
    const double sign = bits & 0x8000 ? -1 : 1;
    const int exponent = static_cast<int>(bits >> 10 & 31);
    const double digits = bits & 1023;
    return exponent == 0 ? sign * std::ldexp(digits, -24) : sign * std::ldexp(1024 + digits, exponent - 25);
}

unsigned halfOf(double value)
{
    const std::vector<std::uint8_t> bytes = encoded(std::span(&value, 1), NumberType::Float16);
    return bytes.at(0) + 256u * bytes.at(1);
}

// All of them, the places half way between two, and what lies just beside these.
TEST(NumberTypes, HalvesAreTheNearest)
{
    for (unsigned bits = 0; bits < 0x7c00; ++bits) {
        for (const unsigned sign : {0u, 0x8000u}) {
            const double value = halfValue(bits | sign);
            ASSERT_EQ(halfOf(value), bits | sign) << value;
            const double next = bits < 0x7bff ? halfValue((bits + 1) | sign) : (sign ? -65536.0 : 65536.0);
            const double middle = (value + next) / 2;
            ASSERT_EQ(halfOf(middle), ((bits + 1) & ~1u) | sign) << middle;
            ASSERT_EQ(halfOf(std::nextafter(middle, value)), bits | sign) << middle;
            ASSERT_EQ(halfOf(std::nextafter(middle, next)), (bits + 1) | sign) << middle;
        }
    }
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    EXPECT_EQ(halfOf(kInfinity), 0x7c00u);
    EXPECT_EQ(halfOf(-1e300), 0xfc00u);
    EXPECT_EQ(halfOf(-5e-324), 0x8000u);
    EXPECT_EQ(halfOf(std::numeric_limits<double>::quiet_NaN()) & 0x7fffu, 0x7e00u);
}

TEST(NumberTypes, BytesCoverZeroToOne)
{
    const std::vector<double> values{
        0,   1,        0.5 / 255, 1.5 / 255,  std::nextafter(0.5 / 255, 1), -1, 7, 0.2,
        NAN, INFINITY, -INFINITY, 254.4 / 255};
    EXPECT_THAT(encoded(values, NumberType::UInt8),
                ::testing::ElementsAre(0, 255, 0, 2, 1, 0, 255, 51, 0, 255, 0, 254));
}

// The heads tell the type, and the values have its size.
TEST_F(VolumeFile, HasOtherTypesOfNumbers)
{
    struct Case {
        const char* file;
        NumberType type;
        const char* told; ///< none where it is refused
        std::size_t bytes;
    };
    const Case cases[] = {
        {"v.npy", NumberType::Float16, "'<f2'", 2},           {"v.npy", NumberType::UInt8, "'|u1'", 1},
        {"v.nrrd", NumberType::UInt8, "type: uint8\n", 1},    {"v.nrrd", NumberType::Float16, nullptr, 2},
        {"v.vti", NumberType::UInt8, "type=\"UInt8\"", 1},    {"v.vti", NumberType::Float16, nullptr, 2},
        {"v.vti", NumberType::Float32, "type=\"Float32\"", 4}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.file);
        Grid grid(3, 4, 5, 1);
        grid.volume.type = c.type;
        put(c.file, "old");
        const Result<void> written = writeVolume(path(c.file), grid.volume);
        EXPECT_EQ(written.has_value(), c.told != nullptr);
        const std::string file = content(c.file);
        if (!c.told) {
            EXPECT_EQ(file, "old");
            continue;
        }
        EXPECT_THAT(file, HasSubstr(c.told));
        const std::vector<std::uint8_t> bytes = encoded(grid.values, c.type);
        EXPECT_EQ(bytes.size(), grid.values.size() * c.bytes);
        EXPECT_THAT(file, HasSubstr(std::string(bytes.begin(), bytes.end())));
    }
}

// No disk has so much; nothing is left behind.
TEST_F(VolumeFile, IsRefusedBeforehandWhereTheDiskIsTooSmall)
{
    Grid grid(2, 2, 2, 1);
    for (std::int32_t& extent : grid.volume.dims) {
        extent = 1000000;
    }
    put("v.npy", "old");
    const auto writer = VolumeWriter::create(path("v.npy"), grid.volume);
    ASSERT_FALSE(writer);
    EXPECT_EQ(writer.error().kind, FaultKind::FailedWork);
    EXPECT_THAT(messageOf(writer.error()), HasSubstr("free on its disk"));
    EXPECT_EQ(content("v.npy"), "old");
    EXPECT_EQ(entryCount(), 1);
}

TEST_F(VolumeFile, ListsTheFormatsForAnyOtherName)
{
    const Grid grid(2, 2, 2, 1);
    struct Case {
        const char* name;
        const char* found;
    };
    const Case cases[] = {{"v.raw", "extension .raw"}, {"v", "no extension"}, {".npy", "no extension"}};
    for (const Case& c : cases) {
        const Result<void> written = writeVolume(path(c.name), grid.volume);
        ASSERT_FALSE(written) << c.name;
        EXPECT_EQ(written.error().kind, FaultKind::BadInput);
        EXPECT_EQ(written.error().place, path(c.name));
        EXPECT_THAT(messageOf(written.error()),
                    ::testing::AllOf(HasSubstr(c.found), HasSubstr(canWriteVdb() ? ".npy, .nrrd, .vti or .vdb"
                                                                                 : ".npy, .nrrd or .vti")));
    }
    EXPECT_EQ(entryCount(), 0);
}

} // namespace
} // namespace zrk
