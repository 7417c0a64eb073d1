// The distinct trigrams of a text: a window of three bytes moves over it, and a bitmap with one bit
// for each possible trigram tells whether it was seen. A trigram is written to the list always, and
// the list grows only when its bit was new, so the loop has no branch. Afterwards only the bits
// that were set are cleared: O(text), whatever the size of the bitmap. ASCII text needs seven bits
// a byte, and the part of that bitmap which it touches fits the processor's cache.

#include "storage/chunk_store/compressed/trigrams.hpp"

#include <algorithm>
#include <array>

#include "storage/chunk_store/candidates.hpp"
#include "utils/text_find.hpp"
#include "utils/unicode.hpp"

namespace codetext::chunk_store {

namespace {

constexpr std::array<std::uint8_t, 256> FOLDED = [] {
    std::array<std::uint8_t, 256> folded{};
    for (std::size_t byte = 0; byte < 256; ++byte) {
        folded[byte] = static_cast<std::uint8_t>(byte >= 'A' && byte <= 'Z' ? byte + 32 : byte);
    }
    return folded;
}();

/// Bytes looked at between two resizes of the list: it has room for a trigram each.
constexpr std::size_t WINDOW_BYTES = 1 << 20;

std::uint32_t folded(char byte) { return FOLDED[static_cast<unsigned char>(byte)]; }

/// Moves the three bytes of a trigram from BITS_PER_BYTE apart to eight bits apart.
template <unsigned BITS_PER_BYTE>
std::uint32_t widened(std::uint32_t narrow) {
    constexpr std::uint32_t MASK = (1u << BITS_PER_BYTE) - 1;
    return (narrow >> (2 * BITS_PER_BYTE)) << 16 | (narrow >> BITS_PER_BYTE & MASK) << 8 |
           (narrow & MASK);
}

/// The bits, in word number `word` of the bitmap, of trigrams that end in LF.
template <unsigned BITS_PER_BYTE>
std::uint64_t ending_in_line_feed(std::size_t word) {
    constexpr std::size_t WORDS_A_BYTE = (1u << BITS_PER_BYTE) / 64;
    return word % WORDS_A_BYTE == 0 ? std::uint64_t{1} << '\n' : 0;
}

/// A bitmap in which every trigram that holds an LF counts as seen, so that none is ever found.
template <unsigned BITS_PER_BYTE>
std::vector<std::uint64_t> table_without_line_feeds() {
    constexpr std::size_t BYTES = 1u << BITS_PER_BYTE;
    std::vector<std::uint64_t> seen(BYTES * BYTES * BYTES / 64);
    for (std::size_t word = 0; word < seen.size(); ++word) {
        const std::size_t first = word / (BYTES * BYTES / 64);
        const std::size_t second = word / (BYTES / 64) % BYTES;
        const bool before_last = first == '\n' || second == '\n';
        seen[word] = before_last ? ~std::uint64_t{0} : ending_in_line_feed<BITS_PER_BYTE>(word);
    }
    return seen;
}

bool holds_line_feed(std::uint32_t trigram) {
    return (trigram & 0xFF) == '\n' || (trigram >> 8 & 0xFF) == '\n' || trigram >> 16 == '\n';
}

}  // namespace

TrigramCollector::TrigramCollector() : _seen_ascii(table_without_line_feeds<7>()) {}

template <unsigned BITS_PER_BYTE>
void TrigramCollector::_collect(std::string_view text, std::vector<std::uint64_t>& table) {
    constexpr std::uint32_t MASK = (1u << 3 * BITS_PER_BYTE) - 1;
    if (text.size() < 3) return _found.clear();
    std::size_t found = 0;
    std::uint32_t trigram = folded(text[0]) << BITS_PER_BYTE | folded(text[1]);
    for (std::size_t at = 2; at < text.size(); at += WINDOW_BYTES) {
        const std::string_view window = text.substr(at, WINDOW_BYTES);
        _found.resize(found + window.size());
        for (const char byte : window) {
            trigram = (trigram << BITS_PER_BYTE | folded(byte)) & MASK;
            std::uint64_t& word = table[trigram / 64];
            const std::uint64_t before = word;
            word |= std::uint64_t{1} << trigram % 64;
            _found[found] = trigram;
            found += word != before;
        }
    }
    _found.resize(found);
    for (std::uint32_t& seen : _found) {
        table[seen / 64] = ending_in_line_feed<BITS_PER_BYTE>(seen / 64);
        seen = widened<BITS_PER_BYTE>(seen);
    }
}

std::uint32_t TrigramCollector::append(std::string_view text,
                                       std::vector<std::uint32_t>& trigrams) {
    const std::size_t before = trigrams.size();
    if (unicode::is_ascii(text)) {
        _collect<7>(text, _seen_ascii);
    } else {
        if (_seen_any.empty()) _seen_any = table_without_line_feeds<8>();
        if (text_find::lowers_into_ascii(text)) {
            _collect<8>(std::string(text) + '\n' + unicode::lower(text), _seen_any);
        } else {
            _collect<8>(text, _seen_any);
        }
    }
    trigrams.insert(trigrams.end(), _found.begin(), _found.end());
    return static_cast<std::uint32_t>(trigrams.size() - before);
}

bool narrows(std::string_view needle, bool case_sensitive) {
    return needle.find('\0') == std::string_view::npos &&
           (case_sensitive || unicode::is_ascii(needle));
}

std::optional<TrigramQuery> trigram_query(std::string_view needle) {
    if (unicode::code_points(needle) < 3) return std::nullopt;
    TrigramQuery query;
    for (std::size_t i = 0; i + 3 <= needle.size(); ++i) {
        const std::uint32_t trigram =
            folded(needle[i]) << 16 | folded(needle[i + 1]) << 8 | folded(needle[i + 2]);
        if (!holds_line_feed(trigram)) query.trigrams.push_back(trigram);
    }
    if (query.trigrams.empty()) return std::nullopt;
    std::sort(query.trigrams.begin(), query.trigrams.end());
    const auto end = std::unique(query.trigrams.begin(), query.trigrams.end());
    query.trigrams.erase(end, query.trigrams.end());
    return query;
}

}  // namespace codetext::chunk_store
