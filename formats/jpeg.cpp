#include "formats/jpeg.h"

#if ZRK_HAS_JPEG
#include "core/values/memory_budget.h"
#include "core/values/stop.h"
#include "formats/limits.h"
#include "formats/pixel_rows.h"

#include <cstddef>
#include <cstdio>

#include <jerror.h>
#include <jpeglib.h>

#include <csetjmp>
#include <new>
#include <utility>
#endif

namespace zrk {

bool isJpeg(std::span<const std::uint8_t> bytes)
{
    return bytes.size() >= 3 && bytes[0] == 0xff && bytes[1] == 0xd8 && bytes[2] == 0xff;
}

#if ZRK_HAS_JPEG

namespace {

constexpr int kMaxScans = 500;
/// A block of 64 samples takes a bit at least.
constexpr std::uint64_t kMostJpegPixelsPerByte = 8 * 64;

/// What libjpeg's functions are handed. They leave by a jump where they fail, so that between such a call and
/// the function that made it nothing may stand that has a destructor.
class JpegDecoder {
public:
    explicit JpegDecoder(std::span<const std::uint8_t> bytes) : _bytes(bytes)
    {
        _decoder.err = jpeg_std_error(&_errors);
        _errors.error_exit = onError;
        _errors.emit_message = onMessage;
        _errors.output_message = [](j_common_ptr) {};
        _decoder.client_data = this;
    }
    ~JpegDecoder() { jpeg_destroy_decompress(&_decoder); }
    JpegDecoder(const JpegDecoder&) = delete;
    JpegDecoder& operator=(const JpegDecoder&) = delete;

    bool readHeader()
    {
        return guarded([this] {
            jpeg_create_decompress(&_decoder);
            _progress.progress_monitor = onProgress;
            _decoder.progress = &_progress;
            _decoder.client_data = this;
            jpeg_mem_src(&_decoder, _bytes.data(), static_cast<unsigned long>(_bytes.size()));
            jpeg_read_header(&_decoder, TRUE);
        });
    }
    bool start()
    {
        return guarded([this] { jpeg_start_decompress(&_decoder); });
    }
    bool readRow(std::uint8_t* row)
    {
        return guarded([this, &row] { jpeg_read_scanlines(&_decoder, &row, 1); });
    }
    bool finish()
    {
        return guarded([this] { jpeg_finish_decompress(&_decoder); });
    }

    jpeg_decompress_struct& state() { return _decoder; }
    bool isDamaged() const { return _errors.num_warnings > 0; }
    /// Of what went wrong first.
    const char* message() const { return _message; }
    bool isOutOfMemory() const { return _errors.msg_code == JERR_OUT_OF_MEMORY; }

private:
    std::span<const std::uint8_t> _bytes;
    jpeg_decompress_struct _decoder = {};
    jpeg_error_mgr _errors = {};
    jpeg_progress_mgr _progress = {};
    std::jmp_buf _jump;
    char _message[JMSG_LENGTH_MAX] = "";

    /// False where the call failed.
    template <class Call>
    bool guarded(const Call& call)
    {
        if (setjmp(_jump) != 0) {
            return false;
        }
        call();
        return true;
    }

    static JpegDecoder& of(j_common_ptr decoder) { return *static_cast<JpegDecoder*>(decoder->client_data); }

    static void onError(j_common_ptr decoder)
    {
        if (of(decoder)._message[0] == '\0') {
            decoder->err->format_message(decoder, of(decoder)._message);
        }
        std::longjmp(of(decoder)._jump, 1);
    }
    static void onMessage(j_common_ptr decoder, int level)
    {
        if (level < 0 && decoder->err->num_warnings++ == 0) {
            decoder->err->format_message(decoder, of(decoder)._message);
        }
    }
    /// Called while a picture of many scans is read as a whole, and from time to time otherwise.
    static void onProgress(j_common_ptr decoder)
    {
        if (of(decoder)._decoder.input_scan_number > kMaxScans) {
            std::snprintf(of(decoder)._message, JMSG_LENGTH_MAX, "more than %d scans", kMaxScans);
            std::longjmp(of(decoder)._jump, 1);
        }
        if (isStopAsked()) {
            std::longjmp(of(decoder)._jump, 1);
        }
    }
};

class JpegReader {
public:
    JpegReader(std::span<const std::uint8_t> bytes, const std::string& place)
        : _decoder(bytes), _fileBytes(bytes.size()), _place(place)
    {}

