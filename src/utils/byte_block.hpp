#pragma once

// Text in blocks of sixteen bytes, for the loops of this room that run at memory speed. Not for
// other rooms. The last bytes of a text that fill no block go through load_padded.
//
// A Block is the compilers' own vector type, so every machine has one; only the two functions that
// gather a block into a number have a form of their own for SSE2.

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace codetext::byte_block {

inline constexpr std::size_t BLOCK_BYTES = 16;

using Block __attribute__((vector_size(16))) = unsigned char;

/// The sixteen bytes at `at`, which needs no alignment.
inline Block load(const char* at) {
    Block block;
    std::memcpy(&block, at, BLOCK_BYTES);
    return block;
}

/// The bytes of `text` from `offset_bytes` on, and zeros after the end of the text.
inline Block load_padded(std::string_view text, std::size_t offset_bytes) {
    Block block{};
    if (offset_bytes < text.size()) {
        std::memcpy(&block, text.data() + offset_bytes,
                    std::min(BLOCK_BYTES, text.size() - offset_bytes));
    }
    return block;
}

inline void store(char* to, Block block) { std::memcpy(to, &block, BLOCK_BYTES); }

inline Block filled(unsigned char byte) { return Block{} + byte; }

/// 0xFF for each byte of which the comparison holds, 0 for the others.
inline Block equal(Block left, Block right) { return (Block)(left == right); }
inline Block at_most(Block left, Block right) { return (Block)(left <= right); }

/// ASCII capitals in their lower-case form, every other byte as it is.
inline Block folded(Block block) {
    return block + (at_most(block - filled('A'), filled('Z' - 'A')) & filled('a' - 'A'));
}

/// The top bit of each byte, the first byte's as bit 0.
inline std::uint32_t bits(Block block) {
#if defined(__SSE2__)
    return static_cast<std::uint32_t>(_mm_movemask_epi8((__m128i)block));
#else
    std::uint32_t result = 0;
    for (std::size_t i = 0; i < BLOCK_BYTES; ++i) {
        result |= static_cast<std::uint32_t>(block[i] >> 7) << i;
    }
    return result;
#endif
}

/// The sum of the sixteen bytes.
inline std::int64_t sum(Block block) {
#if defined(__SSE2__)
    const __m128i halves = _mm_sad_epu8((__m128i)block, _mm_setzero_si128());
    return _mm_cvtsi128_si64(halves) + _mm_cvtsi128_si64(_mm_unpackhi_epi64(halves, halves));
#else
    std::int64_t result = 0;
    for (std::size_t i = 0; i < BLOCK_BYTES; ++i) result += block[i];
    return result;
#endif
}

/// Offset of the first byte from 0x80 on at or after `from`; the size of the text when there is
/// none. The caller ensures that `from` is at most the text's size.
inline std::size_t ascii_end(std::string_view text, std::size_t from = 0) {
    std::size_t at = from;
    for (; text.size() - at >= 4 * BLOCK_BYTES; at += 4 * BLOCK_BYTES) {
        const char* p = text.data() + at;
        if (bits(load(p) | load(p + 16) | load(p + 32) | load(p + 48)) != 0) break;
    }
    for (; text.size() - at >= BLOCK_BYTES; at += BLOCK_BYTES) {
        const std::uint32_t others = bits(load(text.data() + at));
        if (others != 0) return at + static_cast<std::size_t>(std::countr_zero(others));
    }
    const std::uint32_t others = bits(load_padded(text, at));
    return others == 0 ? text.size() : at + static_cast<std::size_t>(std::countr_zero(others));
}

/// Number of bytes of `text` for which `match`, from a block to 0xFF or 0 for each byte, gives
/// 0xFF. It must give 0 for a zero byte, of which the padding consists.
template <typename Match>
std::int64_t count(std::string_view text, Match match) {
    // A byte of the tally grows by at most one a block: it is added up before it can pass 255.
    constexpr std::size_t TALLY_BYTES = 255 * BLOCK_BYTES;
    std::int64_t result = 0;
    std::size_t at = 0;
    while (text.size() - at >= BLOCK_BYTES) {
        Block tally{};
        const std::size_t whole = (text.size() - at) / BLOCK_BYTES * BLOCK_BYTES;
        const std::size_t end = at + std::min(TALLY_BYTES, whole);
        for (; at < end; at += BLOCK_BYTES) tally -= match(load(text.data() + at));
        result += sum(tally);
    }
    return result + sum(match(load_padded(text, at)) & filled(1));
}

}  // namespace codetext::byte_block
