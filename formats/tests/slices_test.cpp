#include "formats/png.h"
#include "formats/slices.h"

#include "testing/slice_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sys/resource.h>
#include <unistd.h>

namespace zrk {
namespace {

using namespace zrktest;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using Numbers = std::vector<double>;

using SliceStack = SliceFolder;

/// Without the folder and the remedy.
std::string shown(const zrk::Fault& fault)
{
    return std::filesystem::path(fault.place).filename().string() + ": " + fault.found + " / " +
           fault.expected;
}

/// First sample of each slice.
Numbers firstSamples(const zrk::Raster<1, 3, std::uint8_t>& voxels)
{
    Numbers samples;
    for (std::int32_t k = 0; k < voxels.dims[2]; ++k) {
        samples.push_back(voxels.data[static_cast<std::size_t>(k * voxels.strides[2])]);
    }
    return samples;
}

// Of sample 17 at (0, 0): 1 bit of it is 1, 2 bits are 1, 4 bits are 1, 16 bit stay 17.
TEST_F(SliceStack, TakesFitSlicesInByteOrderOfTheirPaths)
{
    const zrk::Paths paths = {
        slice("b.png", "grey4"),   slice("a.png", "grey1"),     slice("Z.PNG", "grey2"),
        slice("c.Png", "grey8"),   slice("d.jpeg", "grey8"),    folder / "e.png",
        slice("f.png", "grey16"),  slice("g.png", "one_pixel"), slice("h.png", "too_wide"),
        slice("i.png", "colour8"),
    };
    const zrk::GreyStack stack = zrk::readGreyStack(paths, nullptr).value();
    EXPECT_EQ(stack.voxels.dims[0], 5);
    EXPECT_EQ(stack.voxels.dims[1], 3);
    EXPECT_EQ(stack.voxels.data.size(), 75u);
    EXPECT_EQ(firstSamples(stack.voxels), (Numbers{85, 255, 17, 0, 17}))
        << "Z before a, b; 16 bit as its upper 8";
    std::vector<std::string> leftOut;
    for (const zrk::Fault& fault : stack.leftOut) {
        leftOut.push_back(shown(fault));
    }
    EXPECT_THAT(leftOut, ElementsAre("c.Png: another kind of file / the extension .png or .PNG",
                                     "d.jpeg: another kind of file / the extension .png or .PNG",
                                     "e.png: no file / a picture",
                                     "g.png: 1 x 1 pixels / 5 x 3 pixels as in the first slice",
                                     HasSubstr("h.png: 2147483647 x 1 pixels")));
}

TEST_F(SliceStack, RaisesWhatKeepsAPathFromBeingFollowed)
{
    std::filesystem::create_symlink("loop.png", folder / "loop.png");
    try {
        zrk::readGreyStack({slice("a.png", "grey8"), folder / "loop.png"}, nullptr);
        FAIL() << "nothing raised";
    } catch (const std::filesystem::filesystem_error& error) {
        EXPECT_THAT(error.what(), HasSubstr("exists"));
    }
}

TEST_F(SliceStack, ReadsAFolderWithAllChannels)
{
    slice("b.png", "colour16");
    slice("a.png", "colour16_interlaced");
    slice("notes.txt", "grey8");
    const auto channels = zrk::readStackFolder(folder, nullptr).value();
    ASSERT_EQ(channels.size(), 3u);
    const auto& red = std::get<zrk::Raster<1, 3, std::uint16_t>>(channels[0]);
    EXPECT_EQ(red.dims[2], 2);
    EXPECT_EQ(red.data[15 + 1], 7919 + 17) << "pixel (1, 0) of slice 1";
    const auto& blue = std::get<zrk::Raster<1, 3, std::uint16_t>>(channels[2]);
    EXPECT_EQ(blue.data[0], (2 * 1299709 + 17) % 65536);
}

TEST_F(SliceStack, RefusesAFolderOfUnlikeSlices)
{
    const auto fault = [&] {
        const auto stack = zrk::readStackFolder(folder, nullptr);
        return stack ? "none" : shown(stack.error());
    };
    EXPECT_THAT(fault(), HasSubstr("no slice"));
    slice("a.png", "grey8");
    const auto refuses = [&](const std::filesystem::path& path, const std::string& finding) {
        EXPECT_EQ(fault(), path.filename().string() + ": " + finding);
        std::filesystem::remove(path);
    };
    const std::string expected = " / 5 x 3 pixels of 1 channel of 8 bit as in the first slice";
    refuses(slice("b.png", "one_pixel"), "1 x 1 pixels of 1 channel of 8 bit" + expected);
    refuses(slice("b.png", "grey16"), "5 x 3 pixels of 1 channel of 16 bit" + expected);
    refuses(slice("b.png", "colour8"), "5 x 3 pixels of 3 channels of 8 bit" + expected);
    put("b.png", "no picture");
    refuses(folder / "b.png", "something else / a PNG, JPEG or TIFF picture");
    EXPECT_EQ(fault(), "none");
    folder /= "missing";
    EXPECT_THAT(fault(), HasSubstr("no readable folder"));
    folder = folder.parent_path();
}

TEST_F(SliceStack, ReportsAndStops)
{
    zrk::Paths paths;
    for (int i = 0; i < 40; ++i) {
        paths.push_back(slice(std::to_string(i) + ".png", "grey8"));
    }
    Impatient patient(1000000);
    EXPECT_TRUE(zrk::readGreyStack(paths, &patient));
    EXPECT_EQ(patient.last, 1);
    Impatient hasty(0);
    EXPECT_EQ(zrk::readGreyStack(paths, &hasty).error().kind, zrk::FaultKind::Interrupted);
    EXPECT_TRUE(hasty.isInterruptAcknowledged());
    Impatient other(0);
    EXPECT_EQ(zrk::readStackFolder(folder, &other).error().kind, zrk::FaultKind::Interrupted);
}

// Which slice is the one too many depends on the threads; that there is one must not.
TEST_F(SliceStack, RefusesTooManyPixelsWhicheverThreadFindsThem)
{
    constexpr std::uint64_t kPixels = 40 * 15;
    zrk::Paths paths;
    for (int i = 0; i < 40; ++i) {
        paths.push_back(slice(std::to_string(i) + ".png", "grey8"));
    }
    for (int run = 0; run < 50; ++run) {
        const auto taken = zrk::readGreyStack(paths, nullptr, kPixels);
        ASSERT_TRUE(taken);
        ASSERT_EQ(taken->voxels.data.size(), kPixels);
        const auto grey = zrk::readGreyStack(paths, nullptr, kPixels - 1);
        ASSERT_FALSE(grey);
        const auto channels = zrk::readStackFolder(folder, nullptr, kPixels - 1);
        ASSERT_FALSE(channels);
        for (const zrk::Fault& fault : {grey.error(), channels.error()}) {
            ASSERT_EQ(shown(fault),
                      "0.png: this and other slices of more than 599 pixels together / at most 599");
            ASSERT_EQ(fault.kind, zrk::FaultKind::FailedWork);
        }
    }
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) // they reserve more than any limit
// It isn't left out in silence: elsewhere, or later, the slice could be read.
TEST_F(SliceStack, IsRefusedWhereASliceNeedsMoreMemoryThanThereIs)
{
    const std::string large = (folder / "large.png").string();
    ASSERT_TRUE(zrk::writePng(large, zrk::Picture(3000, 3000)));
    const auto readInLittleMemory = [&] {
        std::size_t pages = 0;
        std::ifstream("/proc/self/statm") >> pages;
        const rlim_t little = pages * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE)) + (16 << 20);
        const rlimit limit{little, little};
        ::setrlimit(RLIMIT_AS, &limit);
        const auto stack = zrk::readGreyStack({large}, nullptr);
        std::exit(!stack && stack.error().kind == zrk::FaultKind::FailedWork ? 0 : 1);
    };
    GTEST_FLAG_SET(death_test_style, "threadsafe"); // in a process without the free memory of other tests
    EXPECT_EXIT(readInLittleMemory(), ::testing::ExitedWithCode(0), "");
}
#endif

} // namespace
} // namespace zrk
