#include "formats/png.h"

#include "testing/fuzz_seed.h"
#include "testing/temporary_folder.h"

#include <spng.h>

#include <memory>
#include <random>
#include <utility>

namespace zrk {
namespace {

using zrktest::Bytes;
using Numbers = std::vector<double>;

Bytes seedPicture(const std::string& name) { return zrktest::fuzzSeed("png_reader/" + name + ".png"); }

constexpr std::int64_t kWidth = 5;
constexpr std::int64_t kHeight = 3;

/// The sample that tools/make-fuzz-seeds puts into channel c at (x, y).
std::int64_t storedSample(std::int64_t x, std::int64_t y, std::int64_t c, int bits)
{
    return (7919 * x + 104729 * y + 1299709 * c + 17) % (std::int64_t{1} << bits);
}

struct SeedFile {
    const char* name;
    int bits;
    int colours; ///< channels without opacity; 0 for a palette
    bool hasAlpha = false;
};

/// Numbers of channel c in the order of the pixels.
Numbers expectedChannel(const SeedFile& file, int c)
{
    const bool namesTransparent = std::string(file.name).ends_with("_transparent");
    const int most = (1 << (file.bits == 16 ? 16 : 8)) - 1;
    Numbers values;
    for (std::int64_t y = 0; y < kHeight; ++y) {
        for (std::int64_t x = 0; x < kWidth; ++x) {
            const std::int64_t i = storedSample(x, y, 0, file.bits);
            const std::int64_t palette[] = {40 * i % 256, (256 + 255 - 16 * i % 256) % 256, i * i % 256,
                                            i == 0   ? 0
                                            : i == 1 ? 100
                                                     : 255};
            if (file.colours == 0) {
                values.push_back(static_cast<double>(palette[c]));
            } else if (c == file.colours && namesTransparent) {
                bool isFirstColour = true;
                for (int k = 0; k < file.colours; ++k) {
                    isFirstColour =
                        isFirstColour && storedSample(x, y, k, file.bits) == storedSample(0, 0, k, file.bits);
                }
                values.push_back(isFirstColour ? 0 : most);
            } else {
                const int scale = file.bits == 16 ? 1 : 255 / ((1 << file.bits) - 1);
                values.push_back(static_cast<double>(storedSample(x, y, c, file.bits) * scale));
            }
        }
    }
    return values;
}

Numbers numbers(const ImageChannel<2>& channel)
{
    return std::visit([](const auto& raster) { return Numbers(raster.data.begin(), raster.data.end()); },
                      channel);
}

TEST(PngReader, ReadsEveryColourTypeAndDepth)
{
    const SeedFile files[] = {
        {"grey1", 1, 1},
        {"grey1_transparent", 1, 1},
        {"grey2", 2, 1},
        {"grey2_transparent", 2, 1},
        {"grey4", 4, 1},
        {"grey4_transparent", 4, 1},
        {"grey8", 8, 1},
        {"grey8_transparent", 8, 1},
        {"grey16", 16, 1},
        {"grey16_transparent", 16, 1},
        {"palette1", 1, 0},
        {"palette1_transparent", 1, 0},
        {"palette2", 2, 0},
        {"palette2_transparent", 2, 0},
        {"palette4", 4, 0},
        {"palette4_transparent", 4, 0},
        {"palette8", 8, 0},
        {"palette8_transparent", 8, 0},
        {"colour8", 8, 3},
        {"colour8_transparent", 8, 3},
        {"colour16", 16, 3},
        {"colour16_transparent", 16, 3},
        {"grey_alpha8", 8, 1, true},
        {"grey_alpha16", 16, 1, true},
        {"colour_alpha8", 8, 3, true},
        {"colour_alpha16", 16, 3, true},
        {"grey1_interlaced", 1, 1},
        {"colour16_interlaced", 16, 3},
    };
    for (const SeedFile& file : files) {
        SCOPED_TRACE(file.name);
        const auto channels = readPng(seedPicture(file.name), "bytes");
        ASSERT_TRUE(channels) << messageOf(channels.error());
        const bool hasAlpha = file.hasAlpha || std::string(file.name).ends_with("_transparent");
        ASSERT_EQ(channels->size(),
                  static_cast<std::size_t>((file.colours == 0 ? 3 : file.colours) + hasAlpha));
        for (std::size_t c = 0; c < channels->size(); ++c) {
            const ImageChannel<2>& channel = (*channels)[c];
            EXPECT_EQ(channel.index(), file.bits == 16 ? 1u : 0u) << "16 bit stays 16 bit, all else is 8 bit";
            EXPECT_EQ(std::visit([](const auto& raster) { return std::pair(raster.dims[0], raster.dims[1]); },
                                 channel),
                      std::pair(static_cast<std::int32_t>(kWidth), static_cast<std::int32_t>(kHeight)));
            EXPECT_EQ(numbers(channel), expectedChannel(file, static_cast<int>(c))) << "channel " << c;
        }
    }
}

TEST(PngReader, RefusesDamagedAndForeignFiles)
{
    const auto read = [](const Bytes& bytes) { return readPng(bytes, "bytes"); };
    for (const char* name : {"grey1", "colour16_interlaced", "palette4_transparent"}) {
        SCOPED_TRACE(name);
        constexpr std::size_t kLastChecksum = 4; // of the chunk without data that ends the file
        zrktest::expectBeginningsRefused(seedPicture(name), kLastChecksum, read);
    }
    Bytes flipped = seedPicture("colour8");
    flipped[flipped.size() / 2] ^= 1;
    EXPECT_FALSE(read(flipped));
    EXPECT_EQ(read(zrktest::fuzzSeed("npy_reader/uint8.npy")).error().expected, "a PNG picture");
}

// Each of these would take gigabytes if its header were believed.
TEST(PngReader, ChecksTheSizeFirst)
{
    struct Case {
        const char* name;
        const char* found;
    };
    for (const Case& c :
         {Case{"too_wide", "2147483647 x 1 pixels"}, Case{"too_large", "100000 x 100000 pixels"},
          Case{"too_short", "16384 x 16384 pixels in "}}) {
        EXPECT_THAT(readPng(seedPicture(c.name), "bytes").error().found, ::testing::StartsWith(c.found));
    }
}

class PngWriter : public zrktest::TemporaryFolder {
protected:
    template <int C>
    void expectRoundTrip()
    {
        std::mt19937 random(7);
        Raster<C, 2, unsigned char> picture(61, 37);
        for (unsigned char& value : picture.data) {
            value = static_cast<unsigned char>(random());
        }
        ASSERT_TRUE(writePng(path("p.png"), picture));
        const std::string bytes = content("p.png");
        const std::unique_ptr<spng_ctx, void (*)(spng_ctx*)> context(spng_ctx_new(0), spng_ctx_free);
        spng_set_png_buffer(context.get(), bytes.data(), bytes.size());
        spng_ihdr header = {};
        ASSERT_EQ(spng_get_ihdr(context.get(), &header), 0);
        EXPECT_EQ(header.width, 61u);
        EXPECT_EQ(header.height, 37u);
        const int format = C == 3 ? SPNG_FMT_RGB8 : SPNG_FMT_RGBA8;
        EXPECT_EQ(header.color_type, C == 3 ? SPNG_COLOR_TYPE_TRUECOLOR : SPNG_COLOR_TYPE_TRUECOLOR_ALPHA);
        std::vector<unsigned char> decoded(picture.data.size());
        ASSERT_EQ(spng_decode_image(context.get(), decoded.data(), decoded.size(), format, 0), 0);
        EXPECT_EQ(decoded, picture.data);
    }
};

TEST_F(PngWriter, DecodesToTheSamePixels)
{
    expectRoundTrip<3>();
    expectRoundTrip<4>();
}

TEST_F(PngWriter, StopsBetweenRowsAndKeepsTheOldFile)
{
    put("p.png", "old");
    const Picture picture(300, 200);
    for (const double last : {0.0, 0.5, 0.99}) {
        double reached = -1;
        const Result<void> written = writePng(path("p.png"), picture, [&](double done) {
            EXPECT_GT(done, reached);
            reached = done;
            return done < last;
        });
        ASSERT_FALSE(written);
        EXPECT_EQ(written.error().kind, FaultKind::Interrupted);
        EXPECT_NEAR(reached, last, 0.011) << "not asked for each row";
        EXPECT_EQ(content("p.png"), "old");
        EXPECT_EQ(entryCount(), 1);
    }
}

TEST_F(PngWriter, KeepsTheOldFileWhenThereIsNothingToWrite)
{
    put("p.png", "old");
    const Result<void> written = writePng(path("p.png"), Picture(0, 5));
    ASSERT_FALSE(written);
    EXPECT_EQ(written.error().kind, FaultKind::FailedWork);
    EXPECT_THAT(written.error().found, ::testing::HasSubstr("0 x 5"));
    EXPECT_EQ(content("p.png"), "old");
    EXPECT_EQ(entryCount(), 1);
}

} // namespace
} // namespace zrk
