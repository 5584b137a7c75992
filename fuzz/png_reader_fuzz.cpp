#include "formats/png.h"
#include "fuzz/pictures.h"

#include <zlib.h>

#include <vector>

namespace {

/// Gives every chunk the checksum of its data, as few changed files get past the checksums otherwise.
std::vector<std::uint8_t> withChecksums(std::vector<std::uint8_t> bytes)
{
    constexpr std::size_t kSignature = 8;
    constexpr std::size_t kAround = 12; // length, name and checksum
    std::size_t begin = kSignature;
    while (bytes.size() >= kAround && begin <= bytes.size() - kAround) {
        const std::uint8_t* chunk = bytes.data() + begin;
        const std::size_t length = std::size_t{chunk[0]} << 24 | chunk[1] << 16 | chunk[2] << 8 | chunk[3];
        if (length > bytes.size() - kAround - begin) {
            break;
        }
        const std::uint64_t sum = crc32(0, chunk + 4, static_cast<uInt>(length + 4));
        for (std::size_t i = 0; i < 4; ++i) {
            bytes[begin + 8 + length + i] = static_cast<std::uint8_t>(sum >> (24 - 8 * i));
        }
        begin += kAround + length;
    }
    return bytes;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    expectSound(zrk::readPng({bytes, size}, "bytes"));
    expectSound(zrk::readPng(withChecksums({bytes, bytes + size}), "bytes"));
    return 0;
}
