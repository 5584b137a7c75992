#include "formats/jpeg.h"

#include "core/values/stop.h"
#include "formats/picture_file.h"
#include "testing/fuzz_seed.h"
#include "testing/temporary_folder.h"

#include <algorithm>

namespace zrk {
namespace {

using zrktest::Bytes;

Bytes seedJpeg(const std::string& name) { return zrktest::fuzzSeed("jpeg_reader/" + name + ".jpg"); }

Result<std::vector<ImageChannel<2>>> decodeJpeg(const Bytes& bytes) { return readJpeg(bytes, "bytes"); }

#if ZRK_HAS_JPEG

/// The sample that tools/make-fuzz-seeds puts into channel c at (x, y): blocks of 8 x 8 are flat.
int blockSample(std::int64_t x, std::int64_t y, std::int64_t c)
{
    return static_cast<int>((7919 * (x / 8) + 104729 * (y / 8) + 1299709 * c) % 256);
}

TEST(JpegReader, ReadsGreyAndColours)
{
    for (const auto& [name, count] :
         {std::pair("grey", 1u), std::pair("grey_progressive", 1u), std::pair("colour", 3u)}) {
        SCOPED_TRACE(name);
        const auto channels = decodeJpeg(seedJpeg(name));
        ASSERT_TRUE(channels) << messageOf(channels.error());
        ASSERT_EQ(channels->size(), count);
        for (std::size_t c = 0; c < count; ++c) {
            const auto& raster = std::get<Raster<1, 2, std::uint8_t>>((*channels)[c]);
            ASSERT_EQ(std::pair(raster.dims[0], raster.dims[1]), std::pair(20, 11));
            for (std::int32_t y = 0; y < 11; ++y) {
                for (std::int32_t x = 0; x < 20; ++x) {
                    ASSERT_EQ(raster.data[static_cast<std::size_t>(20 * y + x)],
                              blockSample(x, y, static_cast<std::int64_t>(c)))
                        << c << " at " << x << ", " << y;
                }
            }
        }
    }
    // Stored as brightness and two differences of colour: red is Y + 1.402 (Cr - 128), cut off at 0 and 255.
    const auto channels = decodeJpeg(seedJpeg("luminance"));
    ASSERT_TRUE(channels);
    const double red = blockSample(0, 8, 0) + 1.402 * (blockSample(0, 8, 2) - 128);
    const double read = std::get<0>((*channels)[0]).data[std::size_t{20 * 8}];
    EXPECT_NEAR(read, std::clamp(red, 0.0, 255.0), 0.51);
}

TEST(JpegReader, RefusesDamagedAndForeignFiles)
{
    for (const char* name : {"grey", "grey_progressive", "colour"}) {
        SCOPED_TRACE(name);
        zrktest::expectBeginningsRefused(seedJpeg(name), 0, decodeJpeg);
    }
    const std::pair<const char*, const char*> cases[] = {
        {"cmyk", "found a CMYK picture"},
        {"two", "2 channels of unknown colours"},
        {"deep", "precision"},
        {"too_large", "65000 x 65000 pixels, expected at most 268435456"},
        {"too_short", "16000 x 16000 pixels in "},
    };
    for (const auto& [name, part] : cases) {
        const auto channels = decodeJpeg(seedJpeg(name));
        ASSERT_FALSE(channels) << name;
        EXPECT_THAT(messageOf(channels.error()), ::testing::HasSubstr(part));
    }
}

// The decoder leaves by a jump where it is stopped. Fails for one that goes on, and for a picture of scans
// that is read in one go.
TEST(JpegReader, Stops)
{
    StopSign sign;
    sign.raise();
    for (const char* name : {"grey", "grey_progressive"}) {
        const Bytes bytes = seedJpeg(name);
        const StopScope scope(sign);
        EXPECT_EQ(decodeJpeg(bytes).error().kind, FaultKind::Interrupted);
    }
}

#else

TEST(JpegReader, TellsWhatToInstall)
{
    EXPECT_THAT(messageOf(decodeJpeg(seedJpeg("grey")).error()), ::testing::HasSubstr("libjpeg-dev"));
}

#endif

using PictureFile = zrktest::TemporaryFolder;

TEST_F(PictureFile, IsRecognisedByItsContent)
{
    put("a.png", std::string("\xff\xd8\xff\xe0", 4));
    EXPECT_THAT(messageOf(readPictureFile(path("a.png")).error()), ::testing::HasSubstr("JPEG"));
    put("a.jpg", std::string("II*\0", 4));
    EXPECT_THAT(messageOf(readPictureFile(path("a.jpg")).error()), ::testing::HasSubstr("TIFF"));
    const Bytes png = zrktest::fuzzSeed("png_reader/grey8.png");
    put("a.tif", {png.begin(), png.end()});
    EXPECT_TRUE(readPictureFile(path("a.tif")));
    put("b.png", "GIF89a");
    EXPECT_EQ(readPictureFile(path("b.png")).error().expected, "a PNG, JPEG or TIFF picture");
}

} // namespace
} // namespace zrk
