#include "formats/tiff.h"

#if ZRK_HAS_TIFF
#include "core/values/memory_budget.h"
#include "core/values/stop.h"
#include "formats/pixel_rows.h"

#include <tiffio.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <functional>
#include <iterator>
#include <memory>
#include <new>
#include <utility>
#endif

namespace zrk {

bool isTiff(std::span<const std::uint8_t> bytes)
{
    // The byte order, and 42 or, for BigTIFF, 43.
    return bytes.size() >= 4 &&
           ((bytes[0] == 'I' && bytes[1] == 'I' && (bytes[2] == 42 || bytes[2] == 43) && bytes[3] == 0) ||
            (bytes[0] == 'M' && bytes[1] == 'M' && bytes[2] == 0 && (bytes[3] == 42 || bytes[3] == 43)));
}

#if ZRK_HAS_TIFF

namespace {

using TiffChannels = std::vector<ImageChannel<2>>;

/// Of a tile as it is decoded, which can't be stopped.
constexpr std::uint64_t kMaxTileBytes = std::uint64_t{16} << 20;
/// Of what libtiff takes at once for its own use.
constexpr tmsize_t kMaxTiffBytes = tmsize_t{1} << 28;

/// How a page may be packed, and how many bytes one byte can stand for at most.
struct Packing {
    std::uint16_t compression;
    std::uint64_t mostPerByte;
};
constexpr Packing kPackings[] = {
    {COMPRESSION_NONE, 1},       {COMPRESSION_LZW, 1500},    {COMPRESSION_ADOBE_DEFLATE, 1100},
    {COMPRESSION_DEFLATE, 1100}, {COMPRESSION_PACKBITS, 64}, {COMPRESSION_JPEG, 2000},
    {COMPRESSION_LZMA, 10000},   {COMPRESSION_ZSTD, 40000}};

struct PageForm {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint16_t bits = 1; ///< of a sample
    std::uint16_t samples = 1;
    std::uint16_t kind = SAMPLEFORMAT_UINT;
    std::uint16_t planes = PLANARCONFIG_CONTIG;
    std::uint16_t compression = COMPRESSION_NONE;
    std::uint16_t colors = PHOTOMETRIC_MINISBLACK;

    bool isPalette() const { return colors == PHOTOMETRIC_PALETTE; }
    bool isApart() const { return planes == PLANARCONFIG_SEPARATE && samples > 1; }
    /// Samples that stand together in a row.
    std::size_t together() const { return isApart() ? 1 : samples; }
    std::size_t channels() const { return isPalette() ? 3 : samples; }
    std::uint64_t rowBytes(std::uint64_t pixels) const { return (pixels * together() * bits + 7) / 8; }
};

class TiffReader {
public:
    TiffReader(std::span<const std::uint8_t> bytes, const std::string& place) : _bytes(bytes), _place(place)
    {
        const std::unique_ptr<TIFFOpenOptions, void (*)(TIFFOpenOptions*)> options(TIFFOpenOptionsAlloc(),
                                                                                   TIFFOpenOptionsFree);
        if (!options) {
            throw std::bad_alloc();
        }
        TIFFOpenOptionsSetMaxSingleMemAlloc(options.get(), kMaxTiffBytes);
        TIFFOpenOptionsSetErrorHandlerExtR(options.get(), onError, this);
        TIFFOpenOptionsSetWarningHandlerExtR(options.get(), onWarning, this);
        _file.reset(TIFFClientOpenExt("picture", "r", this, readBytes, writeBytes, seek, close, sizeOf, map,
                                      unmap, options.get()));
        if (!_file) {
            refuseDamaged();
        }
    }

    /// Goes on to the next page, the first one at first; false behind the last one.
    bool nextPage()
    {
        for (;;) {
            stopIfAsked();
            if (_isBegun && TIFFReadDirectory(_file.get()) == 0) {
                if (_hasFailed) {
                    refuseDamaged();
                }
                return false;
            }
            _isBegun = true;
            std::uint32_t subfile = 0;
            TIFFGetFieldDefaulted(_file.get(), TIFFTAG_SUBFILETYPE, &subfile);
            if ((subfile & (FILETYPE_REDUCEDIMAGE | FILETYPE_MASK)) == 0) {
                return true;
            }
        }
    }

