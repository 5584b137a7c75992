#include "formats/points.h"

#include "testing/temporary_folder.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace zrk {
namespace {

using Numbers = std::vector<double>;

class PointLists : public zrktest::TemporaryFolder {
protected:
    auto pointsOf(const std::string& text) const
    {
        put("list", text);
        return readPoints(InputFile::open(path("list")), "list");
    }
};

TEST_F(PointLists, TakeOnePositionALine)
{
    const auto points = pointsOf("# x,y,z\n\n0,1,2\r\n  # more\n\t-3 ,\t4, +0.5  \n1e-320,0,2");
    ASSERT_TRUE(points) << messageOf(points.error());
    Numbers numbers;
    for (const Tensor<3, double>& p : *points) {
        numbers.insert(numbers.end(), p.begin(), p.end());
    }
    EXPECT_EQ(numbers, (Numbers{0, 1, 2, -3, 4, 0.5, 1e-320, 0, 2}));
}

TEST_F(PointLists, RefuseAnyOtherLineWithItsNumber)
{
    for (const char* line : {"1,2", "1,2,3,4", "1 2 3", "1,,3", "1,2,3,", ",1,2,3", "nan,0,0", "0,inf,0",
                             "1e999,0,0", "+-1,0,0", "++1,0,0", "0x1,0,0", "1,2,3 # centre", "\x1b[31m"}) {
        const auto points = pointsOf("0,0,0\n#\n" + std::string(line) + "\n1,1,1");
        ASSERT_FALSE(points) << line;
        EXPECT_EQ(points.error().place, "list, line 3");
        EXPECT_EQ(points.error().found, quotation(line));
    }
    EXPECT_LT(messageOf(pointsOf(std::string(1 << 20, '7')).error()).size(), 400u);
}

TEST_F(PointLists, SayWhatIsWrongWithAPath)
{
    const auto fault = [](const std::filesystem::path& file) {
        const auto points = readPoints(InputFile::open(file), "the list");
        return points ? Fault() : points.error();
    };
    EXPECT_THAT(fault(folder / "none").found, ::testing::HasSubstr("No such file"));
    EXPECT_EQ(fault(folder).found, "a folder");
    EXPECT_EQ(fault(folder).place, folder.string());
}

TEST_F(PointLists, TakeNoMoreThanIsAllowed)
{
    put("three", "1,2,3\n4,5,6\n# a remark\n7,8,9\n");
    EXPECT_EQ(readPoints(InputFile::open(path("three")), "three", 3)->size(), 3u);
    const auto points = readPoints(InputFile::open(path("three")), "three", 2);
    ASSERT_FALSE(points);
    EXPECT_EQ(points.error().kind, FaultKind::FailedWork);
    EXPECT_EQ(points.error().expected, "at most 2");
}

} // namespace
} // namespace zrk
