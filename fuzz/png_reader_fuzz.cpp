#include "formats/png.h"

#include <zlib.h>

#include <cstdlib>
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

/// Any bytes give either channels of equal extents or a fault.
void check(std::span<const std::uint8_t> bytes)
{
    const auto channels = zrk::readPng(bytes, "bytes");
    if (!channels && channels.error().kind != zrk::FaultKind::BadInput) {
        std::abort();
    }
    for (std::size_t c = 0; channels && c < channels->size(); ++c) {
        const auto pixels = [](const auto& raster) { return raster.data.size(); };
        const std::size_t count = std::visit(pixels, (*channels)[c]);
        if (count == 0 || count != std::visit(pixels, channels->front()) || channels->size() > 4) {
            std::abort();
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    check({bytes, size});
    check(withChecksums({bytes, bytes + size}));
    return 0;
}