    std::vector<ImageChannel<2>> read()
    {
        require(_decoder.readHeader());
        checkSize();
        checkColors();
        jpeg_decompress_struct& state = _decoder.state();
        const bool isGrey = state.num_components == 1;
        state.out_color_space = isGrey ? JCS_GRAYSCALE : JCS_RGB;
        state.do_block_smoothing = FALSE; // it guesses what a progressive picture doesn't have
        const std::size_t channels = isGrey ? 1 : 3;
        const auto pixels =
            static_cast<double>(state.image_width) * state.image_height * static_cast<double>(channels);
        constexpr double kLarge = 1 << 24;
        if (pixels > kLarge) {
            checkMemory(jpeg_has_multiple_scans(&state) ? 3 * pixels : pixels, _place, extents(),
                        "name a smaller picture");
        }
        require(_decoder.start());
        PixelRows rows(state.image_width, state.image_height, channels, false);
        std::vector<std::uint8_t> row(state.image_width * channels);
        for (std::uint32_t y = 0; y < height(); ++y) {
            stopIfAsked();
            require(_decoder.readRow(row.data()));
            rows.set(0, y, state.image_width, 0, channels, row.data());
        }
        require(_decoder.finish());
        return rows.take();
    }

private:
    JpegDecoder _decoder;
    std::size_t _fileBytes;
    const std::string& _place;

    std::uint32_t height() { return _decoder.state().image_height; }

    std::string extents()
    {
        return std::to_string(_decoder.state().image_width) + " x " +
               std::to_string(_decoder.state().image_height) + " pixels";
    }

    [[noreturn]] void refuse(std::string found, std::string expected) const
    {
        throw FaultError(
            {_place, std::move(found), std::move(expected), "give a whole JPEG picture, or save it as PNG"});
    }

    void require(bool isDone) const
    {
        if (isDone && !_decoder.isDamaged()) {
            return;
        }
        stopIfAsked();
        if (_decoder.isOutOfMemory()) {
            throw std::bad_alloc();
        }
        refuse(std::string("damaged data (") + printable(_decoder.message()) + ")", "a whole JPEG picture");
    }

    void checkSize()
    {
        const std::uint64_t width = _decoder.state().image_width;
        const std::uint64_t height = _decoder.state().image_height;
        if (width > kMaxPngSide || height > kMaxPngSide || width * height > kMaxPngPixels) {
            refuse(extents(), "at most " + std::to_string(kMaxPngPixels) + ", and at most " +
                                  std::to_string(kMaxPngSide) + " along a side");
        }
        if (width * height / kMostJpegPixelsPerByte > _fileBytes) {
            refuse(extents() + " in " + std::to_string(_fileBytes) + " bytes",
                   "a file long enough to hold them");
        }
    }

    void checkColors()
    {
        if (_decoder.state().arith_code) { // can stand for any size in a few bytes
            refuse("an arithmetically coded picture", "one coded by Huffman's method");
        }
        const J_COLOR_SPACE colors = _decoder.state().jpeg_color_space;
        if (colors == JCS_CMYK || colors == JCS_YCCK) {
            refuse("a CMYK picture", "grey or red, green and blue");
        }
        if (colors != JCS_GRAYSCALE && colors != JCS_YCbCr && colors != JCS_RGB) {
            refuse(std::to_string(_decoder.state().num_components) + " channels of unknown colours",
                   "grey or red, green and blue");
        }
    }
};

} // namespace

Result<std::vector<ImageChannel<2>>> readJpeg(std::span<const std::uint8_t> bytes, const std::string& place)
{
    return attempt(place, [&] { return JpegReader(bytes, place).read(); });
}

#else

Result<std::vector<ImageChannel<2>>> readJpeg(std::span<const std::uint8_t>, const std::string& place)
{
    return refused({place, "a JPEG picture, which this build can't read", "a PNG picture",
                    "save it as PNG, or install libjpeg-dev and build zrk anew with -DZRK_JPEG=ON"});
}

#endif

} // namespace zrk
