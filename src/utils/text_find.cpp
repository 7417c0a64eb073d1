#include "utils/text_find.hpp"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <optional>
#include <utility>

#include "utils/byte_block.hpp"

// A needle is looked for by its two rarest bytes: many places of the text at a time are compared
// with both, and only where both agree is the whole needle compared.

namespace codetext::text_find {
namespace {

using byte_block::Block;
using byte_block::BLOCK_BYTES;

/// The bytes that source text is made of, the commonest first, as counted over 290 MB of C, Python,
/// Perl, shell and reStructuredText. A byte that is not listed is taken for rarer than all.
constexpr std::string_view COMMON_BYTES =
    " et_\tr\nisnaocd0lufp,m)(h;x*E-bgTv=RASIkC1>NwLP2/"
    "yDOM.F3{}4B8\"GU6&qX5#:HV9W[]7zK+<Y|!\\%Q'j`";

constexpr std::array<unsigned char, 256> byte_rarity() {
    std::array<unsigned char, 256> result{};
    result.fill(255);
    unsigned char rarity = 0;
    for (const char byte : COMMON_BYTES) result[static_cast<unsigned char>(byte)] = rarity++;
    return result;
}
constexpr std::array<unsigned char, 256> RARITY = byte_rarity();

/// How far into a needle its rare bytes are looked for: a search for each line of a text must not
/// cost a pass over a long needle.
constexpr std::size_t RARE_BYTES_WITHIN = 32;

/// A needle that is not empty, and the offsets in it of two bytes that source text seldom has: the
/// same offset twice in a needle of one byte.
struct Needle {
    std::string_view bytes;
    std::size_t first_rare;
    std::size_t second_rare;
};

Needle with_rare_bytes(std::string_view bytes) {
    const auto rarity = [&](std::size_t i) { return RARITY[static_cast<unsigned char>(bytes[i])]; };
    std::size_t first = 0;
    std::size_t second = bytes.size() > 1 ? 1 : 0;
    if (rarity(second) > rarity(first)) std::swap(first, second);
    for (std::size_t i = 2; i < std::min(bytes.size(), RARE_BYTES_WITHIN); ++i) {
        if (rarity(i) > rarity(first)) {
            second = first;
            first = i;
        } else if (rarity(i) > rarity(second) && bytes[i] != bytes[first]) {
            second = i;
        }
    }
    return {bytes, first, second};
}

/// The sixteen places from `at` on where both rare bytes are, as bits. A place where the needle
/// would pass the end of the text may be among them.
template <typename Comparison>
std::uint32_t places(std::string_view text, const Needle& needle, std::size_t at) {
    const auto holds = [&](std::size_t rare) {
        const std::size_t begin = at + rare;
        const bool whole = begin + BLOCK_BYTES <= text.size();
        const Block block =
            whole ? byte_block::load(text.data() + begin) : byte_block::load_padded(text, begin);
        const auto byte = static_cast<unsigned char>(needle.bytes[rare]);
        return byte_block::equal(Comparison::seen(block), byte_block::filled(byte));
    };
    return byte_block::bits(holds(needle.first_rare) & holds(needle.second_rare));
}

struct Exact {
    static constexpr bool GIVES_UP = true;
    static Block seen(Block block) { return block; }
    static bool equal(const char* text, std::string_view needle) {
        return std::memcmp(text, needle.data(), needle.size()) == 0;
    }
};

struct Folding {
    // Nothing else searches folded text: at worst its time is that of text times needle.
    static constexpr bool GIVES_UP = false;
    static Block seen(Block block) { return byte_block::folded(block); }
    static bool equal(const char* text, std::string_view needle) {
        return std::equal(needle.begin(), needle.end(), text, [](char wanted, char byte) {
            return wanted == (byte >= 'A' && byte <= 'Z' ? byte + ('a' - 'A') : byte);
        });
    }
};

/// Failed comparisons of a whole needle after which a search gives up, on top of one in every
/// PATIENCE_BYTES bytes of text: there the rare bytes are not rare, and each comparison may be as
/// long as the needle.
constexpr std::size_t PATIENCE = 64;
constexpr std::size_t PATIENCE_BYTES = 32;

constexpr std::size_t AT_ONCE = 4 * BLOCK_BYTES;

/// Whether the rare bytes are at none of the next AT_ONCE places: one test passes over most of a
/// text. False near its end, where places() looks.
template <typename Comparison>
bool passes_over(std::string_view text, const Needle& needle, std::size_t at) {
    const std::size_t end = at + AT_ONCE + std::max(needle.first_rare, needle.second_rare);
    if (end > text.size()) return false;
    const auto first =
        byte_block::filled(static_cast<unsigned char>(needle.bytes[needle.first_rare]));
    const auto second =
        byte_block::filled(static_cast<unsigned char>(needle.bytes[needle.second_rare]));
    Block any{};
    for (std::size_t i = 0; i < AT_ONCE; i += BLOCK_BYTES) {
        const char* place = text.data() + at + i;
        const Block one = Comparison::seen(byte_block::load(place + needle.first_rare));
        const Block other = Comparison::seen(byte_block::load(place + needle.second_rare));
        any |= byte_block::equal(one, first) & byte_block::equal(other, second);
    }
    return byte_block::bits(any) == 0;
}

/// The needle's offset or NOT_FOUND; none when the search gave up. The caller ensures that the
/// needle fits into the text from `from` on.
template <typename Comparison>
std::optional<std::size_t> search(std::string_view text, const Needle& needle, std::size_t from) {
    const std::size_t last = text.size() - needle.bytes.size();
    std::size_t failed = 0;
    for (std::size_t at = from; at <= last; at += BLOCK_BYTES) {
        while (passes_over<Comparison>(text, needle, at)) at += AT_ONCE;
        if (at > last) return NOT_FOUND;
        std::uint32_t found = places<Comparison>(text, needle, at);
        for (; found != 0; found &= found - 1) {
            const std::size_t place = at + static_cast<std::size_t>(std::countr_zero(found));
            if (place > last) return NOT_FOUND;
            if (Comparison::equal(text.data() + place, needle.bytes)) return place;
            ++failed;
        }
        if (Comparison::GIVES_UP && failed > PATIENCE + (at - from) / PATIENCE_BYTES) {
            return std::nullopt;
        }
    }
    return NOT_FOUND;
}

std::size_t find_in_repetitive(std::string_view text, std::string_view needle, std::size_t from) {
    const void* place =
        ::memmem(text.data() + from, text.size() - from, needle.data(), needle.size());
    if (place == nullptr) return NOT_FOUND;
    return static_cast<std::size_t>(static_cast<const char*>(place) - text.data());
}

bool fits(std::string_view text, std::string_view needle, std::size_t from) {
    return from <= text.size() && needle.size() <= text.size() - from;
}

}  // namespace

std::size_t find(std::string_view text, std::string_view needle, std::size_t from) {
    if (!fits(text, needle, from)) return NOT_FOUND;
    if (needle.size() < 2) return text.find(needle, from);
    const auto offset = search<Exact>(text, with_rare_bytes(needle), from);
    return offset ? *offset : find_in_repetitive(text, needle, from);
}

std::size_t find_ignoring_ascii_case(std::string_view text, std::string_view needle,
                                     std::size_t from) {
    if (!fits(text, needle, from)) return NOT_FOUND;
    if (needle.empty()) return from;
    return search<Folding>(text, with_rare_bytes(needle), from).value_or(NOT_FOUND);
}

bool lowers_into_ascii(std::string_view text) {
    const std::string_view rest = text.substr(byte_block::ascii_end(text));
    return find(rest, "\u212A") != NOT_FOUND || find(rest, "\u0130") != NOT_FOUND;
}

std::int64_t count_line_feeds(std::string_view text) {
    return byte_block::count(
        text, [](Block block) { return byte_block::equal(block, byte_block::filled('\n')); });
}

}  // namespace codetext::text_find
