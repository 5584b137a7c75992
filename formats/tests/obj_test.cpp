#include "formats/obj.h"

#include "formats/limits.h"
#include "testing/literal_obj_reader.h"
#include "testing/temporary_folder.h"

#include <gmock/gmock.h>

#include <cmath>
#include <cstring>
#include <iostream>
#include <random>
#include <sstream>

namespace zrk {
namespace {

using zrktest::TemporaryFolder;

using ::testing::ElementsAre;
using ::testing::HasSubstr;

/// Gathers what is printed on the standard output while it lives.
class PrintedText {
public:
    PrintedText() : _former(std::cout.rdbuf(_text.rdbuf())) {}
    ~PrintedText() { std::cout.rdbuf(_former); }
    std::string text() const { return _text.str(); }

private:
    std::ostringstream _text;
    std::streambuf* _former;
};

class ObjReader : public zrktest::TemporaryFolder {
protected:
    WavefrontObj read(const std::string& text)
    {
        put("mesh.obj", text);
        const PrintedText printed;
        WavefrontObj obj = readWavefrontObj(folder / "mesh.obj");
        complaint = printed.text();
        return obj;
    }
    std::string complaint;
};

bool sameBits(const std::vector<double>& a, const std::vector<double>& b)
{
    return a.size() == b.size() &&
           (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof a[0]) == 0);
}

TEST_F(ObjReader, TakesPositionsAndFacesAlone)
{
    struct Case {
        const char* name;
        const char* text;
        std::vector<double> vertices;
        std::vector<int> indices;
        const char* offendingLine = nullptr;
    };
    const Case cases[] = {
        {"empty", "", {}, {}},
        {"comments", "# one\n\n   \n#two\n", {}, {}},
        {"all forms of corners",
         "f 1 2 3\nf 1/4 2/5 3/6\nf 1//7 2//8 3//9\nf 1/2/3/4/5/6/7/8 2/ 3/x",
         {},
         {0, 1, 2, 0, 1, 2, 0, 1, 2, 0, 1, 2}},
        {"faces aren't split, indices aren't resolved",
         "f 1 2 3 4\nf -1 +5 0\nf",
         {},
         {0, 1, 2, 3, -2, 4, -1}},
        {"corners that aren't numbers",
         "f /2 a 99999999999 -99999999999 2.9 0x3",
         {},
         {-1, -1, 2147483646, -2147483647 - 1, 1, -1}},
        {"short and long vertices", "v 1 2\nv\nv 1 2 3 4 5\n", {1, 2, 0, 0, 0, 0, 1, 2, 3}, {}},
        {"what follows a wrong coordinate",
         "v 1 x 3\nv nan 2 3\nv 1e 2 3\nv 0x1p3 2 3\nv 1e999 2 3",
         {1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, std::numeric_limits<double>::max(), 0, 0},
         {}},
        {"joined numbers", "v 1.5.25-3\nv 1,2 3", {1.5, 0.25, -3, 1, 0, 0}, {}},
        {"other words",
         "vt x\nvn\no v 1 2 3\ng\ns off\nmtllib a\nusemtl b\n#v 1 1 1\nv 1 2 3",
         {1, 2, 3},
         {}},
        {"blanks", "\t v\v1\f2 3\r\n f 1 2\t3 \r\n", {1, 2, 3}, {0, 1, 2}},
        {"a wrong word", "v 1 2 3\nf 1 1 1\nfoo bar\nv 4 5 6\n", {1, 2, 3}, {0, 0, 0}, "foo bar"},
        {"a wrong word at the start", "foo bar", {}, {}, "foo bar"},
        {"a joined word", "v1 2 3\r\n", {}, {}, "v1 2 3\r"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const WavefrontObj obj = read(c.text);
        EXPECT_EQ(obj.vertices, c.vertices);
        EXPECT_EQ(obj.vertexCount, c.vertices.size() / 3);
        EXPECT_EQ(obj.indices, c.indices);
        EXPECT_EQ(obj.triangleCount, c.indices.size() / 3);
        EXPECT_EQ(obj.offendingLine.has_value(), c.offendingLine != nullptr);
        EXPECT_EQ(complaint, !c.offendingLine ? ""
                                              : "Error: does not appear to be a valid Wavefront OBJ file!\n"
                                                "(Offending line: " +
                                                    std::string(c.offendingLine) + ")\n");
    }
}

TEST_F(ObjReader, NamesFileAndLineOfWhatIsWrong)
{
    const WavefrontObj whole = read("v 1 2 3\nf 1 1 1\n");
    EXPECT_FALSE(whole.fault || whole.indexFault);
    const std::string place = path("mesh.obj") + ", line 2: ";
    EXPECT_THAT(messageOf(read("#\nfoo \x1b[1m\nf 9 9 9").fault.value()),
                HasSubstr(place + "found \"foo \\x1b[1m\", expected v, f, "));
    EXPECT_LT(messageOf(read("#\n" + std::string(100'000, 'x')).fault.value()).size(), 400u);

    EXPECT_THAT(messageOf(read("f 1 1 1\nf 1 2 3\nf 3 1 1\nv 0 0 0\nv 0 0 0").indexFault.value()),
                HasSubstr(place + "found a face with the vertex 3, expected 1 to 2, "));
    EXPECT_THAT(messageOf(read("v 1 2 3\nf 1 -1 2\nf 1 1 1").indexFault.value()),
                HasSubstr(place + "found a face with the vertex -1,"));
    EXPECT_FALSE(read("v 1 2 3\nf 1 1 1\nf 9 -9").indexFault) << "no whole triangle has them";
    EXPECT_FALSE(read("f 9 9").indexFault);
    EXPECT_THAT(messageOf(read("v 1 2 3\nf 1 1 1 1 9\nf 1").indexFault.value()),
                HasSubstr(place + "found a face with the vertex 9,"));

    for (const std::string& wrong : {path("none.obj"), folder.string()}) {
        const WavefrontObj obj = parseWavefrontObj(wrong);
        EXPECT_EQ(obj.fault.value().place, wrong);
        EXPECT_TRUE(obj.vertices.empty());
    }
    int counts[2] = {5, 5};
    std::vector<double> vertices{1};
    std::vector<int> indices{1};
    const PrintedText printed;
    readWavefrontObj(path("none.obj"), counts[0], vertices, counts[1], indices);
    EXPECT_THAT(counts, ElementsAre(0, 0));
    EXPECT_TRUE(vertices.empty() && indices.empty());
    EXPECT_EQ(printed.text(), "");
}

/// Pieces of lines that come near each other in what streams take and refuse.
std::string randomLine(std::mt19937& generator)
{
    static const std::string pieces[] = {"0",
                                         "1",
                                         "7",
                                         "12345678",
                                         "0.1",
                                         "00",
                                         ".",
                                         "..",
                                         "-",
                                         "+",
                                         "e",
                                         "E",
                                         "e5",
                                         "e-7",
                                         "e+",
                                         "1e308",
                                         "1e-320",
                                         "e400",
                                         "e-400",
                                         "inf",
                                         "nan",
                                         "0x1f",
                                         "infinity",
                                         "123456789012345678901234567890",
                                         "9007199254740993",
                                         "0.30000000000000004",
                                         "2.4703282292062328e-324",
                                         "99999999999",
                                         ",",
                                         "'",
                                         "_",
                                         "1.5",
                                         "-2.25",
                                         "3.125001"};
    static const std::string separators[] = {" ",  " ",  " ", " ",  "\t", "  ",
                                             "\r", "\v", "/", "//", "",   std::string(1, '\0')};
    static const std::string words[] = {"v ",  "v ",  "v ", "v\t", "f ", "f ",
                                        " v ", "vn ", "#",  "",    "s",  "o "};
    const auto pick = [&](const auto& list) -> const std::string& {
        return list[std::uniform_int_distribution<std::size_t>(0, std::size(list) - 1)(generator)];
    };
    std::string line = pick(words);
    const int count = std::uniform_int_distribution<int>(0, 8)(generator);
    for (int i = 0; i < count; ++i) {
        line += pick(pieces);
        if (generator() % 3 != 0) {
            line += pick(separators);
        }
    }
    return line;
}

std::string randomNumber(std::mt19937& generator)
{
    static const char* const forms[] = {"%.*f", "%.*e", "%.*g"};
    const double size = std::ldexp(1.0, std::uniform_int_distribution<int>(-40, 40)(generator));
    const double number = std::uniform_real_distribution<double>(-size, size)(generator);
    char text[400];
    std::snprintf(text, sizeof text, forms[generator() % 3], static_cast<int>(generator() % 20), number);
    return text;
}

TEST_F(ObjReader, GivesWhatStreamExtractionGives)
{
    std::mt19937 generator(456);
    const auto expectSame = [&](const std::string& text) {
        SCOPED_TRACE(text);
        const WavefrontObj obj = read(text);
        const WavefrontObj literal = zrktest::literalWavefrontObj(path("mesh.obj"));
        EXPECT_TRUE(sameBits(obj.vertices, literal.vertices));
        EXPECT_EQ(obj.indices, literal.indices);
        EXPECT_EQ(obj.offendingLine, literal.offendingLine);
        EXPECT_EQ(obj.vertexCount, literal.vertexCount);
        EXPECT_EQ(obj.triangleCount, literal.triangleCount);
    };
    for (int file = 0; file < 100 && !HasFailure(); ++file) {
        std::string text;
        for (int line = 0; line < 50; ++line) {
            text += randomLine(generator) + "\n";
        }
        expectSame(text);
    }
    for (int file = 0; file < 20 && !HasFailure(); ++file) {
        std::string text;
        for (int line = 0; line < 20; ++line) {
            text += line % 2 == 0 ? "v " : "f ";
            for (int i = 0; i < 50; ++i) {
                const char byte = static_cast<char>(generator());
                text += byte == '\n' ? ' ' : byte;
            }
            text += '\n';
        }
        expectSame(text);
    }
    std::string numbers;
    for (int i = 0; i < 20'000; ++i) {
        numbers += "v " + randomNumber(generator) + " " + randomNumber(generator) + " " +
                   randomNumber(generator) + "\n";
    }
    expectSame(numbers);
}

TEST_F(ObjReader, ReadsLinesOfAnyLength)
{
    std::string face = "v 1 2 3\nf";
    for (int i = 0; i < 1'000'000; ++i) {
        face += " 1";
    }
    EXPECT_EQ(read(face + "\nv 4 5 6").indices, std::vector<int>(1'000'000, 0)) << "longer than a block";
    EXPECT_EQ(read(face + "\nv 4 5 6").vertices, (std::vector<double>{1, 2, 3, 4, 5, 6}));

    const std::string rest(kMaxLineBytes + 3'000'000, ' ');
    EXPECT_EQ(read("#" + rest + "\nv 4 5 6").vertices, (std::vector<double>{4, 5, 6}));
    const WavefrontObj tooLong = read("v 1 2 3\nv" + rest + "4 5 6\nv 7 8 9");
    EXPECT_EQ(tooLong.vertices, (std::vector<double>{1, 2, 3}));
    EXPECT_THAT(
        messageOf(tooLong.fault.value()),
        ::testing::AllOf(HasSubstr("line 2: found \"v "), HasSubstr("expected lines of at most 64 MiB")));
}

TEST(FitVerticesToBox, StretchesTheMeshWithTheOriginPerAxis)
{
    const BBox<double> box({0, 0, 0}, {5, 5, 5});
    std::vector<double> none;
    EXPECT_FALSE(fitVerticesToBox(0, none, box));

    std::vector<double> away{1, 1, 1, 2, 2, 2};
    EXPECT_TRUE(fitVerticesToBox(2, away, box));
    EXPECT_EQ(away, (std::vector<double>{2.5, 2.5, 2.5, 5, 5, 5})) << "the origin counts";

    std::vector<double> around{-1, -2, -4, 1, 2, 0};
    EXPECT_TRUE(fitVerticesToBox(2, around, BBox<double>({1, 1, 1}, {3, 9, 5})));
    EXPECT_EQ(around, (std::vector<double>{1, 1, 1, 3, 9, 5}));

    std::vector<double> flat{0, 0, 0, 1, 1, 0};
    EXPECT_TRUE(fitVerticesToBox(2, flat, box));
    EXPECT_EQ(flat[3], 5);
    EXPECT_TRUE(std::isnan(flat[2]) && std::isnan(flat[5]));
}

} // namespace
} // namespace zrk
