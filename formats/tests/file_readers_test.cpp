#include "formats/file_bytes.h"
#include "formats/npy_reader.h"
#include "formats/png_reader.h"

#include "testing/source_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace zrk {
namespace {

using Bytes = std::vector<std::uint8_t>;
using Numbers = std::vector<double>;

const std::filesystem::path kCorpus = zrktest::sourceFolder() / "fuzz" / "corpus";

/// The files that tools/make-fuzz-seeds writes.
Bytes seed(const std::string& name) { return readFileBytes(kCorpus / name, 1 << 20).value_or(Bytes{}); }
Bytes seedPicture(const std::string& name) { return seed("png_reader/" + name + ".png"); }

constexpr std::int64_t kWidth = 5;
constexpr std::int64_t kHeight = 3;

/// The sample that tools/make-fuzz-seeds puts into channel c at (x, y).
std::int64_t storedSample(std::int64_t x, std::int64_t y, std::int64_t c, int bits)
{
    return (7919 * x + 104729 * y + 1299709 * c + 17) % (std::int64_t{1} << bits);
}

struct PictureFile {
    const char* name;
    int bits;
    int colours; ///< channels without opacity; 0 for a palette
    bool hasAlpha = false;
};

/// Numbers of channel c in the order of the pixels.
Numbers expectedChannel(const PictureFile& file, int c)
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

template <int D>
Numbers numbers(const ImageChannel<D>& channel)
{
    return std::visit([](const auto& raster) { return Numbers(raster.data.begin(), raster.data.end()); },
                      channel);
}

TEST(PngReader, ReadsEveryColourTypeAndDepth)
{
    const PictureFile files[] = {
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
    for (const PictureFile& file : files) {
        SCOPED_TRACE(file.name);
        std::string fault;
        const auto channels = readPng(seedPicture(file.name), &fault);
        ASSERT_TRUE(channels) << fault;
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

/// Every beginning of a file that lacks more than its last `spare` bytes is refused, with a reason.
template <class Read>
void expectBeginningsRefused(const Bytes& whole, std::size_t spare, Read read)
{
    ASSERT_TRUE(read(whole, nullptr));
    for (std::size_t length = 0; length + spare < whole.size(); ++length) {
        std::string fault;
        // A copy of just that length, so that the address sanitizer sees reads beyond it.
        ASSERT_FALSE(read(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)), &fault))
            << length;
        ASSERT_THAT(fault, testing::AllOf(testing::StartsWith("found "), testing::HasSubstr(", expected ")))
            << length;
    }
}

TEST(PngReader, RefusesDamagedAndForeignFiles)
{
    for (const char* name : {"grey1", "colour16_interlaced", "palette4_transparent"}) {
        SCOPED_TRACE(name);
        constexpr std::size_t kLastChecksum = 4; // of the chunk without data that ends the file
        expectBeginningsRefused(seedPicture(name), kLastChecksum,
                                [](const Bytes& bytes, std::string* fault) { return readPng(bytes, fault); });
    }
    std::string fault;
    Bytes flipped = seedPicture("colour8");
    flipped[flipped.size() / 2] ^= 1;
    EXPECT_FALSE(readPng(flipped, &fault));
    EXPECT_FALSE(readPng(seed("npy_reader/uint8.npy"), &fault));
    EXPECT_THAT(fault, testing::HasSubstr("expected a PNG picture"));
}

// Each of these would take gigabytes if its header were believed.
TEST(PngReader, ChecksTheSizeFirst)
{
    struct Case {
        const char* name;
        const char* finding;
    };
    for (const Case& c :
         {Case{"too_wide", "found 2147483647 x 1 pixels"}, Case{"too_large", "found 100000 x 100000 pixels"},
          Case{"too_short", "found 16384 x 16384 pixels in "}}) {
        std::string fault;
        EXPECT_FALSE(readPng(seedPicture(c.name), &fault));
        EXPECT_THAT(fault, testing::StartsWith(c.finding));
    }
}

TEST(NpyReader, ReadsEveryTypeAndOrder)
{
    const std::pair<std::string, std::size_t> types[] = {
        {"uint8", 0},       {"uint16", 1},  {"uint16_big", 1},  {"float32", 2},
        {"float32_big", 2}, {"float64", 3}, {"float64_big", 3},
    };
    std::vector<std::pair<std::string, std::size_t>> files = {{"version2", 2}, {"version3", 2}};
    for (const auto& [name, type] : types) {
        files.emplace_back(name, type);
        files.emplace_back(name + "_fortran", type);
    }
    for (const auto& [name, type] : files) {
        SCOPED_TRACE(name);
        std::string fault;
        const auto channel = readNpy(seed("npy_reader/" + name + ".npy"), &fault);
        ASSERT_TRUE(channel) << fault;
        EXPECT_EQ(channel->index(), type);
        Numbers expected;
        for (int k = 0; k < 2; ++k) {
            for (int j = 0; j < 3; ++j) {
                for (int i = 0; i < 4; ++i) {
                    expected.push_back(100 * k + 10 * j + i + (type >= 2 ? 0.5 : 0));
                }
            }
        }
        EXPECT_EQ(numbers(*channel), expected);
        EXPECT_EQ(
            std::visit([](const auto& raster) { return Numbers(raster.dims, raster.dims + 3); }, *channel),
            (Numbers{4, 3, 2}));
    }
}

/// An array file of format 1 with this header and so many bytes of values.
Bytes arrayFile(const std::string& header, std::size_t bytes)
{
    Bytes file = {0x93, 'N', 'U', 'M', 'P', 'Y', 1, 0, static_cast<std::uint8_t>(header.size()), 0};
    file.insert(file.end(), header.begin(), header.end());
    file.resize(file.size() + bytes);
    return file;
}

TEST(NpyReader, RefusesWhatItCannotRead)
{
    struct Case {
        const char* header;
        const char* finding;
    };
    const Case cases[] = {
        {"{'descr': '<i4', 'fortran_order': False, 'shape': (1, 1, 1), }", "found values of the type '<i4'"},
        {"{'descr': '<f4', 'fortran_order': False, 'shape': (2, 2), }", "found an array of 2 dimensions"},
        {"{'descr': '<f4', 'fortran_order': False, 'shape': (), }", "found an array of 0 dimensions"},
        {"{'descr': '<f4', 'fortran_order': False, 'shape': (4, 0, 4), }", "found a shape without values"},
        {"{'descr': '<f4', 'fortran_order': False, 'shape': (4, 4, 5), }",
         "found 256 bytes of values, expected 320"},
        {"{'descr': '<f4', 'fortran_order': False, 'shape': (2097152, 2097152, 4194304), }",
         "found a shape of more"},
        {"{'descr': '|u1', 'fortran_order': False, 'shape': (99999999999999999999, 1, 1), }",
         "found a shape of more"},
        {"{'descr': '<f4', 'fortran_order': Maybe, 'shape': (1, 1, 1), }",
         "found a header that can't be read"},
        {"{'descr': '<f4', 'shape': (1, 1, 1), }", "found a header that can't be read"},
        {"{'descr': '<f4', 'fortran_order': False, 'shape': (1, -1, 1), }",
         "found a header that can't be read"},
        {"{'descr': [('a', '<f4')], 'fortran_order': False, 'shape': (1, 1, 1), }",
         "found a header that can't be read"},
        {"{'descr': '<f4', 'descr': '<f4', 'fortran_order': False, 'shape': (1, 1, 1), }",
         "found a header that can't be read"},
        {"", "found a header that can't be read"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.header);
        std::string fault;
        EXPECT_FALSE(readNpy(arrayFile(c.header, 256), &fault));
        EXPECT_THAT(fault, testing::StartsWith(c.finding));
    }
    expectBeginningsRefused(seed("npy_reader/uint16_big_fortran.npy"), 0,
                            [](const Bytes& bytes, std::string* fault) { return readNpy(bytes, fault); });
}

TEST(FileReaders, SayWhatIsWrongWithAPath)
{
    std::string fault;
    EXPECT_FALSE(readPngFile(kCorpus / "missing.png", &fault));
    EXPECT_THAT(fault, testing::StartsWith("found no file"));
    EXPECT_FALSE(readPngFile(kCorpus, &fault));
    EXPECT_THAT(fault, testing::StartsWith("found a folder"));
    EXPECT_FALSE(readNpyFile("/dev/zero", &fault)) << "never ends";
    EXPECT_FALSE(readFileBytes(kCorpus / "png_reader/grey8.png", 10, &fault));
    EXPECT_THAT(fault, testing::EndsWith("expected at most 10"));
    EXPECT_TRUE(readPngFile(kCorpus / "png_reader/grey8.png", &fault));
}

} // namespace
} // namespace zrk
