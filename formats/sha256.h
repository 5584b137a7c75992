#pragma once

#include "core/values/export.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace zrk {

/// The digest SHA-256 of bytes that come in pieces.
///
/// Source: NIST, "Secure Hash Standard", FIPS PUB 180-4, 2015.
class ZRK_API Sha256 {
public:
    void add(const void* bytes, std::size_t size);
    void add(const std::string& text) { add(text.data(), text.size()); }
    /// The digest of all that was added, 64 hexadecimal digits.
    std::string hex() const;

private:
    std::array<std::uint32_t, 8> _state = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                                           0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};
    std::array<std::uint8_t, 64> _block{};
    std::uint64_t _size = 0; ///< bytes so far

    void addBlock();
};

} // namespace zrk
