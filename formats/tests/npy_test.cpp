#include "formats/npy.h"

#include "testing/fuzz_seed.h"

#include <utility>

namespace zrk {
namespace {

using zrktest::Bytes;
using Numbers = std::vector<double>;

Numbers numbers(const ImageChannel<3>& channel)
{
    return std::visit([](const auto& raster) { return Numbers(raster.data.begin(), raster.data.end()); },
                      channel);
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
        const auto channel = readNpy(zrktest::fuzzSeed("npy_reader/" + name + ".npy"), "bytes");
        ASSERT_TRUE(channel) << messageOf(channel.error());
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
        {"{'descr': '<i4', 'fortran_order': False, 'shape': (1, 1, 1), }",
         "found values of the type \"<i4\""},
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
        const auto channel = readNpy(arrayFile(c.header, 256), "bytes");
        ASSERT_FALSE(channel);
        EXPECT_THAT(messageOf(channel.error()), ::testing::HasSubstr(c.finding));
    }
    zrktest::expectBeginningsRefused(zrktest::fuzzSeed("npy_reader/uint16_big_fortran.npy"), 0,
                                     [](const Bytes& bytes) { return readNpy(bytes, "bytes"); });
}

} // namespace
} // namespace zrk
