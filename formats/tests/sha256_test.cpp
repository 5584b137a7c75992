#include "formats/sha256.h"

#include <gtest/gtest.h>

#include <string>

namespace zrk {
namespace {

// The examples of the standard (NIST, "Descriptions of SHA-256, SHA-384 and SHA-512", appendix B), and
// lengths around a block's end with what sha256sum of GNU coreutils gives. In one piece and in several.
TEST(Sha256, AgreesWithOthers)
{
    const struct {
        std::string text;
        const char* digest;
    } cases[] = {
        {"", "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
        {"abc", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
        {"abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq",
         "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1"},
        {std::string(1000000, 'a'), "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0"},
        {std::string(55, 'a'), "9f4390f8d30c2dd92ec9f095b65e2b9ae9b0a925a5258e241c9f1e910f734318"},
        {std::string(64, 'a'), "ffe054fe7ae0cb6dc65c3af9b61d5209f439851db43d0ba5997337df154668eb"},
    };
    for (const auto& [text, digest] : cases) {
        for (const std::size_t piece : {std::size_t{1} << 20, std::size_t{63}, std::size_t{7}}) {
            Sha256 found;
            for (std::size_t i = 0; i < text.size(); i += piece) {
                found.add(text.substr(i, piece));
            }
            EXPECT_EQ(found.hex(), digest) << text.size() << " in pieces of " << piece;
        }
    }
}

} // namespace
} // namespace zrk
