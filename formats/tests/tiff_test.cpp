#include "formats/tiff.h"

#include "formats/slices.h"
#include "testing/fuzz_seed.h"
#include "testing/slice_folder.h"

#if ZRK_HAS_TIFF
#include <tiffio.h>
#endif

#include <filesystem>
#include <string>
#include <string_view>

namespace zrk {
namespace {

using zrktest::Bytes;

Bytes seedTiff(const std::string& name) { return zrktest::fuzzSeed("tiff_reader/" + name + ".tif"); }

Result<std::vector<ImageChannel<2>>> decodeTiff(const Bytes& bytes) { return readTiff(bytes, "bytes"); }

#if ZRK_HAS_TIFF

/// What tools/make-fuzz-seeds puts into channel c at (x, y), as it is read.
double expectedSample(std::int64_t x, std::int64_t y, std::int64_t c, int bits, std::string_view name)
{
    const bool isPalette = name.starts_with("palette");
    const std::int64_t i =
        (7919 * x + 104729 * y + 1299709 * (isPalette ? 0 : c) + 17) % (std::int64_t{1} << bits);
    const std::int64_t palette[] = {40 * i % 256, (256 + 255 - 16 * i % 256) % 256, i * i % 256};
    const int most = bits == 16 ? 65535 : 255;
    const std::int64_t value = isPalette ? palette[c] : bits < 8 ? i * 255 / ((1 << bits) - 1) : i;
    return static_cast<double>(name.ends_with("_turned") ? most - value : value);
}

TEST(TiffReader, ReadsEveryForm)
{
    struct Case {
        const char* name;
        int bits;
        std::size_t channels;
    };
    const Case cases[] = {
        {"grey1", 1, 1},
        {"grey2", 2, 1},
        {"grey4", 4, 1},
        {"grey8", 8, 1},
        {"grey16", 16, 1},
        {"grey1_turned", 1, 1},
        {"grey2_turned", 2, 1},
        {"grey4_turned", 4, 1},
        {"grey8_turned", 8, 1},
        {"grey16_turned", 16, 1},
        {"palette1", 1, 3},
        {"palette2", 2, 3},
        {"palette4", 4, 3},
        {"palette8", 8, 3},
        {"colour8", 8, 3},
        {"colour16", 16, 3},
        {"colour8_big_planes", 8, 3},
        {"colour16_big_planes", 16, 3},
        {"colour_alpha8_tiles", 8, 4},
        {"colour_alpha16_tiles", 16, 4},
        {"colour_alpha8_tiled_planes", 8, 4},
        {"colour_alpha16_tiled_planes", 16, 4},
        {"grey_alpha8_long", 8, 2},
        {"grey_alpha16_long", 16, 2},
    };
    for (const Case& file : cases) {
        SCOPED_TRACE(file.name);
        const auto channels = decodeTiff(seedTiff(file.name));
        ASSERT_TRUE(channels) << messageOf(channels.error());
        ASSERT_EQ(channels->size(), file.channels);
        for (std::size_t c = 0; c < file.channels; ++c) {
            EXPECT_EQ((*channels)[c].index(), file.bits == 16 ? 1u : 0u);
            std::visit(
                [&](const auto& raster) {
                    ASSERT_EQ(std::pair(raster.dims[0], raster.dims[1]), std::pair(5, 3));
                    for (std::int32_t y = 0; y < 3; ++y) {
                        for (std::int32_t x = 0; x < 5; ++x) {
                            ASSERT_EQ(
                                static_cast<double>(raster.data[static_cast<std::size_t>(5 * y + x)]),
                                expectedSample(x, y, static_cast<std::int64_t>(c), file.bits, file.name))
                                << c << " at " << x << ", " << y;
                        }
                    }
                },
                (*channels)[c]);
        }
    }
}

TEST(TiffReader, RefusesDamagedAndForeignFiles)
{
    for (const char* name : {"grey8", "colour16_big_planes", "colour_alpha8_tiles", "grey_alpha8_long"}) {
        SCOPED_TRACE(name);
        constexpr std::size_t kLinkBytes = 8; // to a next page, which may break off
        zrktest::expectBeginningsRefused(seedTiff(name), kLinkBytes, decodeTiff);
    }
    const std::pair<const char*, const char*> cases[] = {
        {"stack", "more than one page"},
        {"float", "samples of 32 bit that are floating-point numbers"},
        {"wide", "1 samples of 32 bit a pixel"},
        {"signed", "signed"},
        {"cmyk", "colours of the kind 5 in 4 samples"},
        {"fax", "the compression 4"},
        {"five", "5 samples a pixel"},
        {"too_large", "100000 x 100000 pixels, expected at least 1 and at most 268435456"},
        {"too_short", "16000 x 16000 pixels in "},
        {"large_tiles", "tiles of 65536 x 65536 pixels"},
        {"empty", ""},
    };
    for (const auto& [name, part] : cases) {
        SCOPED_TRACE(name);
        ::testing::internal::CaptureStderr();
        const auto channels = decodeTiff(seedTiff(name));
        EXPECT_EQ(::testing::internal::GetCapturedStderr(), "") << "libtiff's own messages";
        ASSERT_FALSE(channels);
        EXPECT_EQ(channels.error().kind, FaultKind::BadInput);
        EXPECT_THAT(messageOf(channels.error()), ::testing::HasSubstr(part));
    }
}

class TiffStack : public zrktest::SliceFolder {
protected:
    std::filesystem::path copyOf(const std::string& seed)
    {
        const Bytes bytes = seedTiff(seed);
        put(seed + ".tif", {bytes.begin(), bytes.end()});
        return folder / (seed + ".tif");
    }
};

TEST_F(TiffStack, IsThePagesButForThumbnails)
{
    const auto channels = readStackFile(copyOf("stack"), nullptr);
    ASSERT_TRUE(channels) << messageOf(channels.error());
    ASSERT_EQ(channels->size(), 1u);
    const auto& voxels = std::get<Raster<1, 3, std::uint16_t>>(channels->front());
    ASSERT_EQ(voxels.dims[2], 3);
    for (std::int32_t k = 0; k < 3; ++k) {
        EXPECT_EQ(voxels.data[static_cast<std::size_t>(15 * k + 1)], 7919 + 17 + k);
    }
    EXPECT_THAT(messageOf(readStackFile(copyOf("unlike"), nullptr).error()),
                ::testing::HasSubstr("unlike.tif, page 2: found 5 x 3 pixels of 1 channel of 16 bit"));
    EXPECT_THAT(messageOf(readStackFile(copyOf("stack"), nullptr, 44).error()),
                ::testing::HasSubstr("at most 44"));
    EXPECT_TRUE(readStackFile(copyOf("stack"), nullptr, 45));
}

TEST_F(TiffStack, MayBeAFolderOfPagesOfOneKind)
{
    std::filesystem::copy_file(copyOf("grey16"), folder / "b.TIFF");
    const auto channels = readStackFolder(folder, nullptr);
    ASSERT_TRUE(channels) << messageOf(channels.error());
    EXPECT_EQ(std::get<1>(channels->front()).dims[2], 2);
    slice("a.png", "grey16");
    EXPECT_THAT(messageOf(readStackFolder(folder, nullptr).error()),
                ::testing::HasSubstr("found TIFF beside PNG"));
}

// Written by libtiff itself, with the packings that seeds don't have; a row of random bytes and one of zeros.
TEST_F(TiffStack, IsReadFromEveryPacking)
{
    constexpr std::uint32_t kWidth = 300;
    constexpr std::uint32_t kHeight = 200;
    std::vector<std::uint16_t> samples(kWidth * kHeight);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        samples[i] = i / kWidth % 2 == 0 ? static_cast<std::uint16_t>(i * i * 40503u >> 7) : 0;
    }
    for (const std::uint16_t packing : {COMPRESSION_LZW, COMPRESSION_ADOBE_DEFLATE, COMPRESSION_PACKBITS,
                                        COMPRESSION_LZMA, COMPRESSION_ZSTD}) {
        SCOPED_TRACE(packing);
        const std::string file = path("packed.tif");
        TIFF* tiff = TIFFOpen(file.c_str(), "w");
        TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, kWidth);
        TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, kHeight);
        TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 16);
        TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 1);
        TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
        TIFFSetField(tiff, TIFFTAG_COMPRESSION, packing);
        if (packing != COMPRESSION_PACKBITS) {
            TIFFSetField(tiff, TIFFTAG_PREDICTOR, 2);
        }
        TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, 64);
        for (std::uint32_t y = 0; y < kHeight; ++y) {
            std::vector<std::uint16_t> row(&samples[y * kWidth],
                                           &samples[y * kWidth] + kWidth); // is changed by it
            ASSERT_EQ(TIFFWriteScanline(tiff, row.data(), y, 0), 1);
        }
        TIFFClose(tiff);
        const std::string bytes = content("packed.tif");
        const auto channels = decodeTiff({bytes.begin(), bytes.end()});
        ASSERT_TRUE(channels) << messageOf(channels.error());
        EXPECT_EQ(std::get<1>(channels->front()).data, samples);
    }
}

#else

TEST(TiffReader, TellsWhatToInstall)
{
    EXPECT_THAT(messageOf(decodeTiff(seedTiff("grey8")).error()), ::testing::HasSubstr("libtiff-dev"));
}

#endif

} // namespace
} // namespace zrk
