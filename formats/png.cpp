#include "formats/png.h"

#include "core/values/large_pages.h"
#include "core/values/stop.h"
#include "formats/atomic_file.h"
#include "formats/file_bytes.h"
#include "formats/limits.h"

#include <spng.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <utility>

namespace zrk {

namespace {

/// No packing of a PNG's data is tighter than this.
constexpr std::uint64_t kMostPixelBytesPerByte = 1032;

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
        const std::uint8_t* const from = samples.data() + c * sizeof(T);
        inPieces(std::size_t{0}, channel.data.size(), [&](std::size_t first, std::size_t end) {
            for (std::size_t i = first; i < end; ++i) {
                std::memcpy(&channel.data[i], from + i * channelCount * sizeof(T), sizeof(T));
            }
        });
        channels.emplace_back(std::move(channel));
    }
    return channels;
}

/// Decodes the rows of a picture, by passes where it is interlaced. Returns libspng's error, 0 for none.
int decodeRows(spng_ctx* context, const spng_ihdr& header, const PixelForm& form,
               std::vector<std::uint8_t>& samples)
{
    const std::size_t rowBytes = samples.size() / header.height;
    int error = spng_decode_image(context, nullptr, 0, form.format, SPNG_DECODE_PROGRESSIVE | form.flags);
    while (!error) {
        stopIfAsked();
        spng_row_info row = {};
        error = spng_get_row_info(context, &row);
        error = error ? error : spng_decode_row(context, samples.data() + row.row_num * rowBytes, rowBytes);
    }
    return error == SPNG_EOI ? 0 : error;
}

/// What is wrong with a picture, as far as it is a fault of its content.
struct Finding {
    std::string found;
    std::string expected;
};

/// Also where memory for decoding fails, which isn't the file's fault and is thrown.
Finding brokenFile(int error)
{
    if (error == SPNG_EMEM) {
        throw std::bad_alloc();
    }
    return {std::string("damaged data (") + spng_strerror(error) + ")", "a whole PNG picture"};
}

/// Nothing when the size is sensible.
std::optional<Finding> sizeFault(const spng_ihdr& header, std::uint64_t packedBytes, std::size_t fileBytes)
{
    const std::string found =
        std::to_string(header.width) + " x " + std::to_string(header.height) + " pixels";
    if (header.width > kMaxPngSide || header.height > kMaxPngSide ||
        std::uint64_t{header.width} * header.height > kMaxPngPixels) {
        return Finding{found, "at most " + std::to_string(kMaxPngPixels) + ", and at most " +
                                  std::to_string(kMaxPngSide) + " along a side"};
    }
    if (packedBytes / kMostPixelBytesPerByte > fileBytes) {
        return Finding{found + " in " + std::to_string(fileBytes) + " bytes",
                       "a file long enough to hold them"};
    }
    return std::nullopt;
}

/// Hands a picture's rows to the encoder. SPNG_EOI once all are there, SPNG_OK if it was stopped, else what
/// went wrong.
template <int C>
int encodeRows(spng_ctx* context, const Raster<C, 2, unsigned char>& picture, const KeepGoing& keepGoing)
{
    int status =
        spng_encode_image(context, nullptr, 0, SPNG_FMT_PNG, SPNG_ENCODE_PROGRESSIVE | SPNG_ENCODE_FINALIZE);
    const std::size_t rowSize = static_cast<std::size_t>(picture.dims[0]) * C;
    for (std::size_t first = 0; status == SPNG_OK && first < picture.data.size(); first += rowSize) {
        stopIfAsked();
        if (!goesOn(keepGoing, static_cast<double>(first) / static_cast<double>(picture.data.size()))) {
            return SPNG_OK;
        }
        status = spng_encode_row(context, &picture.data[first], rowSize);
    }
    return status;
}

