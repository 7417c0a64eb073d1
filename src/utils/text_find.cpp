#include "utils/text_find.hpp"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <string>
#include <utility>

#include "utils/byte_block.hpp"

// A needle is looked for by its two rarest bytes: many places of the text at a time are compared
// with both, and the whole needle is compared only where both agree. On source text that takes
// about as long as reading the text.
//
// Where the rare bytes turn out to be common, each place could cost as many comparisons as the
// needle has bytes. So comparisons draw on a budget that grows with the text passed over. When it
// is spent, memmem goes on from that place, in time linear in text and needle: glibc's uses the
// two-way algorithm (M. Crochemore and D. Perrin, "Two-way string-matching", Journal of the ACM
// 38(3), 1991) for a needle above 256 bytes, and a table of skips below. A search that ignores case
// hands memmem a folded copy of one window of the text after the other.

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

/// The rare bytes are chosen among this many first bytes of a needle, so that starting a search,
/// which happens once for each matching line, costs no pass over a long needle.
constexpr std::size_t RARE_BYTES_WITHIN = 32;

/// A needle that is not empty, and the offsets in it of two bytes that are rare in source text. In
/// a needle of one byte both offsets are the same.
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

/// The places among the sixteen from `at` on where both rare bytes are, as bits. At some of them
/// the needle may reach past the end of the text.
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
    static Block seen(Block block) { return block; }
    static bool equal(const char* text, std::string_view needle) {
        return std::memcmp(text, needle.data(), needle.size()) == 0;
    }
};

struct Folding {
    static Block seen(Block block) { return byte_block::folded(block); }
    static bool equal(const char* text, std::string_view needle) {
        return std::equal(needle.begin(), needle.end(), text, [](char wanted, char byte) {
            return wanted == (byte >= 'A' && byte <= 'Z' ? byte + ('a' - 'A') : byte);
        });
    }
};

/// How many bytes a search compares before it hands over to memmem.
class Budget {
  public:
    /// Whether more was compared than the bytes passed over allow.
    bool is_spent(std::size_t bytes_passed) const {
        return _compared_bytes > AT_FIRST + PER_BYTE * bytes_passed;
    }

    /// Compares the needle part by part, so that what it charges is near what was compared.
    template <typename Comparison>
    bool equal(const char* text, std::string_view needle) {
        _compared_bytes += PER_COMPARISON;
        for (std::size_t at = 0; at < needle.size(); at += STEP_BYTES) {
            const std::string_view part = needle.substr(at, STEP_BYTES);
            _compared_bytes += part.size();
            if (!Comparison::equal(text + at, part)) return false;
        }
        return true;
    }

  private:
    static constexpr std::size_t AT_FIRST = 4096;
    static constexpr std::size_t PER_BYTE = 2;
    static constexpr std::size_t PER_COMPARISON = 64;  ///< what a comparison costs in any case
    static constexpr std::size_t STEP_BYTES = 64;
    std::size_t _compared_bytes = 0;
};

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

/// How a search ended: with the needle's offset or NOT_FOUND, or else with a spent budget.
struct Outcome {
    std::size_t offset;
    bool is_spent;  ///< the needle is not before `offset`; nobody has looked from there on
};

/// The caller ensures that the needle fits into the text from `from` on.
template <typename Comparison>
Outcome search(std::string_view text, const Needle& needle, std::size_t from) {
    const std::size_t last = text.size() - needle.bytes.size();
    Budget budget;
    for (std::size_t at = from; at <= last; at += BLOCK_BYTES) {
        while (passes_over<Comparison>(text, needle, at)) at += AT_ONCE;
        if (at > last) break;
        if (budget.is_spent(at - from)) return {at, true};
        std::uint32_t found = places<Comparison>(text, needle, at);
        for (; found != 0; found &= found - 1) {
            const std::size_t place = at + static_cast<std::size_t>(std::countr_zero(found));
            if (place > last) break;
            if (budget.equal<Comparison>(text.data() + place, needle.bytes)) return {place, false};
        }
    }
    return {NOT_FOUND, false};
}

std::size_t find_in_repetitive(std::string_view text, std::string_view needle, std::size_t from) {
    const void* place =
        ::memmem(text.data() + from, text.size() - from, needle.data(), needle.size());
    if (place == nullptr) return NOT_FOUND;
    return static_cast<std::size_t>(static_cast<const char*>(place) - text.data());
}

std::string folded(std::string_view text) {
    std::string result(text);
    for (char& byte : result) {
        if (byte >= 'A' && byte <= 'Z') byte = static_cast<char>(byte + ('a' - 'A'));
    }
    return result;
}

/// As find_in_repetitive, in the folded form of the text. A window begins where the needle
/// could still begin after the window before. Windows grow, so that a needle nearby costs little,
/// and are several times as long as the needle, so that what two of them share does not count.
std::size_t find_in_repetitive_folded(std::string_view text, std::string_view needle,
                                      std::size_t from) {
    constexpr std::size_t MIN_BYTES = 1 << 12;
    constexpr std::size_t MAX_BYTES = 1 << 16;
    std::size_t size = std::max(MIN_BYTES, 2 * needle.size());
    while (from + needle.size() <= text.size()) {
        const std::string window = folded(text.substr(from, size));
        const std::size_t place = find_in_repetitive(window, needle, 0);
        if (place != NOT_FOUND) return from + place;
        if (window.size() < size) break;
        from += size - (needle.size() - 1);
        size = std::min(2 * size, std::max(MAX_BYTES, 4 * needle.size()));
    }
    return NOT_FOUND;
}

bool fits(std::string_view text, std::string_view needle, std::size_t from) {
    return from <= text.size() && needle.size() <= text.size() - from;
}

}  // namespace

std::size_t find(std::string_view text, std::string_view needle, std::size_t from) {
    if (!fits(text, needle, from)) return NOT_FOUND;
    if (needle.size() < 2) return text.find(needle, from);
    const auto [offset, is_spent] = search<Exact>(text, with_rare_bytes(needle), from);
    return is_spent ? find_in_repetitive(text, needle, offset) : offset;
}

std::size_t find_ignoring_ascii_case(std::string_view text, std::string_view needle,
                                     std::size_t from) {
    if (!fits(text, needle, from)) return NOT_FOUND;
    if (needle.empty()) return from;
    const auto [offset, is_spent] = search<Folding>(text, with_rare_bytes(needle), from);
    return is_spent ? find_in_repetitive_folded(text, needle, offset) : offset;
}

bool lowers_into_ascii(std::string_view text) {
    const std::string_view rest = text.substr(byte_block::ascii_end(text));
    return find(rest, "\u212A") != NOT_FOUND || find(rest, "\u0130") != NOT_FOUND;
}

std::size_t line_begin(std::string_view text, std::size_t from, std::size_t offset) {
    const std::size_t feed = text.substr(from, offset - from).rfind('\n');
    return feed == std::string_view::npos ? from : from + feed + 1;
}

std::int64_t count_line_feeds(std::string_view text) {
    return byte_block::count(
        text, [](Block block) { return byte_block::equal(block, byte_block::filled('\n')); });
}

}  // namespace codetext::text_find
