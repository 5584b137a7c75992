#include "formats/digest.h"

#include <gtest/gtest.h>

#include <string>

namespace zrk {
namespace {

// What `xxhsum -H2` of Debian's package xxhash gives. Fails for another of its digests, for halves in another
// order, and where pieces aren't joined.
TEST(Digest, AgreesWithXxhsum)
{
    const struct {
        std::string text;
        const char* digest;
    } cases[] = {
        {"", "99aa06d3014798d86001c324468d497f"},
        {"abc", "06b05ab6733a618578af5f94892f3950"},
        {std::string(1000000, 'a'), "a545df8e384a9579b1fd6fae5285c4eb"},
    };
    for (const auto& [text, digest] : cases) {
        for (const std::size_t piece : {std::size_t{1} << 20, std::size_t{257}, std::size_t{7}}) {
            Digest found;
            for (std::size_t i = 0; i < text.size(); i += piece) {
                found.add(text.substr(i, piece));
            }
            EXPECT_EQ(found.hex(), digest) << text.size() << " in pieces of " << piece;
        }
    }
}

} // namespace
} // namespace zrk
