#include "formats/slice_stack.h"

#include "testing/slice_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

namespace zrk {
namespace {

using namespace zrktest;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using Numbers = std::vector<double>;

using SliceStack = SliceFolder;

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
    const zrk::GreyStack stack = zrk::readGreyStack(paths, nullptr);
    EXPECT_EQ(stack.voxels.dims[0], 5);
    EXPECT_EQ(stack.voxels.dims[1], 3);
    EXPECT_EQ(stack.voxels.data.size(), 75u);
    EXPECT_EQ(firstSamples(stack.voxels), (Numbers{85, 255, 17, 0, 17}))
        << "Z before a, b; 16 bit as its upper 8";
    std::vector<std::string> leftOut;
    for (const zrk::SliceFault& fault : stack.leftOut) {
        leftOut.push_back(fault.path.filename().string() + " " + fault.finding);
    }
    EXPECT_THAT(leftOut, ElementsAre("c.Png found another kind of file, expected the extension .png or .PNG",
                                     "d.jpeg found another kind of file, expected the extension .png or .PNG",
                                     "e.png found no file, expected a picture",
                                     "g.png found 1 x 1 pixels, expected 5 x 3 pixels as in the first slice",
                                     HasSubstr("h.png found 2147483647 x 1 pixels")));
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
    const zrk::ChannelStack stack = zrk::readStackFolder(folder, nullptr);
    ASSERT_EQ(stack.state, zrk::StackState::Complete);
    ASSERT_EQ(stack.channels.size(), 3u);
    const auto& red = std::get<zrk::Raster<1, 3, std::uint16_t>>(stack.channels[0]);
    EXPECT_EQ(red.dims[2], 2);
    EXPECT_EQ(red.data[15 + 1], 7919 + 17) << "pixel (1, 0) of slice 1";
    const auto& blue = std::get<zrk::Raster<1, 3, std::uint16_t>>(stack.channels[2]);
    EXPECT_EQ(blue.data[0], (2 * 1299709 + 17) % 65536);
}

TEST_F(SliceStack, RefusesAFolderOfUnlikeSlices)
{
    const auto fault = [&] {
        const zrk::ChannelStack stack = zrk::readStackFolder(folder, nullptr);
        EXPECT_EQ(stack.state, zrk::StackState::Refused);
        EXPECT_TRUE(stack.channels.empty());
        return stack.fault.path.filename().string() + " " + stack.fault.finding;
    };
    EXPECT_THAT(fault(), HasSubstr("found no slice"));
    slice("a.png", "grey8");
    const auto refuses = [&](const std::filesystem::path& path, const char* finding) {
        EXPECT_EQ(fault(), path.filename().string() + " " + finding);
        std::filesystem::remove(path);
    };
    const std::string expected = ", expected 5 x 3 pixels of 1 channel of 8 bit as in the first slice";
    refuses(slice("b.png", "one_pixel"), ("found 1 x 1 pixels of 1 channel of 8 bit" + expected).c_str());
    refuses(slice("b.png", "grey16"), ("found 5 x 3 pixels of 1 channel of 16 bit" + expected).c_str());
    refuses(slice("b.png", "colour8"), ("found 5 x 3 pixels of 3 channels of 8 bit" + expected).c_str());
    put("b.png", "no picture");
    refuses(folder / "b.png", "found something else, expected a PNG picture");
    EXPECT_EQ(zrk::readStackFolder(folder, nullptr).state, zrk::StackState::Complete);
    folder /= "missing";
    EXPECT_THAT(fault(), HasSubstr("found no readable folder"));
    folder = folder.parent_path();
}

TEST_F(SliceStack, ReportsAndStops)
{
    zrk::Paths paths;
    for (int i = 0; i < 40; ++i) {
        paths.push_back(slice(std::to_string(i) + ".png", "grey8"));
    }
    Impatient patient(1000000);
    EXPECT_EQ(zrk::readGreyStack(paths, &patient).state, zrk::StackState::Complete);
    EXPECT_EQ(patient.last, 1);
    Impatient hasty(0);
    EXPECT_EQ(zrk::readGreyStack(paths, &hasty).state, zrk::StackState::Stopped);
    EXPECT_TRUE(hasty.isInterruptAcknowledged());
    Impatient other(0);
    EXPECT_EQ(zrk::readStackFolder(folder, &other).state, zrk::StackState::Stopped);
}

} // namespace
} // namespace zrk
