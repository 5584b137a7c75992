#include "formats/digest.h"

#include <fmt/format.h>

// All of it stands in the header, so that programs need no library.
#define XXH_INLINE_ALL
#include <xxhash.h>

namespace zrk {

struct Digest::State {
    XXH3_state_t state;
};

Digest::Digest() : _state(std::make_unique<State>()) { XXH3_128bits_reset(&_state->state); }

Digest::~Digest() = default;

void Digest::add(const void* bytes, std::size_t size) { XXH3_128bits_update(&_state->state, bytes, size); }

std::string Digest::hex() const
{
    const XXH128_hash_t hash = XXH3_128bits_digest(&_state->state);
    return fmt::format("{:016x}{:016x}", hash.high64, hash.low64);
}

} // namespace zrk
