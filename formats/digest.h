#pragma once

#include "core/values/export.h"

#include <cstddef>
#include <memory>
#include <string>

namespace zrk {

/// A digest of bytes that come in pieces, by which changed content is noticed. Not one that withstands who
/// wants two contents to have the same.
///
/// Source: XXH3 with 128 bits, https://github.com/Cyan4973/xxHash.
class ZRK_API Digest {
public:
    static constexpr std::size_t kDigits = 32; ///< of hex()

    Digest();
    ~Digest();
    Digest(const Digest&) = delete;
    Digest& operator=(const Digest&) = delete;

    void add(const void* bytes, std::size_t size);
    void add(const std::string& text) { add(text.data(), text.size()); }
    /// The digest of all that was added, hexadecimal.
    std::string hex() const;

private:
    struct State;
    std::unique_ptr<State> _state;
};

} // namespace zrk
