#include "storage/chunk_store/trigrams.hpp"

#include <algorithm>
#include <array>

#include "storage/chunk_store.hpp"
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

std::uint32_t folded(char byte) { return FOLDED[static_cast<unsigned char>(byte)]; }

/// The trigram whose bytes stand BITS_PER_BYTE apart, with its bytes eight bits apart.
template <unsigned BITS_PER_BYTE>
std::uint32_t widened(std::uint32_t narrow) {
    constexpr std::uint32_t MASK = (1u << BITS_PER_BYTE) - 1;
    return (narrow >> (2 * BITS_PER_BYTE)) << 16 | (narrow >> BITS_PER_BYTE & MASK) << 8 |
           (narrow & MASK);
}

bool holds_line_feed(std::uint32_t trigram) {
    return (trigram & 0xFF) == '\n' || (trigram >> 8 & 0xFF) == '\n' || trigram >> 16 == '\n';
}

}  // namespace

TrigramCollector::TrigramCollector() : _seen(TRIGRAMS / 64) {}

// ASCII text needs seven bits a byte, and the part of the table that it touches then fits the
// cache.
template <unsigned BITS_PER_BYTE>
void TrigramCollector::_collect(std::string_view text) {
    constexpr std::uint32_t MASK = (1u << 3 * BITS_PER_BYTE) - 1;
    _found.resize(text.size());
    if (text.size() < 3) return _found.clear();
    std::size_t found = 0;
    std::uint32_t trigram = folded(text[0]) << BITS_PER_BYTE | folded(text[1]);
    for (const char byte : text.substr(2)) {
        trigram = (trigram << BITS_PER_BYTE | folded(byte)) & MASK;
        std::uint64_t& word = _seen[trigram / 64];
        const std::uint64_t before = word;
        word |= std::uint64_t{1} << trigram % 64;
        _found[found] = trigram;
        found += word != before;
    }
    _found.resize(found);
    for (std::uint32_t& seen : _found) {
        _seen[seen / 64] = 0;
        seen = widened<BITS_PER_BYTE>(seen);
    }
}

std::uint32_t TrigramCollector::append(std::string_view text,
                                       std::vector<std::uint32_t>& trigrams) {
    const std::size_t before = trigrams.size();
    if (unicode::is_ascii(text)) {
        _collect<7>(text);
    } else if (!text_find::lowers_into_ascii(text)) {
        _collect<8>(text);
    } else {
        _collect<8>(std::string(text) + '\n' + unicode::lower(text));
    }
    std::copy_if(_found.begin(), _found.end(), std::back_inserter(trigrams),
                 [](std::uint32_t trigram) { return !holds_line_feed(trigram); });
    return static_cast<std::uint32_t>(trigrams.size() - before);
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
