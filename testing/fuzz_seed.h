#pragma once

#include "formats/file_bytes.h"
#include "testing/source_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace zrktest {

using Bytes = std::vector<std::uint8_t>;

/// The bytes of a file that tools/make-fuzz-seeds writes, such as "png_reader/grey8.png".
inline Bytes fuzzSeed(const std::string& name)
{
    return zrk::valueOrThrow(zrk::readFileBytes(sourceFolder() / "fuzz/corpus" / name, 1 << 20));
}

/// Every beginning of a file that lacks more than its last `spare` bytes is refused, with a message.
template <class Read>
void expectBeginningsRefused(const Bytes& whole, std::size_t spare, Read read)
{
    ASSERT_TRUE(read(whole));
    for (std::size_t length = 0; length + spare < whole.size(); ++length) {
        // A copy of just that length, so that the address sanitizer sees reads beyond it.
        const auto result = read(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)));
        ASSERT_FALSE(result) << length;
        ASSERT_EQ(result.error().kind, zrk::FaultKind::BadInput) << length;
        ASSERT_THAT(zrk::messageOf(result.error()),
                    ::testing::ContainsRegex("^bytes(, line [0-9]+)?: found .+, expected .+\n"))
            << length;
    }
}

} // namespace zrktest
