#include "components/channel_conversion.h"

#include <gtest/gtest.h>

#include <vector>

namespace zrkmodel {
namespace {

using Doubles = std::vector<double>;

template <class T>
ZRKImage2d::Channel channel(int width, int height, std::vector<T> values)
{
    zrk::Raster<1, 2, T> raster(width, height);
    raster.data = std::move(values);
    return raster;
}

std::shared_ptr<const ZRKImage2d> image(std::vector<ZRKImage2d::Channel> channels)
{
    return std::make_shared<ZRKImage2d>(std::move(channels));
}

TEST(ChannelConversion, ScalesWholeNumbersOnly)
{
    EXPECT_EQ(firstChannel(image({channel<std::uint8_t>(3, 1, {0, 51, 255})}))->data,
              (Doubles{0, 51 / 255.0, 1}));
    EXPECT_EQ(firstChannel(image({channel<std::uint16_t>(3, 1, {0, 257, 65535})}))->data,
              (Doubles{0, 257 / 65535.0, 1}));
    EXPECT_EQ(firstChannel(image({channel<float>(2, 1, {-3, 0.1f})}))->data, (Doubles{-3, 0.1f}));
    const auto doubles = image({channel<double>(2, 1, {-3, 300})});
    EXPECT_EQ(firstChannel(doubles)->data, (Doubles{-3, 300}));
    EXPECT_EQ(firstChannel(doubles)->data.data(),
              (std::get<zrk::Raster<1, 2, double>>(doubles->channel(0)).data.data()))
        << "shared with the image";
}

TEST(ChannelConversion, ChoosesChannelsByTheirCount)
{
    const auto r = channel<double>(1, 2, {0.1, 0.2});
    const auto g = channel<float>(1, 2, {0.5, 0.75});
    const auto b = channel<std::uint8_t>(1, 2, {255, 0});
    const auto a = channel<double>(1, 2, {0.3, 0.4});
    EXPECT_EQ(interleavedChannels<1>(image({r, g}))->data, (Doubles{0.1, 0.2}));
    EXPECT_EQ(interleavedChannels<3>(image({r}))->data, (Doubles{0.1, 0.1, 0.1, 0.2, 0.2, 0.2}));
    EXPECT_EQ(interleavedChannels<3>(image({r, g}))->data, (Doubles{0.1, 0.5, 0.5, 0.2, 0.75, 0.75}));
    EXPECT_EQ(interleavedChannels<3>(image({r, g, b, a}))->data, (Doubles{0.1, 0.5, 1, 0.2, 0.75, 0}));
    EXPECT_EQ(interleavedChannels<4>(image({r}))->data, (Doubles{0.1, 0.1, 0.1, 1, 0.2, 0.2, 0.2, 1}));
    EXPECT_EQ(interleavedChannels<4>(image({r, g, b}))->data, (Doubles{0.1, 0.5, 1, 1, 0.2, 0.75, 0, 1}));
    EXPECT_EQ(interleavedChannels<4>(image({r, g, b, a}))->data,
              (Doubles{0.1, 0.5, 1, 0.3, 0.2, 0.75, 0, 0.4}));
}

TEST(ChannelConversion, GivesNothingForUnusableImages)
{
    const auto small = channel<double>(1, 2, {0, 0});
    const auto wide = channel<double>(2, 1, {0, 0});
    EXPECT_EQ(interleavedChannels<3>(nullptr), nullptr);
    EXPECT_EQ(interleavedChannels<4>(image({})), nullptr);
    EXPECT_EQ(interleavedChannels<4>(image({small, small, wide})), nullptr);
    EXPECT_EQ(interleavedChannels<3>(image({small, small, wide})), nullptr);
    EXPECT_NE(interleavedChannels<1>(image({small, small, wide})), nullptr) << "reads the first channel only";
    EXPECT_NE(interleavedChannels<3>(image({small, small, small, wide})), nullptr)
        << "reads three channels only";
    EXPECT_EQ(interleavedChannels<1>(image({channel<float>(0, 5, {})})), nullptr);
    EXPECT_EQ(interleavedChannels<3>(image({channel<float>(5, 0, {})})), nullptr);
    EXPECT_EQ(firstChannel(std::shared_ptr<const ZRKImage3d>()), nullptr);
}

TEST(ChannelConversion, KeepsTheOrderOfAVolume)
{
    zrk::Raster<1, 3, std::uint8_t> values(2, 1, 2);
    values.data = {0, 51, 102, 255};
    const auto volume =
        firstChannel(std::make_shared<const ZRKImage3d>(std::vector<ZRKImage3d::Channel>{values}));
    EXPECT_EQ(volume->data, (Doubles{0, 0.2, 0.4, 1}));
    EXPECT_EQ(volume->dims[2], 2);
    EXPECT_EQ(volume->strides[2], 2);
}

} // namespace
} // namespace zrkmodel
