#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

#include "utils/byte_block.hpp"
#include "utils/unicode.hpp"

// Decoding UTF-8. A first pass looks for an ill-formed subsequence: ASCII goes by in blocks of
// sixteen bytes, every other sequence is checked against Table 3-7 of the Unicode Standard. Most
// files have no ill-formed subsequence and are returned as they are. In the others each one becomes
// U+FFFD, and the text between them is copied. Linear time, one pass and at most one copy.

namespace codetext::unicode {
namespace {

constexpr std::string_view REPLACEMENT = "\xEF\xBF\xBD";

struct Subsequence {
    std::size_t size_bytes;
    bool well_formed;
};

/// What a lead byte says of its sequence: the length, and the range of the second byte (the Unicode
/// Standard, Table 3-7). A length of 0 stands for a byte that leads no sequence.
struct Lead {
    std::size_t size_bytes;
    unsigned char second_first;
    unsigned char second_last;
};

Lead lead_of(unsigned char byte) {
    if (byte < 0xC2 || byte > 0xF4) return {0, 0, 0};
    if (byte < 0xE0) return {2, 0x80, 0xBF};
    if (byte == 0xE0) return {3, 0xA0, 0xBF};  // from U+0800: no longer form than needed
    if (byte == 0xED) return {3, 0x80, 0x9F};  // no surrogates
    if (byte < 0xF0) return {3, 0x80, 0xBF};
    if (byte == 0xF0) return {4, 0x90, 0xBF};  // from U+10000
    if (byte == 0xF4) return {4, 0x80, 0x8F};  // up to U+10FFFF
    return {4, 0x80, 0xBF};
}

/// The well-formed sequence that begins at `at`, or the maximal subpart of an ill-formed one.
/// REQUIRES: the byte at `at` is not ASCII.
Subsequence subsequence_at(std::string_view bytes, std::size_t at) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(bytes[at + i]); };
    const Lead lead = lead_of(byte(0));
    const std::size_t left = bytes.size() - at;
    if (lead.size_bytes == 0 || left < 2) return {1, false};
    if (byte(1) < lead.second_first || byte(1) > lead.second_last) return {1, false};
    for (std::size_t i = 2; i < lead.size_bytes; ++i) {
        if (i == left || (byte(i) & 0xC0) != 0x80) return {i, false};
    }
    return {lead.size_bytes, true};
}

/// Where the first ill-formed subsequence at or after `from` begins; the size when there is none.
std::size_t well_formed_end(std::string_view bytes, std::size_t from) {
    std::size_t at = from;
    while (at < bytes.size()) {
        if (static_cast<unsigned char>(bytes[at]) < 0x80) {
            at = byte_block::ascii_end(bytes, at);
            continue;
        }
        const Subsequence next = subsequence_at(bytes, at);
        if (!next.well_formed) break;
        at += next.size_bytes;
    }
    return at;
}

std::string with_replacements(std::string_view bytes, std::size_t ill_formed) {
    std::string text;
    text.reserve(bytes.size() + bytes.size() / 8 + REPLACEMENT.size());
    std::size_t copied = 0;
    while (ill_formed < bytes.size()) {
        text.append(bytes, copied, ill_formed - copied).append(REPLACEMENT);
        copied = ill_formed + subsequence_at(bytes, ill_formed).size_bytes;
        ill_formed = well_formed_end(bytes, copied);
    }
    return text.append(bytes, copied);
}

}  // namespace

bool is_ascii(std::string_view text) { return byte_block::ascii_end(text) == text.size(); }

std::string decode(std::string bytes) {
    const std::size_t ill_formed = well_formed_end(bytes, 0);
    if (ill_formed == bytes.size()) return bytes;
    return with_replacements(bytes, ill_formed);
}

std::size_t sequence_bytes(std::string_view text) {
    if (text.empty() || static_cast<unsigned char>(text[0]) < 0x80) return text.empty() ? 0 : 1;
    const Subsequence first = subsequence_at(text, 0);
    return first.well_formed ? first.size_bytes : 0;
}

}  // namespace codetext::unicode
