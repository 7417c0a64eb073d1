#include <bit>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "utils/byte_block.hpp"
#include "utils/unicode.hpp"

// Counting code points. Each has exactly one byte that is not a continuation byte (10xxxxxx), so
// the other bytes are counted, sixteen at a time.

namespace codetext::unicode {
namespace {

using byte_block::Block;
using byte_block::BLOCK_BYTES;

Block continuations(Block block) {
    using byte_block::filled;
    return byte_block::equal(block & filled(0xC0), filled(0x80));
}

bool is_continuation(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

}  // namespace

std::int64_t code_points(std::string_view text) {
    return static_cast<std::int64_t>(text.size()) - byte_block::count(text, continuations);
}

std::size_t byte_offset(std::string_view text, std::int64_t code_point_offset) {
    std::size_t at = 0;
    std::int64_t left = code_point_offset;
    for (; text.size() - at >= BLOCK_BYTES; at += BLOCK_BYTES) {
        const auto begun = std::popcount(
            0xFFFFU & ~byte_block::bits(continuations(byte_block::load(text.data() + at))));
        // The code point looked for begins in this block.
        if (begun > left) break;
        left -= begun;
    }
    for (; at < text.size(); ++at) {
        if (is_continuation(text[at])) continue;
        if (left == 0) return at;
        --left;
    }
    return text.size();
}

}  // namespace codetext::unicode
