#include "engine/recording/ByteHash.h"

#define XXH_INLINE_ALL
// Without full optimisation, its functions cannot all be inlined as it demands.
#ifndef NDEBUG
#define XXH_NO_INLINE_HINTS 1
#endif
#include <xxhash.h>

struct ByteHash::State
{
    XXH3_state_t hash = {};
};

ByteHash::ByteHash() : state(std::make_unique<State>())
{
    XXH3_64bits_reset(&state->hash);
}

ByteHash::~ByteHash() = default;
ByteHash::ByteHash(ByteHash &&) noexcept = default;
ByteHash &ByteHash::operator=(ByteHash &&) noexcept = default;

void ByteHash::add(ByteView bytes)
{
    XXH3_64bits_update(&state->hash, bytes.data(), bytes.size());
}

std::uint64_t ByteHash::value() const
{
    return XXH3_64bits_digest(&state->hash);
}

std::uint64_t hashOf(ByteView bytes)
{
    return XXH3_64bits(bytes.data(), bytes.size());
}
