#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "utils/byte_block.hpp"
#include "utils/unicode.hpp"

// Joining lines. Blocks of sixteen bytes are tested for bytes that may begin a boundary other than
// LF; only there is the text looked at byte by byte. Most files have no such boundary and are
// returned as they are. In the others each boundary becomes an LF, and the text after it moves
// forward in the same buffer. Linear time, no second buffer.

namespace codetext::unicode {
namespace {

using byte_block::Block;
using byte_block::BLOCK_BYTES;

/// A line boundary other than a lone LF, which may stay as it is.
struct Boundary {
    std::size_t offset_bytes;  ///< the size of the text when there is none
    std::size_t size_bytes;
};

/// 0xFF for every byte that may begin a boundary other than LF, and for a few bytes that do not:
/// U+000E, U+001B, and every lead byte 0xC2 or 0xE2. One comparison finds 0x0B to 0x0E and 0x1B to
/// 0x1E, since the ranges differ in one bit only; another finds 0xC2 and 0xE2, which do so too.
Block candidates(Block block) {
    using byte_block::filled;
    const Block controls = byte_block::at_most((block - filled(0x0B)) & filled(0xEF), filled(3));
    return controls | byte_block::equal(block & filled(0xDF), filled(0xC2));
}

/// Size in bytes of the boundary other than LF that begins at `at`; 0 when none does.
std::size_t boundary_size(std::string_view text, std::size_t at) {
    const std::string_view rest = text.substr(at);
    switch (static_cast<unsigned char>(rest.front())) {
        case 0x0D:
            return rest.starts_with("\r\n") ? 2 : 1;
        case 0x0B:
        case 0x0C:
        case 0x1C:
        case 0x1D:
        case 0x1E:
            return 1;
        case 0xC2:
            return rest.starts_with("\xC2\x85") ? 2 : 0;
        case 0xE2:
            return rest.starts_with("\xE2\x80\xA8") || rest.starts_with("\xE2\x80\xA9") ? 3 : 0;
        default:
            return 0;
    }
}

/// The first boundary among the candidates of the block at `at`, none when it holds none.
std::optional<Boundary> first_boundary(std::string_view text, std::size_t at, std::uint32_t found) {
    for (; found != 0; found &= found - 1) {
        const std::size_t offset = at + static_cast<std::size_t>(std::countr_zero(found));
        const std::size_t size = boundary_size(text, offset);
        if (size != 0) return Boundary{offset, size};
    }
    return std::nullopt;
}

Boundary next_boundary(std::string_view text, std::size_t from) {
    std::size_t at = from;
    for (; text.size() - at >= BLOCK_BYTES; at += BLOCK_BYTES) {
        const std::uint32_t found =
            byte_block::bits(candidates(byte_block::load(text.data() + at)));
        if (found == 0) continue;
        if (const auto boundary = first_boundary(text, at, found)) return *boundary;
    }
    const std::uint32_t found = byte_block::bits(candidates(byte_block::load_padded(text, at)));
    return first_boundary(text, at, found).value_or(Boundary{text.size(), 0});
}

/// Puts an LF in the place of every boundary from `boundary` on. No boundary is shorter than an LF,
/// so the text only ever moves towards its front.
void put_line_feeds(std::string& text, Boundary boundary) {
    std::size_t written = boundary.offset_bytes;
    while (boundary.size_bytes != 0) {
        text[written++] = '\n';
        const std::size_t begin = boundary.offset_bytes + boundary.size_bytes;
        boundary = next_boundary(text, begin);
        const std::size_t size = boundary.offset_bytes - begin;
        std::memmove(text.data() + written, text.data() + begin, size);
        written += size;
    }
    text.resize(written);
}

}  // namespace

std::optional<std::string> joined_lines(std::string text) {
    if (text.empty()) return std::nullopt;
    const Boundary boundary = next_boundary(text, 0);
    if (boundary.size_bytes != 0) put_line_feeds(text, boundary);
    if (text.back() == '\n') text.pop_back();
    return text;
}

}  // namespace codetext::unicode
