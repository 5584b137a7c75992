#include "formats/png_reader.h"

#include "formats/file_bytes.h"

#include <spng.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <memory>
#include <new>

namespace zrk {

namespace {

/// No packing of a PNG's data is tighter than this.
constexpr std::uint64_t kMostPixelBytesPerByte = 1032;
constexpr std::size_t kMaxFileBytes = std::size_t{1} << 31;
constexpr std::size_t kMaxChunkBytes = std::size_t{16} << 20;

using Context = std::unique_ptr<spng_ctx, void (*)(spng_ctx*)>;

/// How the pixels of one picture are decoded.
struct PixelForm {
    int format;
    int flags;
    std::size_t channels;
    bool isWide; ///< 16 bit
};

PixelForm pixelForm(const spng_ihdr& header, bool namesTransparent)
{
    const bool isWide = header.bit_depth == 16;
    const int flags = namesTransparent ? SPNG_DECODE_TRNS : 0;
    switch (header.color_type) {
    case SPNG_COLOR_TYPE_GRAYSCALE:
        if (namesTransparent) {
            return {isWide ? SPNG_FMT_GA16 : SPNG_FMT_GA8, flags, 2, isWide};
        }
        return {isWide ? SPNG_FMT_PNG : SPNG_FMT_G8, flags, 1, isWide};
    case SPNG_COLOR_TYPE_GRAYSCALE_ALPHA:
        return {SPNG_FMT_PNG, 0, 2, isWide};
    case SPNG_COLOR_TYPE_TRUECOLOR:
        if (namesTransparent) {
            return {isWide ? SPNG_FMT_RGBA16 : SPNG_FMT_RGBA8, flags, 4, isWide};
        }
        return {SPNG_FMT_PNG, 0, 3, isWide};
    case SPNG_COLOR_TYPE_TRUECOLOR_ALPHA:
        return {SPNG_FMT_PNG, 0, 4, isWide};
    default: // a palette
        return {namesTransparent ? SPNG_FMT_RGBA8 : SPNG_FMT_RGB8, flags, namesTransparent ? 4u : 3u, false};
    }
}

/// Takes interleaved samples apart.
template <class T>
std::vector<ImageChannel<2>> separated(const std::vector<std::uint8_t>& samples, const spng_ihdr& header,
                                       std::size_t channelCount)
{
    std::vector<ImageChannel<2>> channels;
    for (std::size_t c = 0; c < channelCount; ++c) {
        Raster<1, 2, T> channel(header.width, header.height);
        const std::uint8_t* from = samples.data() + c * sizeof(T);
        for (T& value : channel.data) {
            std::memcpy(&value, from, sizeof(T));
            from += channelCount * sizeof(T);
        }
        channels.emplace_back(std::move(channel));
    }
    return channels;
}

std::string brokenFile(int error)
{
    return std::string("found damaged data (") + spng_strerror(error) + "), expected a whole PNG picture";
}

/// Empty when the size is sensible.
std::string sizeFault(const spng_ihdr& header, std::uint64_t packedBytes, std::size_t fileBytes)
{
    const std::string found =
        "found " + std::to_string(header.width) + " x " + std::to_string(header.height) + " pixels";
    if (header.width > kMaxPngSide || header.height > kMaxPngSide ||
        std::uint64_t{header.width} * header.height > kMaxPngPixels) {
        return found + ", expected at most " + std::to_string(kMaxPngPixels) + ", and at most " +
               std::to_string(kMaxPngSide) + " along a side";
    }
    if (packedBytes / kMostPixelBytesPerByte > fileBytes) {
        return found + " in " + std::to_string(fileBytes) +
               " bytes, expected a file long enough to hold them";
    }
    return "";
}

} // namespace

std::optional<std::vector<ImageChannel<2>>> readPng(std::span<const std::uint8_t> bytes, std::string* fault)
{
    constexpr std::array<std::uint8_t, 8> kSignature = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'};
    if (bytes.size() < kSignature.size() ||
        !std::equal(kSignature.begin(), kSignature.end(), bytes.begin())) {
        return refused(fault, "found something else, expected a PNG picture");
    }
    const Context context(spng_ctx_new(0), spng_ctx_free);
    if (!context) {
        throw std::bad_alloc();
    }
    spng_ihdr header = {};
    spng_trns transparent = {};
    std::size_t packedBytes = 0;
    spng_set_chunk_limits(context.get(), kMaxChunkBytes, kMaxChunkBytes);
    int error = spng_set_png_buffer(context.get(), bytes.data(), bytes.size());
    error = error ? error : spng_get_ihdr(context.get(), &header);
    error = error ? error : spng_decoded_image_size(context.get(), SPNG_FMT_RAW, &packedBytes);
    if (error) {
        return refused(fault, brokenFile(error));
    }
    if (std::string problem = sizeFault(header, packedBytes, bytes.size()); !problem.empty()) {
        return refused(fault, std::move(problem));
    }
    const int hasTransparent = spng_get_trns(context.get(), &transparent);
    if (hasTransparent != 0 && hasTransparent != SPNG_ECHUNKAVAIL) {
        return refused(fault, brokenFile(hasTransparent));
    }
    const PixelForm form = pixelForm(header, hasTransparent == 0);
    std::size_t size = 0;
    std::vector<std::uint8_t> samples;
    error = spng_decoded_image_size(context.get(), form.format, &size);
    if (!error) {
        samples.resize(size);
        error = spng_decode_image(context.get(), samples.data(), size, form.format, form.flags);
    }
    // What follows the pixels shows whether the file is whole.
    error = error ? error : spng_decode_chunks(context.get());
    if (error) {
        return refused(fault, brokenFile(error));
    }
    return form.isWide ? separated<std::uint16_t>(samples, header, form.channels)
                       : separated<std::uint8_t>(samples, header, form.channels);
}

std::optional<std::vector<ImageChannel<2>>> readPngFile(const std::filesystem::path& path, std::string* fault)
{
    const auto bytes = readFileBytes(path, kMaxFileBytes, fault);
    return bytes ? readPng(*bytes, fault) : std::nullopt;
}

} // namespace zrk
