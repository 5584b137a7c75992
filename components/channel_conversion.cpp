#include "components/channel_conversion.h"

#include "core/values/large_pages.h"
#include "core/values/stop.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <type_traits>
#include <utility>
#include <variant>

namespace zrkmodel {

namespace {

template <class Image, int D>
std::shared_ptr<const zrk::Raster<1, D, double>> convertFirst(const std::shared_ptr<const Image>& image)
{
    using Doubles = zrk::Raster<1, D, double>;
    if (!image || image->channelCount() == 0) {
        return nullptr;
    }
    return std::visit(
        [&]<class T>(const zrk::Raster<1, D, T>& channel) -> std::shared_ptr<const Doubles> {
            if (channel.data.empty()) {
                return nullptr;
            }
            if constexpr (std::is_same_v<T, double>) {
                return std::shared_ptr<const Doubles>(image, &channel);
            } else {
                auto converted = std::make_shared<Doubles>();
                zrk::reserveOnLargePages(converted->data, channel.data.size());
                converted->resize(channel.dims);
                const T* const from = channel.data.data();
                double* const to = converted->data.data();
                zrk::inPieces(std::size_t{0}, channel.data.size(), [=](std::size_t first, std::size_t end) {
                    std::transform(from + first, from + end, to + first, asDouble<T>);
                });
                return converted;
            }
        },
        image->channel(0));
}

/// Extents of a channel of an image.
std::array<std::int32_t, 2> extents(const ZRKImage2d::Channel& channel)
{
    return std::visit([](const auto& raster) { return std::array{raster.dims[0], raster.dims[1]}; }, channel);
}

} // namespace

std::shared_ptr<const zrk::Raster<1, 2, double>> firstChannel(const std::shared_ptr<const ZRKImage2d>& image)
{
    return convertFirst<ZRKImage2d, 2>(image);
}

std::shared_ptr<const zrk::Raster<1, 3, double>> firstChannel(const std::shared_ptr<const ZRKImage3d>& image)
{
    return convertFirst<ZRKImage3d, 3>(image);
}

template <int N>
std::shared_ptr<const zrk::Raster<N, 2, double>>
interleavedChannels(const std::shared_ptr<const ZRKImage2d>& image)
{
    if (!image || image->channelCount() == 0) {
        return nullptr;
    }
    const auto [width, height] = extents(image->channel(0));
    auto pixels = std::make_shared<zrk::Raster<N, 2, double>>(width, height);
    for (std::size_t k = 0; k < N; ++k) {
        const ZRKImage2d::Channel& channel = image->channel(std::min(k, image->channelCount() - 1));
        if (extents(channel) != std::array{width, height}) {
            return nullptr;
        }
        std::visit(
            [&]<class T>(const zrk::Raster<1, 2, T>& values) {
                zrk::inPieces(std::size_t{0}, pixels->pixelCount(), [&](std::size_t first, std::size_t end) {
                    for (std::size_t i = first; i < end; ++i) {
                        pixels->data[i * N + k] = asDouble(values.data[i]);
                    }
                });
            },
            channel);
    }
    if (N == 4 && image->channelCount() < 4) {
        zrk::inPieces(std::size_t{0}, pixels->pixelCount(), [&](std::size_t first, std::size_t end) {
            for (std::size_t i = first; i < end; ++i) {
                pixels->data[i * N + 3] = 1.0;
            }
        });
    }
    return pixels->data.empty() ? nullptr : pixels;
}

template <>
std::shared_ptr<const zrk::Raster<1, 2, double>>
interleavedChannels<1>(const std::shared_ptr<const ZRKImage2d>& image)
{
    return firstChannel(image);
}

template std::shared_ptr<const zrk::Raster<3, 2, double>>
interleavedChannels<3>(const std::shared_ptr<const ZRKImage2d>&);
template std::shared_ptr<const zrk::Raster<4, 2, double>>
interleavedChannels<4>(const std::shared_ptr<const ZRKImage2d>&);

} // namespace zrkmodel