    std::uint64_t pixelCount() const
    {
        const PageForm form = readForm();
        return std::uint64_t{form.width} * form.height;
    }

    TiffChannels readPage()
    {
        PageForm form = readForm();
        check(form);
        if (form.colors == PHOTOMETRIC_YCBCR) {
            TIFFSetField(_file.get(), TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
        }
        checkMemory(static_cast<double>(form.width) * form.height * static_cast<double>(form.channels()) *
                        (form.bits == 16 ? 2 : 1),
                    _place, extents(form), "name a smaller picture");
        const std::array<const std::uint16_t*, 3> palette = paletteOf(form);
        PixelRows rows(form.width, form.height, form.channels(), form.bits == 16 && !form.isPalette());
        _warnings = 0;
        const RowTaker take = [&](std::uint32_t x, std::uint32_t y, std::uint32_t count, std::size_t plane,
                                  const std::uint8_t* row) {
            setRow(form, palette, rows, x, y, count, plane, row);
        };
        if (TIFFIsTiled(_file.get())) {
            readTiles(form, take);
        } else {
            readRows(form, take);
        }
        // The decoder of JPEG fills up what is missing.
        if (form.compression == COMPRESSION_JPEG && _warnings > 0) {
            refuseDamaged();
        }
        return rows.take();
    }

private:
    using RowTaker =
        std::function<void(std::uint32_t, std::uint32_t, std::uint32_t, std::size_t, const std::uint8_t*)>;

    std::span<const std::uint8_t> _bytes;
    const std::string& _place;
    std::uint64_t _at = 0;
    std::unique_ptr<TIFF, void (*)(TIFF*)> _file{nullptr, TIFFClose};
    bool _isBegun = false;
    bool _hasFailed = false;
    int _warnings = 0;
    char _message[200] = ""; ///< of what went wrong first
    std::vector<std::uint8_t> _expanded;

    // What libtiff calls. Nothing may be thrown from these.
    static TiffReader& of(thandle_t reader) { return *static_cast<TiffReader*>(reader); }
    static tmsize_t readBytes(thandle_t handle, void* bytes, tmsize_t size)
    {
        TiffReader& reader = of(handle);
        const std::uint64_t left =
            reader._bytes.size() - std::min<std::uint64_t>(reader._at, reader._bytes.size());
        const std::uint64_t count =
            std::min<std::uint64_t>(left, static_cast<std::uint64_t>(std::max<tmsize_t>(size, 0)));
        if (count > 0) {
            std::memcpy(bytes, reader._bytes.data() + reader._at, count);
        }
        reader._at += count;
        return static_cast<tmsize_t>(count);
    }
    static tmsize_t writeBytes(thandle_t, void*, tmsize_t) { return 0; }
    static toff_t seek(thandle_t handle, toff_t offset, int from)
    {
        TiffReader& reader = of(handle);
        reader._at = offset + (from == SEEK_CUR ? reader._at : from == SEEK_END ? reader._bytes.size() : 0);
        return reader._at;
    }
    static int close(thandle_t) { return 0; }
    static toff_t sizeOf(thandle_t handle) { return of(handle)._bytes.size(); }
    static int map(thandle_t handle, void** base, toff_t* size)
    {
        *base = const_cast<std::uint8_t*>(of(handle)._bytes.data()); // libtiff only reads it
        *size = of(handle)._bytes.size();
        return 1;
    }
    static void unmap(thandle_t, void*, toff_t) {}
    static int onError(TIFF*, void* handle, const char*, const char* format, va_list values)
    {
        TiffReader& reader = of(handle);
        if (!reader._hasFailed) {
            std::vsnprintf(reader._message, sizeof reader._message, format, values);
        }
        reader._hasFailed = true;
        return 1;
    }
    static int onWarning(TIFF*, void* handle, const char*, const char* format, va_list values)
    {
        TiffReader& reader = of(handle);
        if (reader._warnings++ == 0 && !reader._hasFailed) {
            std::vsnprintf(reader._message, sizeof reader._message, format, values);
        }
        return 1;
    }

    [[noreturn]] void refuse(std::string found, std::string expected) const
    {
        throw FaultError({_place, std::move(found), std::move(expected),
                          "save it anew as TIFF of 8 or 16 bit, or as PNG"});
    }
    [[noreturn]] void refuseDamaged() const
    {
        refuse(std::string("damaged data (") + printable(_message) + ")", "a whole TIFF file");
    }

    PageForm readForm() const
    {
        TIFF* const file = _file.get();
        PageForm form;
        TIFFGetField(file, TIFFTAG_IMAGEWIDTH, &form.width);
        TIFFGetField(file, TIFFTAG_IMAGELENGTH, &form.height);
        TIFFGetFieldDefaulted(file, TIFFTAG_BITSPERSAMPLE, &form.bits);
        TIFFGetFieldDefaulted(file, TIFFTAG_SAMPLESPERPIXEL, &form.samples);
        TIFFGetFieldDefaulted(file, TIFFTAG_SAMPLEFORMAT, &form.kind);
        TIFFGetFieldDefaulted(file, TIFFTAG_PLANARCONFIG, &form.planes);
        TIFFGetFieldDefaulted(file, TIFFTAG_COMPRESSION, &form.compression);
        if (!TIFFGetField(file, TIFFTAG_PHOTOMETRIC, &form.colors)) {
            form.colors = form.samples < 3 ? PHOTOMETRIC_MINISBLACK : PHOTOMETRIC_RGB;
        }
        return form;
    }

    static std::string extents(const PageForm& form)
    {
        return std::to_string(form.width) + " x " + std::to_string(form.height) + " pixels";
    }

    void check(const PageForm& form) const
    {
        checkSamples(form);
        checkColors(form);
        const auto* packing = std::find_if(std::begin(kPackings), std::end(kPackings), [&](const Packing& p) {
            return p.compression == form.compression;
        });
        if (packing == std::end(kPackings) || !TIFFIsCODECConfigured(form.compression)) {
            refuse("the compression " + std::to_string(form.compression),
                   "none, LZW, Deflate, PackBits, JPEG, LZMA or Zstandard");
        }
        const std::uint64_t pixels = std::uint64_t{form.width} * form.height;
        if (form.width == 0 || form.height == 0 || form.width > kMaxPngSide || form.height > kMaxPngSide ||
            pixels > kMaxPngPixels) {
            refuse(extents(form), "at least 1 and at most " + std::to_string(kMaxPngPixels) +
                                      ", and at most " + std::to_string(kMaxPngSide) + " along a side");
        }
        const std::uint64_t bytes =
            form.rowBytes(form.width) * form.height * (form.isApart() ? form.samples : 1);
        if (bytes / packing->mostPerByte > _bytes.size()) {
            refuse(extents(form) + " in " + std::to_string(_bytes.size()) + " bytes",
                   "a file long enough to hold them");
        }
    }

    void checkSamples(const PageForm& form) const
    {
        constexpr const char* kKnown = "whole numbers of 8 or 16 bit, or one of 1, 2 or 4 bit a pixel";
        const bool isWhole = form.kind == SAMPLEFORMAT_UINT || form.kind == SAMPLEFORMAT_VOID;
        const bool isSmall = form.bits == 1 || form.bits == 2 || form.bits == 4;
        if (!isWhole) {
            refuse("samples of " + std::to_string(form.bits) + " bit that are " +
                       (form.kind == SAMPLEFORMAT_IEEEFP ? "floating-point numbers"
                                                         : "signed or complex numbers"),
                   kKnown);
        }
        if (form.bits != 8 && form.bits != 16 && !(isSmall && form.samples == 1)) {
            refuse(std::to_string(form.samples) + " samples of " + std::to_string(form.bits) + " bit a pixel",
                   kKnown);
        }
        std::uint32_t depth = 1;
        TIFFGetFieldDefaulted(_file.get(), TIFFTAG_IMAGEDEPTH, &depth);
        if (form.samples == 0 || form.samples > 4 || depth != 1) {
            refuse(depth != 1 ? "a volume in one page" : std::to_string(form.samples) + " samples a pixel",
                   "pages of 1 to 4 samples a pixel");
        }
    }

    void checkColors(const PageForm& form) const
    {
        const bool isJpeg = form.compression == COMPRESSION_JPEG && form.samples == 3 && !form.isApart();
        const bool isKnown = form.colors == PHOTOMETRIC_MINISBLACK || form.colors == PHOTOMETRIC_MINISWHITE ||
                             (form.colors == PHOTOMETRIC_RGB && form.samples >= 3) ||
                             (form.isPalette() && form.samples == 1 && form.bits <= 8) ||
                             (form.colors == PHOTOMETRIC_YCBCR && isJpeg);
        if (!isKnown) {
            refuse("colours of the kind " + std::to_string(form.colors) + " in " +
                       std::to_string(form.samples) + " samples",
                   "grey, red, green and blue, or a palette");
        }
    }

    /// Null where there is none.
    std::array<const std::uint16_t*, 3> paletteOf(const PageForm& form) const
    {
        std::uint16_t* map[3] = {};
        if (form.isPalette() && !TIFFGetField(_file.get(), TIFFTAG_COLORMAP, &map[0], &map[1], &map[2])) {
            refuse("a palette without colours", "a whole TIFF file");
        }
        return {map[0], map[1], map[2]};
    }

    void readRows(const PageForm& form, const RowTaker& take)
    {
        const std::uint64_t size =
            static_cast<std::uint64_t>(std::max<tmsize_t>(TIFFScanlineSize(_file.get()), 0));
        if (size < form.rowBytes(form.width) || size > kMaxTiffBytes) {
            refuseDamaged();
        }
        std::vector<std::uint8_t> row(size);
        for (std::size_t plane = 0; plane < (form.isApart() ? form.samples : 1u); ++plane) {
            for (std::uint32_t y = 0; y < form.height; ++y) {
                stopIfAsked();
                if (TIFFReadScanline(_file.get(), row.data(), y, static_cast<std::uint16_t>(plane)) < 0) {
                    refuseDamaged();
                }
                take(0, y, form.width, plane, row.data());
            }
        }
    }

    void readTiles(const PageForm& form, const RowTaker& take)
    {
        std::uint32_t width = 0;
        std::uint32_t height = 0;
        TIFFGetField(_file.get(), TIFFTAG_TILEWIDTH, &width);
        TIFFGetField(_file.get(), TIFFTAG_TILELENGTH, &height);
        const std::uint64_t size = TIFFTileSize64(_file.get());
        if (width == 0 || height == 0 || size > kMaxTileBytes) {
            refuse("tiles of " + std::to_string(width) + " x " + std::to_string(height) + " pixels",
                   "tiles of at most " + std::to_string(kMaxTileBytes) + " bytes");
        }
        const std::uint64_t rowBytes = form.rowBytes(width);
        if (size == 0 || size < rowBytes * height) {
            refuseDamaged();
        }
        std::vector<std::uint8_t> tile(size);
        for (std::size_t plane = 0; plane < (form.isApart() ? form.samples : 1u); ++plane) {
            for (std::uint32_t top = 0; top < form.height; top += height) {
                for (std::uint32_t left = 0; left < form.width; left += width) {
                    stopIfAsked();
                    if (TIFFReadTile(_file.get(), tile.data(), left, top, 0,
                                     static_cast<std::uint16_t>(plane)) < 0) {
                        refuseDamaged();
                    }
                    for (std::uint32_t y = 0; y < std::min(height, form.height - top); ++y) {
                        take(left, top + y, std::min(width, form.width - left), plane,
                             tile.data() + y * rowBytes);
                    }
                }
            }
        }
    }

    void setRow(const PageForm& form, const std::array<const std::uint16_t*, 3>& palette, PixelRows& rows,
                std::uint32_t x, std::uint32_t y, std::uint32_t count, std::size_t plane,
                const std::uint8_t* row)
    {
        const bool isPlain = form.bits >= 8 && form.colors != PHOTOMETRIC_MINISWHITE && !form.isPalette();
        if (isPlain) {
            rows.set(x, y, count, plane, form.together(), row);
            return;
        }
        if (form.isPalette()) {
            expandColors(form, palette, count, row);
            rows.set(x, y, count, 0, 3, _expanded.data());
            return;
        }
        expandGrey(form, count, plane, row);
        rows.set(x, y, count, plane, form.together(), _expanded.data());
    }

    /// Sample i of a row of less than 8 bit each.
    static unsigned sampleAt(const PageForm& form, const std::uint8_t* row, std::size_t i)
    {
        const std::size_t bit = i * form.bits;
        return row[bit / 8] >> (8 - form.bits - bit % 8) & ((1u << form.bits) - 1);
    }

    void expandColors(const PageForm& form, const std::array<const std::uint16_t*, 3>& palette,
                      std::uint32_t count, const std::uint8_t* row)
    {
        // Entries have 16 bit, but some programs write bytes.
        const std::size_t entries = std::size_t{1} << form.bits;
        const bool isNarrow = std::all_of(palette.begin(), palette.end(), [&](const std::uint16_t* channel) {
            return std::all_of(channel, channel + entries, [](std::uint16_t value) { return value < 256; });
        });
        _expanded.clear();
        for (std::size_t i = 0; i < count; ++i) {
            for (const std::uint16_t* channel : palette) {
                const std::uint16_t value = channel[sampleAt(form, row, i)];
                _expanded.push_back(static_cast<std::uint8_t>(isNarrow ? value : value >> 8));
            }
        }
    }

    void expandGrey(const PageForm& form, std::uint32_t count, std::size_t plane, const std::uint8_t* row)
    {
        const std::size_t step = form.together();
        const bool isTurned = form.colors == PHOTOMETRIC_MINISWHITE;
        if (form.bits == 16) {
            _expanded.assign(row, row + 2 * step * count);
        } else if (form.bits == 8) {
            _expanded.assign(row, row + step * count);
        } else {
            const unsigned most = (1u << form.bits) - 1;
            _expanded.clear();
            for (std::size_t i = 0; i < count; ++i) {
                _expanded.push_back(static_cast<std::uint8_t>(sampleAt(form, row, i) * 255 / most));
            }
        }
        // The others are an alpha channel and the like. All bits turned around are the difference from the
        // most.
        const std::size_t bytes = form.bits == 16 ? 2 : 1;
        for (std::size_t i = 0; isTurned && plane == 0 && i < count; ++i) {
            for (std::size_t b = 0; b < bytes; ++b) {
                std::uint8_t& value = _expanded[i * step * bytes + b];
                value = static_cast<std::uint8_t>(~value);
            }
        }
    }
};

} // namespace

Result<std::vector<ImageChannel<2>>> readTiff(std::span<const std::uint8_t> bytes, const std::string& place)
{
    return attempt(place, [&]() -> Result<TiffChannels> {
        TiffReader reader(bytes, place);
        const auto refuse = [&](const char* found) {
            return refused({place, found, "a TIFF file with one picture",
                            "save one picture; a volume (image3d) takes a TIFF file with many pages"});
        };
        if (!reader.nextPage()) {
            return refuse("a TIFF file without a picture");
        }
        TiffChannels channels = reader.readPage();
        return reader.nextPage() ? refuse("a TIFF file with more than one page")
                                 : Result<TiffChannels>(std::move(channels));
    });
}

Result<std::vector<std::vector<ImageChannel<2>>>>
readTiffPages(std::span<const std::uint8_t> bytes, const std::string& place, std::uint64_t mostPixels)
{
    return attempt(place, [&]() -> Result<std::vector<TiffChannels>> {
        TiffReader reader(bytes, place);
        std::vector<TiffChannels> pages;
        std::uint64_t pixels = 0;
        while (reader.nextPage()) {
            pixels += reader.pixelCount();
            if (pixels > mostPixels) {
                return refused({place,
                                "pages of more than " + std::to_string(mostPixels) + " pixels together",
                                "at most " + std::to_string(mostPixels), "load fewer pages, or smaller ones",
                                FaultKind::FailedWork});
            }
            pages.push_back(reader.readPage());
        }
        if (pages.empty()) {
            return refused(
                {place, "a TIFF file without a picture", "pages that are slices", "save the stack anew"});
        }
        return pages;
    });
}

#else

namespace {

tl::unexpected<Fault> withoutTiff(const std::string& place)
{
    return refused({place, "a TIFF file, which this build can't read", "a PNG picture",
                    "save it as PNG, or install libtiff-dev and build zrk anew with -DZRK_TIFF=ON"});
}

} // namespace

Result<std::vector<ImageChannel<2>>> readTiff(std::span<const std::uint8_t>, const std::string& place)
{
    return withoutTiff(place);
}

Result<std::vector<std::vector<ImageChannel<2>>>> readTiffPages(std::span<const std::uint8_t>,
                                                                const std::string& place, std::uint64_t)
{
    return withoutTiff(place);
}

#endif

} // namespace zrk