template <int C>
Result<void> write(const std::string& path, const Raster<C, 2, unsigned char>& picture,
                   const KeepGoing& keepGoing)
{
    const Context context(spng_ctx_new(SPNG_CTX_ENCODER), spng_ctx_free);
    spng_ihdr header = {};
    header.width = static_cast<std::uint32_t>(picture.dims[0]);
    header.height = static_cast<std::uint32_t>(picture.dims[1]);
    header.bit_depth = 8;
    header.color_type = C == 3 ? SPNG_COLOR_TYPE_TRUECOLOR : SPNG_COLOR_TYPE_TRUECOLOR_ALPHA;
    int error = context ? spng_set_option(context.get(), SPNG_ENCODE_TO_BUFFER, 1) : SPNG_EMEM;
    error = error ? error : spng_set_ihdr(context.get(), &header);
    error = error ? error : spng_set_srgb(context.get(), 0);
    if (!error) {
        error = encodeRows(context.get(), picture, keepGoing);
        if (error == SPNG_OK) {
            return refused(interruptedAt(path));
        }
        error = error == SPNG_EOI ? 0 : error;
    }
    std::size_t size = 0;
    const std::unique_ptr<void, void (*)(void*)> bytes(
        error ? nullptr : spng_get_png_buffer(context.get(), &size, &error), std::free);
    if (error) {
        return refused({path,
                        std::string("\"") + spng_strerror(error) + "\" on encoding " +
                            std::to_string(picture.dims[0]) + " x " + std::to_string(picture.dims[1]) +
                            " pixels",
                        "a PNG file", "ask for another size", FaultKind::FailedWork});
    }
    return AtomicFile::create(path).and_then([&](AtomicFile file) {
        file.write(bytes.get(), size);
        return file.commit();
    });
}

Result<std::vector<ImageChannel<2>>> decoded(std::span<const std::uint8_t> bytes, const std::string& place)
{
    const auto refuse = [&place](Finding finding) {
        return refused({place, std::move(finding.found), std::move(finding.expected),
                        "give a whole PNG picture, for example by saving it anew"});
    };
    if (!isPng(bytes)) {
        return refuse({"something else", "a PNG picture"});
    }
    const Context context(spng_ctx_new(0), spng_ctx_free);
    if (!context) {
        throw std::bad_alloc();
    }
    spng_ihdr header = {};
    spng_trns transparent = {};
    std::size_t packedBytes = 0;
    spng_set_chunk_limits(context.get(), kMaxPngChunkBytes, kMaxPngChunkBytes);
    int error = spng_set_png_buffer(context.get(), bytes.data(), bytes.size());
    error = error ? error : spng_get_ihdr(context.get(), &header);
    error = error ? error : spng_decoded_image_size(context.get(), SPNG_FMT_RAW, &packedBytes);
    if (error) {
        return refuse(brokenFile(error));
    }
    if (std::optional<Finding> finding = sizeFault(header, packedBytes, bytes.size())) {
        return refuse(std::move(*finding));
    }
    const int hasTransparent = spng_get_trns(context.get(), &transparent);
    if (hasTransparent != 0 && hasTransparent != SPNG_ECHUNKAVAIL) {
        return refuse(brokenFile(hasTransparent));
    }
    const PixelForm form = pixelForm(header, hasTransparent == 0);
    std::size_t size = 0;
    std::vector<std::uint8_t> samples;
    error = spng_decoded_image_size(context.get(), form.format, &size);
    if (!error) {
        reserveOnLargePages(samples, size);
        resizeInPieces(samples, size);
        error = decodeRows(context.get(), header, form, samples);
    }
    // What follows the pixels shows whether the file is whole.
    error = error ? error : spng_decode_chunks(context.get());
    if (error) {
        return refuse(brokenFile(error));
    }
    return form.isWide ? separated<std::uint16_t>(samples, header, form.channels)
                       : separated<std::uint8_t>(samples, header, form.channels);
}

} // namespace

bool isPng(std::span<const std::uint8_t> bytes)
{
    constexpr std::array<std::uint8_t, 8> kSignature = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'};
    return bytes.size() >= kSignature.size() &&
           std::equal(kSignature.begin(), kSignature.end(), bytes.begin());
}

Result<std::vector<ImageChannel<2>>> readPng(std::span<const std::uint8_t> bytes, const std::string& place)
{
    return attempt(place, [&] { return decoded(bytes, place); });
}

Result<std::vector<ImageChannel<2>>> readPngFile(const std::filesystem::path& path)
{
    return readFileBytes(path, kMaxPngFileBytes).and_then([&](const std::vector<std::uint8_t>& bytes) {
        return readPng(bytes, path.string());
    });
}

Result<void> writePng(const std::string& path, const Picture& picture, const KeepGoing& keepGoing)
{
    return write(path, picture, keepGoing);
}
Result<void> writePng(const std::string& path, const TransparentPicture& picture, const KeepGoing& keepGoing)
{
    return write(path, picture, keepGoing);
}

} // namespace zrk
